"""What every command does when something is wrong with what it is given or with where it writes.

One row of COMMANDS for each command: a new command is covered by adding its row, and without one a test fails.
"""

import os
import random
import re
import subprocess
import tempfile
import unittest

from hostile_device_test import hostile_recording, is_safe, limit_resources
from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording, run

MOUSE = recording("wheel-mouse")
KEYBOARD = recording("boot-keyboard")
CORPUS = os.environ.get("QRX_RECORDINGS", "")
# What the manual lists.
DOCUMENTED_STATUSES = (0, 1, 2, 3, 4, 64)
HOSTILE_NAME = "Mo\x1b[2Jus\x9b31m\u202eabc\ue000"


class Row:
    """How a command is used."""

    def __init__(self, *words, takes="recordings", one=False, json=True, status=0, silent=False):
        # Words that make it succeed together with the recording of a keyboard.
        self.words = words
        # "recordings" by --recording, "files" as words, "machine" where it is about this machine alone,
        # "program" where another program does the work, "nothing".
        self.takes = takes
        # It works on one device, and asks which one if there are several.
        self.one = one
        self.json = json
        # What it ends with on a keyboard, and whether it has nothing to say of it.
        self.status = status
        self.silent = silent


COMMANDS = {
    "list": Row(),
    "tree": Row(),
    # The text is the library's own.
    "dump": Row(json=False),
    "descriptor": Row(),
    "lint": Row(silent=True),
    "decode": Row("00", "00", "00", "00", "00", "00", "00", "00", one=True),
    "encode": Row("Caps Lock=1", "--type", "output", one=True),
    "diff": Row(takes="files", status=1),
    # The text is for a browser.
    "page": Row(one=True, json=False),
    "watch": Row("--speed", "0"),
    "top": Row("--speed", "0"),
    # The text is the recording.
    "record": Row("--speed", "0", one=True, json=False),
    # Its recordings would become devices of whoever runs the test: only what comes before that is tried.
    "replay": Row("--uhid", takes="kernel"),
    "send": Row("Caps Lock=1", one=True),
    "get": Row("--type", "output", one=True, status=1, silent=True),
    "doctor": Row(takes="machine"),
    # The text is a file.
    "rule": Row("04d8:003f", takes="nothing", json=False),
    # What is printed, and what becomes of it, is the other program's.
    "run": Row("--", "echo", "said", takes="program", json=False),
    # It checks the program itself.
    "demo": Row(takes="nothing", json=False),
}


def with_recordings(name, row, *files):
    """The command line that works on these recordings; None if the command cannot."""
    if row.takes == "files":
        return [name, *row.words, *files] if len(files) == 2 else [name, *row.words, files[0], files[0]]
    if row.takes == "kernel":
        return [name, *row.words, *files]
    return [name, *row.words, "--recording", *files] if row.takes == "recordings" else None


def plain_use(name, row):
    """A command line that succeeds, or fails because of its output alone."""
    if row.takes in ("kernel", "program"):
        return None
    if row.takes == "files":
        return [name, MOUSE, KEYBOARD]
    return with_recordings(name, row, KEYBOARD) or [name, *row.words]


class BadInput(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def file(self, name, content):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        return path

    def each(self, make, check):
        """Checks the command lines that `make` gives, each in a subtest of its own; at least one."""
        tried = 0
        for name, row in COMMANDS.items():
            words = make(name, row)
            if words is not None:
                tried += 1
                with self.subTest(" ".join(os.path.basename(word) for word in words)):
                    check(name, row, words)
        self.assertGreater(tried, 0)

    def told(self, outcome):
        """It has said why on standard error, in lines that show no control character."""
        self.assertTrue(outcome.err, str(outcome))
        self.assertTrue(is_safe(outcome.err), ascii(outcome.err))
        self.assertNotIn("terminate called", outcome.err)

    def test_every_command_has_its_row(self):
        overview = self.succeed("--help")
        commands = re.findall(r"^  (\w+) ", overview[overview.index("Subcommands:"):], re.M)
        self.assertEqual(set(commands), set(COMMANDS))

    def test_every_command_explains_itself_with_an_example(self):
        def check(name, _row, words):
            text = self.succeed(*words)
            self.assertRegex(text, rf"Examples?:\n  qrxhid {name}\b")
            self.assertEqual(text, self.succeed("help", name))

        self.each(lambda name, row: [name, "--help"], check)

    def test_every_command_but_those_with_a_text_of_their_own_has_json(self):
        def check(_name, row, words):
            self.assertEqual(row.json, "--json" in self.succeed(*words))

        self.each(lambda name, row: [name, "--help"], check)

    def test_every_command_that_works_on_devices_chooses_them_alike(self):
        def check(_name, row, words):
            text = self.succeed(*words)
            for option in ("--device", "--serial", "--port", "--interface"):
                self.assertIn(option + " ", text)
            self.assertEqual(row.takes != "machine", "--recording " in text)

        self.each(lambda name, row: [name, "--help"] if row.takes not in ("files", "nothing", "program") else None, check)

    def test_the_plain_use_of_each_is_no_failure(self):
        def check(_name, row, words):
            outcome = run(*words)
            self.assertEqual(row.status, outcome.status, str(outcome))
            self.assertEqual(row.silent, outcome.out == "", str(outcome))

        self.each(lambda name, row: plain_use(name, row) if row.takes != "machine" else None, check)

    def test_an_output_that_is_full_is_told(self):
        def check(_name, row, words):
            if row.silent:
                return
            with open("/dev/full", "wb") as full:
                process = subprocess.run([TOOL, *words], stdin=subprocess.DEVNULL, stdout=full, stderr=subprocess.PIPE,
                                         timeout=DEADLINE_SECONDS, check=False)
            self.assertIn("the output cannot be written", process.stderr.decode())
            self.assertEqual(1, process.returncode)

        self.each(plain_use, check)

    def test_an_output_that_is_closed_is_told(self):
        def check(_name, row, words):
            if row.silent:
                return
            process = subprocess.run(["sh", "-c", '"$@" >&-', "sh", TOOL, *words], stdin=subprocess.DEVNULL,
                                     stderr=subprocess.PIPE, timeout=DEADLINE_SECONDS, check=False)
            self.assertIn("the output cannot be written", process.stderr.decode())
            self.assertEqual(1, process.returncode)

        self.each(plain_use, check)

    def test_a_reader_that_goes_away_ends_it(self):
        def check(_name, row, words):
            reader, writer = os.pipe()
            os.close(reader)
            process = subprocess.run([TOOL, *words], stdin=subprocess.DEVNULL, stdout=writer, stderr=subprocess.PIPE,
                                     timeout=DEADLINE_SECONDS, check=False, restore_signals=True)
            os.close(writer)
            silent = row.silent
            self.assertIn(process.returncode, (row.status,) if silent else (1, -13), process.stderr)

        self.each(plain_use, check)

    def test_a_recording_that_does_not_parse_is_told_with_its_line(self):
        bad = self.file("bad.hid", "R: 3 05 01\nI: 3 1209 0001\n")
        def check(_name, _row, words):
            outcome = run(*words)
            self.told(outcome)
            self.assertEqual(2, outcome.status, str(outcome))
            self.assertRegex(outcome.err, r"(?m)^\S*bad\.hid:1: ")

        self.each(lambda name, row: with_recordings(name, row, bad), check)

    def test_what_is_no_recording_at_all_is_told(self):
        for path in (self.file("noise.hid", random.Random(1).randbytes(4096)), self.file("empty.hid", ""), self.folder, "/dev/full",
                     os.path.join(self.folder, "none.hid")):
            def check(_name, _row, words):
                outcome = run(*words)
                self.told(outcome)
                self.assertEqual((2, ""), (outcome.status, outcome.out if "--json" not in words else ""), str(outcome))

            self.each(lambda name, row, path=path: with_recordings(name, row, path), check)

    def test_names_that_would_steer_a_terminal_are_shown_by_their_numbers(self):
        with open(KEYBOARD, encoding="utf-8") as file:
            lines = [line for line in file.read().splitlines() if not line.startswith(("#", "N:"))]
        head = [f"#@ vendor-name: {HOSTILE_NAME}", f"#@ product-name: {HOSTILE_NAME}", f"#@ serial-number: {HOSTILE_NAME}"]
        hostile = self.file("hostile.hid", "\n".join([*head, *lines, ""]))
        def check(name, row, words):
            outcome = run(*words)
            self.assertIn(outcome.status, (0, row.status), str(outcome))
            # A recording that goes to a file has names as they are.
            self.assertTrue(is_safe(outcome.out) or name == "record", ascii(outcome.out))
            self.assertTrue(is_safe(outcome.err), ascii(outcome.err))

        self.each(lambda name, row: with_recordings(name, row, hostile) if row.takes != "kernel" else None, check)

    def survives(self, name, words, **limits):
        """It ends in bounded time as documented, says why if it could not do its work, and shows nothing as it is."""
        process = subprocess.run([TOOL, *words], stdin=subprocess.DEVNULL, capture_output=True, check=False,
                                 timeout=DEADLINE_SECONDS, **limits)
        out, err = process.stdout.decode(errors="replace"), process.stderr.decode(errors="replace")
        self.assertIn(process.returncode, DOCUMENTED_STATUSES, err[-2000:])
        self.assertNotIn("terminate called", err)
        self.assertTrue(is_safe(out) or name == "record", ascii(out)[-2000:])
        self.assertTrue(is_safe(err), ascii(err)[-2000:])
        # What lint and diff find they print.
        self.assertTrue(process.returncode == 0 or out or err)

    def test_a_device_that_declares_all_that_it_can_harms_no_command(self):
        hostile = self.file("hostile.hid", hostile_recording())

        def check(name, _row, words):
            self.survives(name, words, preexec_fn=limit_resources)

        self.each(lambda name, row: with_recordings(name, row, hostile) if row.takes != "kernel" else None, check)

    @unittest.skipUnless(CORPUS, "QRX_RECORDINGS is not set")
    def test_malformed_descriptors_harm_no_command(self):
        folder = os.path.join(CORPUS, "malformed")
        # Each command gets an eighth of them, and together they get all.
        names = sorted(os.listdir(folder))
        self.assertGreater(len(names), 50)
        for begin, (name, row) in enumerate(COMMANDS.items()):
            for recorded in names[begin % 8::8]:
                words = with_recordings(name, row, os.path.join(folder, recorded)) if row.takes != "kernel" else None
                if words is not None:
                    with self.subTest(command=name, recording=recorded):
                        self.survives(name, words)

    def test_a_device_that_is_not_there_is_told_with_those_that_are(self):
        def check(_name, row, words):
            outcome = run(*words, "--device", "dead:beef")
            self.assertEqual((1, ""), (outcome.status, outcome.out), str(outcome))
            self.assertEqual("qrxhid: no device is dead:beef; there are:", outcome.err.splitlines()[0])
            self.assertEqual(3, len(outcome.err.splitlines()), outcome.err)

        self.each(lambda name, row: with_recordings(name, row, MOUSE, KEYBOARD) if row.takes != "files" else None, check)

    def test_a_device_that_this_machine_has_not_is_told(self):
        def check(_name, row, words):
            outcome = run(*words, "--device", "dead:beef")
            self.assertEqual(3 if row.takes == "machine" else 1, outcome.status, str(outcome))
            self.told(outcome)
            self.assertIn("dead:beef", outcome.err)

        self.each(lambda name, row: [name, *(word for word in row.words if word not in ("--speed", "0"))] if row.takes in ("recordings", "machine") else None, check)

    def test_who_works_on_one_device_asks_which(self):
        def check(_name, row, words):
            outcome = run(*words, "--device", "1209:")
            self.assertEqual((64, ""), (outcome.status, outcome.out), str(outcome))
            self.assertIn("3 devices match", outcome.err)
            self.assertIn("1209:0002  Qrx Demo Wheel Mouse", outcome.err)
            self.assertRegex(outcome.err.splitlines()[-1], r"^Try: ")

        self.each(lambda name, row: with_recordings(name, row, KEYBOARD, MOUSE, KEYBOARD) if row.one else None, check)

    def test_an_option_that_there_is_not_is_told_with_the_next_step(self):
        def check(_name, _row, words):
            outcome = run(*words)
            self.assertEqual((64, ""), (outcome.status, outcome.out), str(outcome))
            self.assertRegex(outcome.err, r"\Aqrxhid: .*--colour.*\nTry: .*\n\Z")

        self.each(lambda name, row: [name, "--colour", "red", *row.words], check)

    def test_an_ended_run_ends_with_a_documented_status(self):
        """A signal in the middle ends those that would go on, cleanly."""
        def check(_name, _row, words):
            with subprocess.Popen([TOOL, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
                self.assertNotEqual(b"", process.stdout.readline())
                process.terminate()
                process.communicate(timeout=DEADLINE_SECONDS)
            self.assertEqual(0, process.returncode)

        self.each(lambda name, row: [name, "--speed", "0.000001", "--recording", MOUSE] if "--speed" in row.words and row.takes == "recordings" else None, check)


if __name__ == "__main__":
    main()
