"""What is recorded of a played recording is that recording."""

import os
import re
import resource
import signal
import subprocess
import tempfile

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording, run

KEYBOARD = recording("boot-keyboard")
MOUSE = recording("wheel-mouse")
GAMEPAD = recording("gamepad")
THERMOMETER = recording("thermometer")
ALL = [KEYBOARD, MOUSE, GAMEPAD, THERMOMETER,
       recording("qemu-keyboard"), recording("qemu-mouse"), recording("qemu-tablet")]


def events(text):
    """Index of the interface and bytes, one pair an event."""
    found, interface = [], "0"
    for line in text.splitlines():
        if line.startswith("D: "):
            interface = line[3:].strip()
        elif line.startswith("E: "):
            found.append((interface, line.split(None, 3)[3].strip()))
    return found


def times(text):
    return [float(value) for value in re.findall(r"^E: (\d{6}\.\d{6}) ", text, re.M)]


def description(text):
    """All lines that say what the device is, but for where it was plugged in and for words to people. A device without
    a class may leave the line out."""
    return [line.rstrip() for line in text.splitlines()
            if re.match(r"(#@|R:|N:|I:|D:) ", line) and line.rstrip() != "#@ device-class: 00 00 00"]


def content(name):
    with open(name, encoding="utf-8") as file:
        return file.read()


class Record(ToolTest):
    def record(self, *words):
        return self.succeed("record", "--keep-serial", "--speed", "0", *words)

    def test_every_event_is_there_with_its_interface_and_bytes(self):
        for name in ALL:
            expected = events(content(name))
            self.assertGreater(len(expected), 2)
            self.assertEqual(expected, events(self.record("--recording", name)), name)

    def test_the_device_is_described_as_it_was(self):
        for name in ALL:
            original, recorded = content(name), self.record("--recording", name)
            head = [text[:text.index("\nE:")] for text in (original, recorded)]
            self.assertEqual(sorted(set(description(head[0]))), sorted(set(description(head[1]))), name)

    def test_a_recording_of_a_recording_is_the_same_device(self):
        with tempfile.TemporaryDirectory() as folder:
            copy = os.path.join(folder, "copy.hid")
            self.assertEqual("", self.record("--recording", THERMOMETER, "--output", copy))
            for command in ("list", "tree"):
                self.assertEqual(self.succeed(command, "--recording", THERMOMETER),
                                 self.succeed(command, "--recording", copy))
            second = self.record("--recording", copy)
        self.assertEqual(events(content(THERMOMETER)), events(second))

    def test_a_serial_number_is_recorded_only_on_request(self):
        words = ("record", "--speed", "0", "--count", "1", "--recording", MOUSE)
        outcome = run(*words)
        self.assertEqual((0, "qrxhid: the serial number is recorded as SERIAL; --keep-serial keeps it\n"),
                         (outcome.status, outcome.err))
        self.assertIn("\n#@ serial-number: SERIAL\n", outcome.out)
        self.assertNotIn("M-0001", outcome.out)
        kept = run(*words, "--keep-serial")
        self.assertEqual((0, ""), (kept.status, kept.err))
        self.assertIn("\n#@ serial-number: M-0001\n", kept.out)

    def test_one_interface_of_a_device_is_recorded_alone(self):
        text = self.record("--recording", THERMOMETER, "--interface", "1")
        expected = [bytes for interface, bytes in events(content(THERMOMETER)) if interface == "1"]
        self.assertGreater(len(expected), 1)
        self.assertEqual(expected, [bytes for _, bytes in events(text)])
        self.assertEqual(1, text.count("\nR: "), text)

    def test_times_begin_with_0_and_follow_the_device(self):
        paced = times(self.succeed("record", "--recording", MOUSE, "--speed", "1"))
        played = times(content(MOUSE))
        self.assertEqual(0, paced[0])
        self.assertEqual(sorted(paced), paced)
        # A busy machine is late now and then, and never early by more than its clocks' grain.
        self.assertGreater(paced[-1], (played[-1] - played[0]) * 0.9)

    def test_it_ends_after_the_count(self):
        self.assertEqual(events(content(MOUSE))[:2], events(self.record("--recording", MOUSE, "--count", "2")))

    def test_it_ends_after_the_time(self):
        # At a millionth of its speed the second event is hours away.
        text = self.succeed("record", "--recording", MOUSE, "--speed", "0.000001", "--time", "1")
        self.assertEqual(events(content(MOUSE))[:1], events(text))

    def test_of_several_recordings_the_named_one_is_recorded(self):
        text = self.record("--recording", MOUSE, GAMEPAD, "--device", "1209:3")
        self.assertEqual(events(content(GAMEPAD)), events(text))
        self.assertIn("2 devices match, and a recording is of one",
                      self.refuse(64, "record", "--recording", MOUSE, GAMEPAD, "--device", "1209:"))

    def test_an_interrupted_recording_is_whole(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            with subprocess.Popen([TOOL, "record", "--keep-serial", "--speed", "0.000001", "--recording", THERMOMETER],
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
                lines = []
                while not lines or not lines[-1].startswith("E: "):
                    line = process.stdout.readline().decode()
                    self.assertNotEqual("", line, "ended without an event")
                    lines.append(line)
                process.send_signal(number)
                rest, error = process.communicate(timeout=DEADLINE_SECONDS)
            self.assertEqual((b"", -9 if number == signal.SIGKILL else 0), (error, process.returncode))
            text = "".join(lines) + rest.decode()
            listed = self.succeed("list", "--recording", "-", text=text)
            self.assertEqual(self.succeed("list", "--recording", THERMOMETER), listed)

    def test_output_that_cannot_be_opened_or_written_is_a_failure(self):
        self.assertIn("qrxhid: /nowhere/x.hid cannot be opened: ",
                      self.refuse(1, "record", "--keep-serial", "--recording", MOUSE, "--output", "/nowhere/x.hid"))
        self.assertEqual("qrxhid: /dev/full cannot be written\n",
                         self.refuse(1, "record", "--keep-serial", "--recording", MOUSE, "--speed", "0",
                                     "--output", "/dev/full"))

    def test_a_full_disk_leaves_no_half_line(self):
        """The limit of a file's size stands for the disk."""
        whole = self.record("--recording", THERMOMETER)
        size = len(whole.encode())
        begin = size - len(whole[re.search(r"^(D: \d+\n)?E: ", whole, re.M).start():].encode())
        with tempfile.TemporaryDirectory() as folder:
            name = os.path.join(folder, "x.hid")
            for limit in [0, 1, begin // 2, *range(begin - 1, size + 2, 7), size - 1, size]:
                for words, standard_output in ((["--output", name], None), ([], name)):
                    with open(standard_output or os.devnull, "wb") as out:
                        outcome = subprocess.run(
                            [TOOL, "record", "--keep-serial", "--speed", "0", "--recording", THERMOMETER, *words], stdout=out,
                            stderr=subprocess.PIPE, timeout=DEADLINE_SECONDS, restore_signals=False, check=False,
                            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
                    context = f"{words} {limit} of {size}: {outcome}"
                    is_whole = limit >= size
                    self.assertEqual(0 if is_whole else 1, outcome.returncode, context)
                    self.assertEqual(is_whole, outcome.stderr == b"", context)
                    written = content(name)
                    if limit < begin and standard_output:
                        continue  # Half a head of standard output cannot be taken back.
                    if limit < begin:
                        self.assertEqual("", written, context)
                        continue
                    self.assertEqual(events(whole)[:len(events(written))], events(written), context)
                    self.assertEqual("\n", written[-1], context)
                    self.assertGreater(len(written.encode()), limit - 100, context)
                    self.succeed("list", "--recording", name)

    def test_a_recording_that_is_played_is_not_written_over(self):
        with tempfile.TemporaryDirectory() as folder:
            played, other = os.path.join(folder, "a.hid"), os.path.join(folder, "b.hid")
            with open(played, "w", encoding="utf-8") as file:
                file.write(content(MOUSE))
            os.symlink(played, other)
            for words in ((played,), (other,), (os.path.join(folder, ".", "a.hid"),)):
                error = self.refuse(64, "record", "--speed", "0", "--count", "1", "--recording", MOUSE, played,
                                    "--device", "1209:2", "--output", *words)
                self.assertEqual(f"qrxhid: --output {words[0]} is the recording that is played\n"
                                 f"Try: qrxhid record --recording {played} --output OTHER\n", error)
            with open(played, "rb") as standard_input:
                outcome = subprocess.run([TOOL, "record", "--recording", "-", "--output", other], check=False,
                                         stdin=standard_input, capture_output=True, timeout=DEADLINE_SECONDS)
            self.assertEqual((64, b""), (outcome.returncode, outcome.stdout))
            self.assertEqual(content(MOUSE), content(played))

    def test_wrong_command_lines_are_refused(self):
        self.assertEqual("qrxhid: which device?\nTry: qrxhid record --device VID:PID\n", self.refuse(64, "record"))
        self.assertIn("--speed is for recordings", self.refuse(64, "record", "--device", "1:2", "--speed", "1"))
        for wrong in ("0", "-1", "nan", "inf", "x"):
            self.assertIn(f"--time {wrong}: not a number of seconds above 0",
                          self.refuse(64, "record", "--recording", MOUSE, f"--time={wrong}"))

    def test_a_device_that_is_not_there_is_told_and_nothing_is_written(self):
        with tempfile.TemporaryDirectory() as folder:
            output = os.path.join(folder, "x.hid")
            outcome = run("record", "--device", "dead:beef", "--recording", MOUSE, "--output", output)
            self.assertEqual(1, outcome.status, str(outcome))
            self.assertIn("no device is dead:beef; there are:\n  #1  1209:0002", outcome.err)
            self.assertEqual([], os.listdir(folder))


if __name__ == "__main__":
    main()
