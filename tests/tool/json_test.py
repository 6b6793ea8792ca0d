"""The schema describes what the commands write with --json: every member, and nothing else."""

import json
import os
import sys
import tempfile

from qrxhid_support import ToolTest, main, recording, run

try:
    import jsonschema
except ImportError:
    print("skipped: python3-jsonschema is not installed")
    sys.exit(77)

SCHEMA_FILE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/qrxhid.schema.json")
ALL = [recording(name) for name in ("boot-keyboard", "wheel-mouse", "gamepad", "thermometer")]
CORPUS = os.environ.get("QRX_RECORDINGS", "")


class Json(ToolTest):
    def setUp(self):
        with open(SCHEMA_FILE, encoding="utf-8") as file:
            self.schema = json.load(file)
        jsonschema.Draft202012Validator.check_schema(self.schema)

    def check(self, kind, text):
        document = json.loads(text)
        jsonschema.Draft202012Validator({"$ref": f"#/$defs/{kind}", "$defs": self.schema["$defs"]}).validate(document)
        return document

    def test_documents_are_as_described(self):
        for kind in ("list", "tree", "descriptor"):
            document = self.check(kind, self.succeed(kind, "--json", "--recording", *ALL))
            self.assertEqual(1, document["version"])
        self.check("lint", run("lint", "--json", "--notes", "--recording", *ALL, recording("qemu-keyboard")).out)
        self.check("diff", run("diff", ALL[0], ALL[1], "--json").out)
        self.check("decode", self.succeed("decode", "0005fb00", "--json", "--recording", ALL[1]))
        self.check("encode", self.succeed("encode", "X=5", "--json", "--recording", ALL[1]))

    def test_each_line_of_decoded_events_is_as_described(self):
        for name in ALL:
            lines = self.succeed("decode", "--json", "--events", name).splitlines()
            self.assertGreater(len(lines), 2)
            for line in lines:
                self.assertIn("time", self.check("decode", line))

    def test_a_sent_report_is_as_described(self):
        self.check("decode", self.succeed("send", "LED: Caps Lock=1", "--json", "--recording", ALL[0]))

    def test_each_line_of_watch_is_as_described(self):
        for words in ([], ["--raw"], ["--changes"]):
            lines = self.succeed("watch", "--speed", "0", "--json", *words, "--recording", *ALL).splitlines()
            self.assertGreater(len(lines), 12)
            for line in lines:
                self.check("watch", line)

    def test_values_of_watch_are_those_of_decode(self):
        # Keys whose names JSON has to escape; a thermometer's values are negative, and a hat's say that there is none.
        with open(ALL[0], encoding="utf-8") as file:
            head = [line for line in file if not line.startswith("E:")]
        keys = [f"E: 000000.{n:06d} 8 00 00 {key} 00 00 00 00 00\n" for n, key in enumerate(("31", "34", "64"))]
        with tempfile.TemporaryDirectory() as folder:
            keyboard = os.path.join(folder, "keys.hid")
            with open(keyboard, "w", encoding="utf-8") as file:
                file.writelines([*head, *keys])
            names = set()
            for path in (*ALL, keyboard):
                documents = map(json.loads, self.succeed("watch", "--speed", "0", "--json", "--recording", path).splitlines())
                watched = [one["values"] for one in documents if one["event"] == "report"]
                decoded = [json.loads(line)["values"]
                           for line in self.succeed("decode", "--json", "--events", path).splitlines()]
                self.assertEqual(decoded, watched)
                names.update(value["name"] for values in watched for value in values)
        self.assertIn("Keyboard: \\", names)

    def test_each_line_of_top_is_as_described(self):
        lines = self.succeed("top", "--every", "0.1", "--time", "1", "--json", "--recording", *ALL).splitlines()
        self.assertGreater(len(lines), 2)
        documents = [self.check("top", line) for line in lines]
        self.assertEqual(["total"], [one["event"] for one in documents if one["event"] != "period"])
        self.assertEqual("total", documents[-1]["event"])

    def test_a_doctors_findings_are_as_described(self):
        self.check("doctor", run("doctor", "--json").out)

    def test_the_description_notices_what_is_missing_or_new(self):
        document = json.loads(self.succeed("list", "--json", "--recording", ALL[1]))
        for change in (lambda: document["devices"][0].pop("place"), lambda: document["devices"][0].update(colour="red")):
            change()
            with self.assertRaises(jsonschema.ValidationError):
                self.check("list", json.dumps(document))
            document["devices"][0].update(place="")

    def test_the_trees_of_real_devices_are_as_described(self):
        if not CORPUS:
            self.skipTest("QRX_RECORDINGS is not set")
        folder = os.path.join(CORPUS, "devices")
        names = sorted(name for name in os.listdir(folder) if name.endswith(".hid"))[::25]
        self.assertGreater(len(names), 10)
        self.check("tree", run("tree", "--json", "--recording", *(os.path.join(folder, name) for name in names)).out)


if __name__ == "__main__":
    main()
