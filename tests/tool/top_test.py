"""What top measures, and how it shows it in a pipe and on a terminal."""

import fcntl
import json
import os
import pty
import re
import signal
import struct
import subprocess
import tempfile
import termios

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording

MOUSE = recording("wheel-mouse")
THERMOMETER = recording("thermometer")
COLUMNS, ROWS = 80, 24
HEADING = "      time  device     interface reports/s  interval  jitter  longest   bytes/s  reports loss?"
# What waits for a reader at most.
QUEUED = 63


class Screen:
    """What a terminal of so many columns shows of a text, with the control sequences that top may use and no others."""

    def __init__(self, columns=COLUMNS):
        self.columns, self.lines, self.row, self.column, self.wraps = columns, [""], 0, 0, True

    def feed(self, text):
        for sequence, character in re.findall(r"\x1b\[([?\d;]*[A-Za-z])|([\s\S])", text):
            if sequence:
                self.obey(sequence)
            elif character == "\n":
                self.row += 1
                self.lines += [""] * (self.row + 1 - len(self.lines))
            elif character == "\r":
                self.column = 0
            else:
                self.put(character)
        return self

    def obey(self, sequence):
        if sequence.endswith("A"):
            self.row -= int(sequence[:-1])
            assert self.row >= 0
        elif sequence == "K":
            self.lines[self.row] = self.lines[self.row][:self.column]
        elif sequence == "J":
            del self.lines[self.row + 1:]
            self.lines[self.row] = self.lines[self.row][:self.column]
        elif sequence in ("?7l", "?7h"):
            self.wraps = sequence == "?7h"
        else:
            assert sequence.endswith("m"), ascii(sequence)

    def put(self, character):
        assert self.column < self.columns or not self.wraps, "a line is too long"
        if self.column < self.columns:
            line = self.lines[self.row].ljust(self.column)
            self.lines[self.row] = line[:self.column] + character + line[self.column + 1:]
            self.column += 1


class Terminal:
    """The tool on a terminal of its own."""

    def __init__(self, *words, columns=COLUMNS, rows=ROWS, **environment):
        self.master, self.slave = pty.openpty()
        self.resize(columns, rows)
        self.text = ""
        self.process = subprocess.Popen([TOOL, *words], stdin=self.slave, stdout=self.slave, stderr=self.slave,
                                        start_new_session=True,
                                        env={**os.environ, "TERM": "xterm", "NO_COLOR": "1", **environment})

    def resize(self, columns, rows):
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def read_until(self, pattern):
        """Reads on until the text that comes has it."""
        begin = len(self.text)
        while not re.search(pattern, self.text[begin:]):
            self.text += os.read(self.master, 65536).decode()

    def end(self, number=None):
        """The exit status."""
        if number is not None:
            self.process.send_signal(number)
        status = self.process.wait(DEADLINE_SECONDS)
        os.set_blocking(self.master, False)
        try:
            while True:
                self.text += os.read(self.master, 65536).decode()
        except BlockingIOError:
            pass
        os.close(self.master)
        os.close(self.slave)
        return status


class Top(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def mouse_with(self, times):
        path = os.path.join(self.folder, "mouse.hid")
        with open(MOUSE, encoding="utf-8") as file:
            head = "".join(line for line in file if not line.startswith("E:"))
        with open(path, "w", encoding="utf-8") as file:
            file.write(head + "".join(f"E: {time:013.6f} 4 00 05 fb 00\n" for time in times))
        return path

    def totals(self, *words):
        return json.loads(self.succeed("top", "--json", *words).splitlines()[-1])["interfaces"]

    def test_the_total_has_every_report_and_byte_of_each_interface(self):
        totals = self.totals("--recording", MOUSE, THERMOMETER)
        self.assertEqual([(1, 0, 5, 20, True), (2, 0, 2, 20, True), (2, 1, 5, 10, True)],
                         [(one["device"], one["interface"], one["reports"], one["bytes"], one["hasLeft"])
                          for one in totals])

    def test_the_periods_together_are_the_total(self):
        path = self.mouse_with(n / 30 for n in range(60))
        lines = [json.loads(line) for line in
                 self.succeed("top", "--json", "--every", "0.1", "--recording", path).splitlines()]
        self.assertGreater(len(lines), 4)
        sums = [sum(line["interfaces"][0]["reports"] for line in lines if line["event"] == event)
                for event in ("period", "total")]
        # What came after the last period is in no line of its own.
        self.assertEqual(60, sums[1])
        self.assertGreaterEqual(sums[0], 40)
        self.assertLessEqual(sums[0], 60)

    def test_intervals_and_jitter_are_those_of_the_reports(self):
        path = self.mouse_with([0, 0.5, 1, 2.5, 3])
        intervals = self.totals("--recording", path)[0]["intervalMs"]
        # A busy machine reads later than a report was sent, which moves one interval and hardly the mean.
        self.assertAlmostEqual(750, intervals["mean"], delta=100)
        self.assertAlmostEqual(433, intervals["jitter"], delta=150)
        self.assertGreater(intervals["longest"], 1000)
        self.assertIsNone(self.totals("--recording", self.mouse_with([0]))[0]["intervalMs"])

    def test_losses_are_counted(self):
        path = self.mouse_with([0] * (QUEUED + 7) + [2])
        self.assertEqual(7, self.totals("--recording", path)[0]["possibleLosses"])
        last = self.succeed("top", "--recording", path).splitlines()[-1]
        self.assertRegex(last, r"^       all  #1  1209:0002  0 .* 7  left$")

    def test_a_pipe_gets_a_heading_and_lines(self):
        path = self.mouse_with(n * 0.01 for n in range(40))
        lines = self.succeed("top", "--every", "0.1", "--recording", path).splitlines()
        self.assertEqual(HEADING, lines[0])
        for line in lines[1:-1]:
            self.assertRegex(line, r"^ +\d+\.\d{3}  #1  1209:0002  0 +\d+\.\d +\S+ +\S+ +\S+ +\d+ +\d+ +0(  left)?$")
        self.assertRegex(lines[-1], r"^       all  #1  1209:0002  0 .* 40     0  left$")

    def test_one_interface_is_measured_alone(self):
        self.assertEqual([1], [one["interface"] for one in self.totals("--interface", "1", "--recording", THERMOMETER)])

    def test_it_ends_after_the_count_and_the_time(self):
        self.assertEqual(2, self.totals("--count", "2", "--recording", MOUSE)[0]["reports"])
        self.assertEqual(1, self.totals("--time", "1", "--speed", "0.000001", "--recording", MOUSE)[0]["reports"])

    def test_periods_that_nobody_could_read_are_refused(self):
        for word in ("0", "0.05", "-1", "soon", "nan"):
            self.assertIn("--every", self.refuse(64, "top", "--every", word, "--recording", MOUSE))

    def test_a_terminal_shows_the_figures_in_one_place(self):
        terminal = Terminal("top", "--every", "0.1", "--recording", self.mouse_with(n * 0.01 for n in range(6000)))
        for _ in range(4):
            terminal.read_until(r"\x1b\[\?7h")
        screen = Screen().feed(terminal.text)
        self.assertEqual(5, len(screen.lines), screen.lines)
        self.assertRegex(screen.lines[0], r"^\d+ s; intervals in ms; Ctrl-C ends$")
        self.assertRegex(screen.lines[3], r"^    interface 0 +\d")
        self.assertEqual(0, terminal.end(signal.SIGINT))
        screen = Screen().feed(terminal.text)
        self.assertRegex(screen.lines[0], r"^in all, \d+ s; intervals in ms$")
        self.assertEqual(5, len(screen.lines), screen.lines)

    def test_the_terminal_is_as_it_was_whenever_it_ends(self):
        path = self.mouse_with(n * 0.01 for n in range(6000))
        for number, expected in ((signal.SIGINT, 0), (signal.SIGTERM, 0), (signal.SIGKILL, -signal.SIGKILL)):
            terminal = Terminal("top", "--every", "0.1", "--recording", path)
            before = termios.tcgetattr(terminal.slave)
            terminal.read_until(r"\x1b\[\?7h[\s\S]*\x1b\[\?7h")
            self.assertEqual(before, termios.tcgetattr(terminal.slave))
            self.assertEqual(expected, terminal.end(number))
            # Long lines are continued again, no other mode was changed, and the cursor stands at a line's begin.
            modes = re.findall(r"\x1b\[\?\d+[hl]", terminal.text)
            self.assertEqual({"\x1b[?7l", "\x1b[?7h"}, set(modes))
            self.assertEqual("\x1b[?7h", modes[-1])
            self.assertEqual("", Screen().feed(terminal.text).lines[-1])

    def test_what_has_no_room_is_counted(self):
        terminal = Terminal("top", "--every", "0.1", "--speed", "0.000001", "--recording", *[MOUSE] * 12, rows=10)
        terminal.read_until(r"\x1b\[\?7h")
        terminal.end(signal.SIGINT)
        lines = Screen().feed(terminal.text).lines
        # A heading of two lines, and two lines for each device; the cursor stands on the tenth.
        self.assertEqual(10, len(lines), lines)
        self.assertEqual("... and 18 lines more", lines[8])

    def test_a_terminal_of_another_size_gets_a_drawing_of_its_own(self):
        terminal = Terminal("top", "--every", "0.1", "--speed", "0.000001", "--recording", MOUSE)
        terminal.read_until(r"\x1b\[\?7h")
        terminal.resize(60, ROWS)
        begin = len(terminal.text)
        terminal.read_until(r"\x1b\[\?7h[\s\S]*\x1b\[\?7h[\s\S]*\x1b\[\?7h")
        terminal.end(signal.SIGINT)
        drawings = terminal.text[begin:].split("\x1b[?7h")
        self.assertTrue(any("\x1b[4A" not in one and "Ctrl-C ends" in one for one in drawings), drawings)

    def test_a_terminal_without_escape_sequences_gets_lines(self):
        terminal = Terminal("top", "--time", "0.25", "--every", "0.1", "--recording", MOUSE, TERM="dumb")
        self.assertEqual(0, terminal.end())
        self.assertNotIn("\x1b", terminal.text)
        self.assertIn(HEADING, terminal.text)

    def test_its_lines_are_whole_when_it_is_ended(self):
        with subprocess.Popen([TOOL, "top", "--json", "--every", "0.1", "--speed", "0.000001", "--recording", MOUSE],
                              stdout=subprocess.PIPE) as process:
            first = process.stdout.readline()
            process.send_signal(signal.SIGINT)
            rest = process.communicate(timeout=DEADLINE_SECONDS)[0]
        events = [json.loads(line)["event"] for line in [first, *rest.splitlines()]]
        self.assertEqual((0, "period", "total"), (process.returncode, events[0], events[-1]))


if __name__ == "__main__":
    main()
