"""Programs made for hidapi, started by the tool on recorded devices."""

import os
import subprocess
import sys
import tempfile

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording

# Prints what the loader would give a program that was linked with hidapi.
PROBE = """
import ctypes, sys
library = ctypes.CDLL("libhidapi-hidraw.so.0")
library.hid_error.restype = ctypes.c_wchar_p
library.hid_error.argtypes = [ctypes.c_void_p]
library.hid_open.restype = ctypes.c_void_p
library.hid_open.argtypes = [ctypes.c_ushort, ctypes.c_ushort, ctypes.c_wchar_p]
library.hid_read_timeout.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t, ctypes.c_int]
library.hid_get_product_string.argtypes = [ctypes.c_void_p, ctypes.c_wchar_p, ctypes.c_size_t]
assert hasattr(library, "qrx_hid_descriptor")
device = library.hid_open(int(sys.argv[1], 16), int(sys.argv[2], 16), None)
if not device:
    sys.exit(library.hid_error(None))
name = ctypes.create_unicode_buffer(64)
library.hid_get_product_string(device, name, 64)
print(name.value)
bytes = ctypes.create_string_buffer(64)
for _ in range(int(sys.argv[3])):
    print(bytes[:library.hid_read_timeout(device, bytes, 64, 10000)].hex(" "))
"""


class Run(ToolTest):
    def probe(self, *options, words=("0", "0", "0")):
        return subprocess.run([TOOL, "run", *options, "--", sys.executable, "-c", PROBE, *words], capture_output=True,
                              text=True, timeout=DEADLINE_SECONDS, check=False)

    def test_a_program_reads_a_recorded_device(self):
        result = self.probe("--recording", recording("wheel-mouse"), "--only-virtual", words=("1209", "0002", "3"))
        self.assertEqual(0, result.returncode, result.stderr)
        name, *reports = result.stdout.splitlines()
        self.assertIn("Mouse", name)
        with open(recording("wheel-mouse"), encoding="utf-8") as file:
            events = [line.split(" ", 3)[3].strip() for line in file if line.startswith("E: ")]
        self.assertEqual(events[:3], reports)

    def test_several_recordings_are_several_devices(self):
        both = ("--recording", recording("wheel-mouse"), "--recording", recording("boot-keyboard"))
        for ids in (("1209", "0002"), ("1209", "0001")):
            self.assertEqual(0, self.probe(*both, "--only-virtual", words=(*ids, "0")).returncode)

    def test_without_recordings_nothing_is_there_with_only_virtual(self):
        result = self.probe("--only-virtual", words=("1209", "0002", "0"))
        self.assertEqual((1, "There is no device 1209:0002\n"), (result.returncode, result.stderr))

    def test_the_status_is_the_programs(self):
        self.assertEqual(7, subprocess.run([TOOL, "run", "--", "sh", "-c", "exit 7"], check=False).returncode)

    def test_a_program_keeps_its_own_options(self):
        result = subprocess.run([TOOL, "run", "--only-virtual", "--", "echo", "--json", "-x", "--help"],
                                capture_output=True, text=True, check=False)
        self.assertEqual("--json -x --help\n", result.stdout)

    def test_what_cannot_be_run_is_told(self):
        self.assertIn("no-such-program cannot be run: No such file or directory",
                      self.refuse(127, "run", "--", "no-such-program"))
        with tempfile.NamedTemporaryFile() as file:
            self.assertIn("cannot be run: Permission denied", self.refuse(126, "run", "--", file.name))
        self.refuse(64, "run")
        self.refuse(64, "run", "--only-virtual")

    def test_a_bad_recording_is_told_before_the_program_starts(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "bad.hid")
            with open(path, "w", encoding="ascii") as file:
                file.write("R: 2 00\n")
            self.assertIn("bad.hid:1: ", self.refuse(2, "run", "--recording", path, "--", "echo", "never"))


main()
