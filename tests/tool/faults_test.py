"""Recorded devices that answer and misbehave by a script: the guide's device, and scripts that are wrong."""

import os
import pathlib
import re
import tempfile

from qrxhid_support import ToolTest, main, recording, run

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs/guide/misbehaving.md"


def block(kind):
    return re.search(rf"```{kind}\n(.*?)```", PAGE.read_text(encoding="utf-8"), re.DOTALL)[1]


class Faults(ToolTest):
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

    def test_a_script_is_for_recordings(self):
        self.assertIn("--faults is for the devices of recordings", self.refuse(64, "list", "--faults", self.script))

    def test_hostile_names_reach_no_terminal(self):
        hostile = self.file("hostile.faults", "seed 3\nwhen plugged: garble strings\n")
        out = self.succeed("list", "--recording", self.device, "--faults", hostile)
        self.assertNotIn("Thermostat", out)
        self.assertTrue(all(character.isprintable() or character == "\n" for character in out), repr(out))


if __name__ == "__main__":
    main()
