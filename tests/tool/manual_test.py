"""The man page says what the program can do, and nothing else."""

import os
import re
import shlex
import shutil
import subprocess
import tempfile

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording

PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/man/qrxhid.1")
OPTION = r"(?<![\w-])--[a-z]+(?:-[a-z]+)*"


def page():
    with open(PAGE, encoding="ascii") as file:
        return file.read().replace("\\-", "-")


def section(name):
    return re.search(rf'^\.SH "?{name}"?\n(.*?)(?=^\.SH )', page(), re.M | re.S)[1]


class Manual(ToolTest):
    def setUp(self):
        overview = self.succeed("--help")
        self.commands = re.findall(r"^  (\w+) ", overview[overview.index("Subcommands:"):], re.M)

    def test_it_has_every_command_in_their_order(self):
        self.assertGreater(len(self.commands), 7)
        self.assertEqual(self.commands, re.findall(r"^\.TP\n\.B (\w+)$", section("COMMANDS"), re.M))

    def test_each_commands_synopsis_has_its_options(self):
        paragraphs = re.findall(r"^\.TP\n\.BI (--[a-z]+) (.*?)(?=^\.TP|\Z)", section("CHOOSING DEVICES"), re.M | re.S)
        self.assertEqual(6, len(paragraphs))
        # Commands that do not have an option stand in brackets behind what is said of it.
        lacking = {option: set(re.findall(r"\w+", "".join(re.findall(r"^\.RB \((.*?)\)$", text, re.M | re.S))))
                   for option, text in paragraphs}
        found = dict(re.findall(r"^\.B qrxhid (\w+)(.*?)(?=^\.br)", section("SYNOPSIS"), re.M | re.S))
        for command in self.commands:
            text = self.succeed(command, "--help").split("\nOptions:\n")[1].split("\n\n")[0]
            offered = set(re.findall(r"^  (?:-[ho],)?(--[a-z-]+)", text, re.M)) - {"--help"}
            named = set(re.findall(OPTION, found[command]))
            if "CHOICE" in found[command]:
                named |= {option for option, commands in lacking.items() if command not in commands}
            self.assertEqual(offered, named, command)

    def test_every_option_of_the_synopsis_is_explained(self):
        explained = re.findall(r"^\.TP\n\.B[IR]? (--[a-z-]+)", section("CHOOSING DEVICES") + section("OPTIONS"), re.M)
        self.assertLessEqual(set(re.findall(OPTION, section("SYNOPSIS"))), set(explained))
        self.assertEqual(len(set(explained)), len(explained))

    def test_what_it_shows_is_what_the_program_prints(self):
        """Each line of EXAMPLES that begins with a prompt is run on two recordings and has its output below it."""
        with tempfile.TemporaryDirectory() as folder:
            for name, source in (("mouse.hid", "wheel-mouse"), ("keyboard.hid", "boot-keyboard")):
                shutil.copy(recording(source), os.path.join(folder, name))
            runs = re.findall(r"^\$ (qrxhid .*)\n((?:(?!\$ |\.).*\n)*)", section("EXAMPLES").replace("\\e", "\\"), re.M)
            self.assertGreater(len(runs), 4)
            for command, shown in runs:
                result = subprocess.run([TOOL, *shlex.split(command)[1:]], cwd=folder, capture_output=True, text=True,
                                        timeout=DEADLINE_SECONDS, check=True)
                self.assertEqual(result.stdout, shown, command)

    def test_it_has_every_exit_status(self):
        overview = self.succeed("--help")
        told = re.findall(r"(?:^|[:;]\s)(?:Exit status: )?(\d+) ", overview[overview.index("Exit status:"):])
        self.assertEqual(told, re.findall(r"^\.TP\n\.B (\d+)$", section("EXIT STATUS"), re.M))

    def test_the_version_is_the_programs(self):
        self.assertIn(f'"QrxHIDManager {self.succeed("--version").split()[1]}"', page().splitlines()[0])

    def test_it_formats_without_a_warning(self):
        if shutil.which("groff") is None:
            self.skipTest("groff is not installed")
        result = subprocess.run(["groff", "-man", "-ww", "-Tutf8", "-z", PAGE], capture_output=True, check=False)
        self.assertEqual((0, b""), (result.returncode, result.stderr))


if __name__ == "__main__":
    main()
