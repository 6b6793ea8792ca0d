"""The tool with its commands as on macOS, on the machine at hand."""

import json
import os
import subprocess
import sys

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording

try:
    import jsonschema
except ImportError:
    print("skipped: python3-jsonschema is not installed")
    sys.exit(77)

SCHEMA_FILE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/qrxhid.schema.json")
MOUSE = recording("wheel-mouse")
ABSENT = ["replay", "rule", "run", "demo"]
PLAYING = ["list", "tree", "dump", "page", "watch", "top", "record"]


class Commands(ToolTest):
    def test_help_names_the_commands_that_are_not_there(self):
        text = self.succeed("--help")
        self.assertIn("\nNot on this system: replay, rule, run, demo.\n", text)
        for command in ABSENT:
            self.assertNotIn(f"\n  qrxhid {command}", text)
            self.assertNotIn(command, self.succeed("complete", "--", "").split())

    def test_a_command_that_is_not_there_says_why(self):
        for command in ABSENT:
            for words in ([command], [command, "--help"], ["help", command]):
                text = self.refuse(64, *words)
                self.assertIn(f'qrxhid has no "{command}" on this system: ', text)
                self.assertIn("macOS", text)

    def test_an_unknown_command_is_none_of_another_system(self):
        self.assertIn('"demonstrate" is not a command', self.refuse(64, "demonstrate"))

    def test_devices_of_recordings_are_refused_and_told_of(self):
        for command in PLAYING:
            with self.subTest(command):
                self.assertIn("on macOS no device can be made of a recording\nTry: qrxhid decode --events FILE",
                              self.refuse(64, command, "--recording", MOUSE))
                self.assertIn("- reads standard input (not on macOS)",
                              " ".join(self.succeed(command, "--help").split()))

    def test_recordings_without_a_device_are_read(self):
        self.assertNotIn("(not on macOS)", self.succeed("descriptor", "--help"))
        self.assertIn("Wheel Mouse", self.succeed("descriptor", "--recording", MOUSE))
        self.assertIn("    Generic Desktop: X = 5\n", self.succeed("decode", "--events", MOUSE))
        self.assertEqual("", self.succeed("diff", MOUSE, MOUSE))
        self.assertEqual("", self.succeed("lint", "--recording", MOUSE))
        self.assertEqual("00 05 00 00\n", self.succeed("encode", "X=5", "--recording", MOUSE))


class Doctor(ToolTest):
    def ask(self, state, *words):
        process = subprocess.run([TOOL, "doctor", *words], capture_output=True, check=False, text=True,
                                 timeout=DEADLINE_SECONDS, env={**os.environ, "QRXHID_INPUT_MONITORING": state})
        return process

    def test_it_says_what_the_permission_is(self):
        for state, shown in (("granted", "granted: input of all devices may be read"), ("notNeeded", "not needed: "),
                             ("denied", "denied: "), ("undecided", "not decided: ")):
            process = self.ask(state)
            self.assertTrue(process.stdout.startswith("input monitoring: " + shown), process.stdout)
            self.assertEqual(state in ("denied", "undecided"), "\n  next: " in process.stdout, process.stdout)

    def test_a_permission_that_lacks_has_a_status(self):
        devices = json.loads(self.ask("granted", "--json").stdout)["devices"]
        for state, status in (("granted", 0), ("notNeeded", 0), ("denied", 4), ("undecided", 4)):
            self.assertEqual(status if devices else 3, self.ask(state).returncode)

    def test_a_device_that_is_not_there_is_told(self):
        process = self.ask("denied", "dead:beef")
        self.assertEqual((3, "qrxhid: no USB HID device is dead:beef\n"), (process.returncode, process.stderr))

    def test_the_schema_describes_its_document(self):
        with open(SCHEMA_FILE, encoding="utf-8") as file:
            definitions = json.load(file)["$defs"]
        for state in ("granted", "notNeeded", "denied", "undecided"):
            document = json.loads(self.ask(state, "--json").stdout)
            jsonschema.Draft202012Validator({"$ref": "#/$defs/doctorOnMac", "$defs": definitions}).validate(document)

    def test_only_a_request_asks_the_user(self):
        self.assertEqual("not decided", json.loads(self.ask("undecided", "--json").stdout)["inputMonitoring"])
        self.assertEqual("granted", json.loads(self.ask("undecided", "--json", "--request").stdout)["inputMonitoring"])


if __name__ == "__main__":
    main()
