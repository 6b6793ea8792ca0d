"""What a terminal gets and files do not: its width, and colours that nobody has refused."""

import fcntl
import os
import pty
import re
import signal
import struct
import subprocess
import termios
import tty

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording

MOUSE = recording("wheel-mouse")
THERMOMETER = recording("thermometer")


def read_all(master):
    text = b""
    while True:
        try:
            read = os.read(master, 65536)
        except OSError:  # Linux's way to say that the other end is closed.
            return text.decode()
        if not read:
            return text.decode()
        text += read


def read_line(master):
    text = b""
    while not text.endswith(b"\n"):
        text += os.read(master, 1)
    return text.decode().strip()


def run_in_terminal(*words, columns=80, **environment):
    """What the terminal shows."""
    master, slave = pty.openpty()
    try:
        tty.setraw(slave)
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        base = {name: value for name, value in os.environ.items() if name not in ("NO_COLOR", "TERM")}
        with subprocess.Popen([TOOL, *words], stdin=subprocess.DEVNULL, stdout=slave, stderr=slave,
                              env={**base, "TERM": "xterm", **environment}) as process:
            os.close(slave)
            text = read_all(master)
            process.wait(DEADLINE_SECONDS)
            return text
    finally:
        os.close(master)


def plain(text):
    return re.sub(r"\x1b\[\d+m", "", text)


def run_beside_terminal(*words):
    """Standard output, which goes to a pipe, and what the terminal shows meanwhile."""
    master, slave = pty.openpty()
    try:
        tty.setraw(slave)
        with subprocess.Popen([TOOL, *words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=slave,
                              env={**os.environ, "TERM": "xterm"}) as process:
            os.close(slave)
            shown = read_all(master)
            return process.communicate(timeout=DEADLINE_SECONDS)[0].decode(), shown
    finally:
        os.close(master)


class Terminals(ToolTest):
    def test_long_work_on_a_file_shows_its_progress_on_the_terminal_and_takes_it_back(self):
        # The second event is hours away at this speed.
        for words in (["watch"], ["record", "--keep-serial"]):
            out, shown = run_beside_terminal(*words, "--recording", MOUSE, "--speed", "0.000001", "--time", "1.3")
            self.assertRegex(shown, r"\r1 of 5 reports, \d+ s; Ctrl-C ends\x1b\[K\r")
            self.assertTrue(shown.endswith("\r\x1b[K"), ascii(shown))
            self.assertNotIn("\x1b", out)
            self.assertNotIn("Ctrl-C", out)

    def test_a_terminal_that_shows_the_work_gets_no_progress(self):
        shown = run_in_terminal("watch", "--recording", MOUSE, "--speed", "0.000001", "--time", "1.3")
        self.assertIn("report", shown)
        self.assertNotIn("Ctrl-C", shown)

    def test_colours_are_for_terminals_that_nobody_refuses_them_for(self):
        for words in (["list"], ["tree"], ["watch", "--speed", "0"]):
            words = [*words, "--recording", MOUSE]
            expected = self.succeed(*words)
            self.assertNotIn("\x1b", expected)
            coloured = run_in_terminal(*words)
            self.assertIn("\x1b[", coloured)
            self.assertEqual(expected, plain(coloured))
            self.assertEqual(coloured, run_in_terminal(*words, NO_COLOR=""))
            for refusal in ({"NO_COLOR": "1"}, {"NO_COLOR": "0"}, {"TERM": "dumb"}):
                self.assertEqual(expected, run_in_terminal(*words, **refusal), refusal)

    def test_each_colour_ends_before_its_line_does(self):
        for line in run_in_terminal("tree", "--recording", THERMOMETER).splitlines():
            self.assertEqual(line.count("\x1b[0m") * 2, line.count("\x1b["), ascii(line))

    def test_a_tree_has_the_width_of_its_terminal(self):
        for columns in (40, 60, 80, 120):
            lines = plain(run_in_terminal("tree", "--recording", THERMOMETER, columns=columns)).splitlines()
            self.assertLessEqual(max(len(line) for line in lines[1:]), columns if columns > 60 else 60)
        wide = plain(run_in_terminal("tree", "--recording", THERMOMETER, columns=120))
        self.assertIn("├─ Generic Desktop: Dial                 input 2  byte 1    8 bits     -127 .. 127  relative\n", wide)

    def test_watch_says_that_it_waits_and_leaves_at_a_signal(self):
        master, slave = pty.openpty()
        try:
            with subprocess.Popen([TOOL, "watch", "--wait", "--device", "dead:beef"], stdin=subprocess.DEVNULL,
                                  stdout=slave, stderr=slave) as process:
                self.assertEqual("qrxhid: waiting for a device; Ctrl-C ends", read_line(master))
                before = termios.tcgetattr(slave)
                process.send_signal(signal.SIGINT)
                self.assertEqual(0, process.wait(DEADLINE_SECONDS))
                self.assertEqual(before, termios.tcgetattr(slave))
        finally:
            os.close(slave)
            os.close(master)


if __name__ == "__main__":
    main()
