"""Completion, by the shells themselves. A shell that is not installed is told and left out."""

import os
import pty
import select
import shutil
import subprocess
import tempfile
import time

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/qrxhid/completion")
MOUSE = recording("wheel-mouse")
THERMOMETER = recording("thermometer")
ENVIRONMENT = {**os.environ, "PATH": os.path.dirname(TOOL) + ":" + os.environ.get("PATH", ""), "TERM": "dumb"}


class Candidates(ToolTest):
    """What the program itself answers."""

    def complete(self, *words):
        return self.succeed("complete", "--", *words).splitlines()

    def test_commands_by_their_beginning(self):
        self.assertEqual(["record", "replay", "rule", "run"], self.complete("r"))
        self.assertEqual(["tree"], self.complete("help", "tr"))
        self.assertIn("list", self.complete(""))
        self.assertNotIn("complete", self.complete(""))

    def test_options_of_the_command_and_no_hidden_ones(self):
        self.assertEqual(["--changes", "--count"], sorted(self.complete("watch", "--c")))
        self.assertEqual([], self.complete("doctor", "--sys"))
        self.assertEqual([], self.complete("nonsense", "--"))

    def test_values_that_are_there(self):
        devices = ["--recording", MOUSE, THERMOMETER]
        self.assertEqual(["1209:0002", "1209:0004"], self.complete("tree", *devices, "--device", ""))
        self.assertEqual(["M-0001"], self.complete("tree", *devices, "--serial", "M"))
        self.assertEqual(["demo"], self.complete("tree", *devices, "--port", ""))
        self.assertEqual(["0", "1"], self.complete("tree", *devices, "--interface", ""))
        self.assertEqual(["output"], self.complete("send", "--type", "o"))
        self.assertEqual(["binary"], self.complete("descriptor", "--format", "b"))

    def test_what_a_device_chose_is_offered_only_if_it_is_harmless(self):
        with open(MOUSE, encoding="utf-8") as file:
            text = file.read()
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "x.hid")
            for serial in ("$(reboot)", "a b", "\x1b[2J", "'; rm"):
                with open(path, "w", encoding="utf-8") as file:
                    file.write(text.replace("M-0001", serial))
                self.assertEqual([], self.complete("tree", "--recording", path, "--serial", ""))

    def test_nothing_is_said_on_standard_error(self):
        for words in (["list", "--recording", "/nowhere", "--device", ""], [], ["tree", "--recording", "--device", ""]):
            process = subprocess.run([TOOL, "complete", "--", *words], capture_output=True, check=False,
                                     timeout=DEADLINE_SECONDS)
            self.assertEqual((0, b""), (process.returncode, process.stderr), words)


class Shells(ToolTest):
    def need(self, shell):
        path = shutil.which(shell)
        if path is None:
            self.skipTest(f"{shell} is not installed")
        return path

    def bash(self, line):
        script = (f'source {FOLDER}/qrxhid.bash; COMP_LINE="$1"; COMP_POINT=${{#1}}; _qrxhid; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        return subprocess.run([self.need("bash"), "--norc", "-c", script, "bash", line], capture_output=True, check=True,
                              env=ENVIRONMENT, timeout=DEADLINE_SECONDS).stdout.decode().split()

    def test_bash(self):
        self.assertEqual(["record", "replay", "rule", "run"], self.bash("qrxhid r"))
        self.assertEqual(["--serial", "--speed"], sorted(self.bash("qrxhid watch --s")))
        # Bash puts only what follows a colon in place.
        self.assertEqual(["0002"], self.bash(f"qrxhid tree --recording {MOUSE} --device 1209:"))
        self.assertEqual(["1209:0002"], self.bash(f"qrxhid tree --recording {MOUSE} --device "))
        self.assertEqual([], self.bash("qrxhid tree --recording "))

    def test_fish(self):
        def fish(line):
            command = f"source {FOLDER}/qrxhid.fish; complete -C '{line}'"
            out = subprocess.run([self.need("fish"), "--no-config", "-c", command], capture_output=True, check=True,
                                 env=ENVIRONMENT, timeout=DEADLINE_SECONDS).stdout.decode()
            return [entry.split("\t")[0] for entry in out.splitlines()]
        self.assertEqual(["record", "replay", "rule", "run"], fish("qrxhid r"))
        self.assertEqual(["--serial", "--speed"], sorted(fish("qrxhid watch --s")))
        self.assertIn("1209:0002", fish(f"qrxhid tree --recording {MOUSE} --device 12"))

    def test_zsh(self):
        shell = self.need("zsh")
        master, slave = pty.openpty()
        with tempfile.TemporaryDirectory() as home, \
                subprocess.Popen([shell, "-f", "-i"], stdin=slave, stdout=slave, stderr=slave,
                                 env={**ENVIRONMENT, "HOME": home, "ZDOTDIR": home}) as process:
            os.close(slave)

            def type_and_wait(text, expected):
                os.write(master, text.encode())
                seen, end = "", time.monotonic() + DEADLINE_SECONDS
                while expected not in seen and time.monotonic() < end:
                    if select.select([master], [], [], 1)[0]:
                        seen += os.read(master, 4096).decode(errors="replace")
                self.assertIn(expected, seen)

            type_and_wait(f"fpath=({FOLDER} $fpath); autoload -Uz compinit; compinit -u -D; echo rea''dy\n", "ready")
            type_and_wait("qrxhid desc\t", "qrxhid descriptor")
            type_and_wait("\x15qrxhid watch --time\t", "--timestamps")
            type_and_wait(f"\x15qrxhid tree --recording {MOUSE} --serial M\t", "--serial M-0001")
            process.kill()
        os.close(master)


if __name__ == "__main__":
    main()
