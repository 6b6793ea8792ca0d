"""Recorded devices that answer and misbehave by a script: the guide's device, and scripts that are wrong."""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import tempfile
import unittest

from qrxhid_support import ToolTest, main, recording, run

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
PAGE = DOCS / "guide/misbehaving.md"
MANUAL = DOCS / "man/qrxhid-faults.5"
# One trigger for each kind of cue.
TRIGGERS = ("report 1", "when output 01", "when get feature", "when open", "when plugged", "after 1 s")


def block(kind):
    return re.search(rf"```{kind}\n(.*?)```", PAGE.read_text(encoding="utf-8"), re.DOTALL)[1]


class FaultsTest(ToolTest):
    """Has the guide's device and its script as files."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.device = self.file("thermostat.hid", block("hid"))
        self.script = self.file("thermostat.faults", block("faults"))

    def file(self, name, text):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path


class Faults(FaultsTest):
    def test_the_device_of_the_guide_is_ten_lines_and_a_few_more_for_its_input(self):
        lines = block("hid").splitlines() + block("faults").splitlines()
        self.assertLessEqual(len([line for line in lines if not line.startswith("E:")]), 10)

    def test_the_device_of_the_guide_loses_a_report_leaves_and_comes_back(self):
        out = self.succeed("watch", "--raw", "--recording", self.device, "--faults", self.script)
        told = [(line.split()[0], line.split()[-1]) for line in out.splitlines()]
        self.assertEqual(["present", "report", "report", "left", "arrived", "report", "left"],
                         [one[0] for one in told], out)
        self.assertEqual(["14", "16", "17"], [byte for what, byte in told if what == "report"], out)

    def test_the_device_of_the_guide_answers_and_refuses(self):
        choice = ["--recording", self.device, "--faults", self.script]
        self.assertRegex(self.succeed("get", *choice, "--report", "3", "--type", "feature"), "03 07")
        outcome = run("send", *choice, "--type", "output", "--report", "1", "01", "7f")
        self.assertNotEqual(0, outcome.status, str(outcome))
        self.assertIn("refused", outcome.err)
        self.succeed("send", *choice, "--type", "output", "--report", "1", "01", "15")

    def test_a_wrong_script_names_its_line_and_ends_the_command(self):
        wrong = self.file("wrong.faults", "report 1: drop\nreport 2: explode\n")
        for command in (["list"], ["watch"], ["tree"]):
            told = self.refuse(2, *command, "--recording", self.device, "--faults", wrong)
            self.assertTrue(told.startswith(f"{wrong}:2: what may happen here is drop, double, "), told)
        self.assertIn("cannot be opened", self.refuse(2, "list", "--recording", self.device, "--faults", "/nowhere"))

    def test_an_interface_that_does_not_open_is_told_by_whoever_waits_for_input(self):
        refusing = self.file("refusing.faults", "when open: refuse\n")
        for command in ("watch", "top", "record"):
            outcome = run(command, "--speed", "0", "--recording", self.device, "--faults", refusing)
            self.assertEqual(4, outcome.status, str(outcome))
            self.assertIn("interface 0 was not opened: The system does not permit it.\nTry: qrxhid doctor ", outcome.err)

    def test_a_script_is_for_recordings(self):
        self.assertIn("--faults is for the devices of recordings", self.refuse(64, "list", "--faults", self.script))

    def test_what_only_reads_a_recording_has_no_such_option(self):
        commands = (["decode", "00"], ["encode", "Wheel=1"], ["descriptor"], ["lint"], ["replay", "--uhid"])
        for command in commands:
            told = self.refuse(64, *command, "--recording", self.device, "--faults", self.script)
            self.assertIn(f'qrxhid {command[0]} has no option "--faults"', told)

    def test_hostile_names_reach_no_terminal(self):
        hostile = self.file("hostile.faults", "seed 3\nwhen plugged: garble strings\n")
        out = self.succeed("list", "--recording", self.device, "--faults", hostile)
        self.assertNotIn("Thermostat", out)
        self.assertTrue(all(character.isprintable() or character == "\n" for character in out), repr(out))


class Manual(FaultsTest):
    """The page of section 5 says what the program takes, and nothing else."""

    def setUp(self):
        super().setUp()
        self.text = MANUAL.read_text(encoding="ascii").replace("\\-", "-")

    def tags(self, title):
        """What the section's paragraphs are about, without the marks of fonts."""
        section = re.search(rf'^\.SH "?{title}"?\n(.*?)(?=^\.SH )', self.text, re.M | re.S)[1]
        lines = re.findall(r"^\.T[PQ]\n\.([BIR]+) (.*)$", section, re.M)
        # Words of one font have blanks between them, those that take turns have none.
        words = [(" " if len(fonts) == 1 else "").join(shlex.split(line.replace("\\", "\\\\"))) for fonts, line in lines]
        return [re.sub(r"\\f[IRB]", "", line) for line in words]

    def test_it_has_all_that_may_happen(self):
        happens = set()
        for trigger in TRIGGERS:
            told = self.refuse(2, "list", "--recording", self.device, "--faults",
                               self.file("wrong.faults", f"{trigger}: explode\n"))
            happens |= set(re.search(r"what may happen here is (.*), not ", told)[1].split(", "))
        self.assertEqual(happens, set(self.tags("WHAT HAPPENS")))

    def test_it_has_all_triggers_and_no_other(self):
        tags = self.tags("TRIGGERS")
        for trigger in tags:
            rule = re.sub(r"\[?HH\]?|BYTES", "01", trigger).replace("TIME", "1 s")
            rule = re.sub(r"\b[NP]\b", "1", rule) + ": send 02 14\n"
            self.succeed("list", "--recording", self.device, "--faults", self.file("one.faults", rule))
        header = (DOCS.parent / "IntLibs/QrxHidMgr/Headers/QrxVirtualScript.h").read_text(encoding="utf-8")
        table = re.search(r"\| trigger +\| happens(.*?)\n///\n", header, re.S)[1]
        told = {" ".join(words.split()[:2]) for words in re.findall(r"`((?:report|every|chance|after|when) [^`]*)`", table)}
        self.assertEqual(told, {" ".join(tag.split()[:2]) for tag in tags})

    def test_its_example_is_taken(self):
        example = re.search(r"^\.nf\n(seed.*?)^\.fi", self.text, re.M | re.S)[1]
        script = self.file("example.faults", example)
        out = self.succeed("watch", "--raw", "--recording", self.device, "--faults", script)
        self.assertEqual(["present", "left", "arrived"],
                         [line.split()[0] for line in out.splitlines() if "report" not in line][:3], out)

    def test_it_formats_without_a_warning(self):
        if shutil.which("groff") is None:
            raise unittest.SkipTest("groff is not installed")
        result = subprocess.run(["groff", "-man", "-ww", "-Tutf8", "-z", MANUAL], capture_output=True, check=False)
        self.assertEqual((0, b""), (result.returncode, result.stderr))


if __name__ == "__main__":
    main()
