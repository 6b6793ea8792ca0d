#!/usr/bin/env python3
"""Counts the system calls of enumeration: the whole library in a real process, on devices that only it sees.

usage: enumeration_calls_test.py FOLDER PROGRAM
FOLDER holds the scripts of the benchmark of enumeration, PROGRAM is its qrx_populate. Counts are the same on every
machine, times are the benchmark's matter. Where no mount namespace or no strace can be had this is skipped, and in CI
it fails.
"""
import os
import sys
import unittest

sys.dont_write_bytecode = True
FOLDER, PROGRAM = sys.argv[1:3]
sys.path.insert(0, FOLDER)
import call_trace
import enumeration_cases
import private_machine


class Enumeration(enumeration_cases.EnumerationCases, unittest.TestCase):
    nodes = 40
    times = 3

    @classmethod
    def setUpClass(cls):
        machine = private_machine.PrivateMachine()
        machine.show(cls.nodes)
        cls.steps, cls.output = machine.traced_steps(PROGRAM, cls.times)


class Trace(unittest.TestCase):
    """What the cases above rest on."""

    def contacts(self, line):
        return len(call_trace.device_contacts(call_trace.calls(f"7 {line}\n")))

    def test_contacts_with_a_device_are_seen(self):
        self.assertEqual(self.contacts('openat(AT_FDCWD</x>, "/dev/hidraw0", O_RDWR) = 3</dev/hidraw0>'), 1)
        self.assertEqual(self.contacts('openat(4</dev>, "hidraw0", O_RDONLY) = 3</dev/hidraw0>'), 1)
        self.assertEqual(self.contacts('ioctl(3</sys/x>, HIDIOCGRAWNAME, 0x1) = 0'), 1)
        self.assertEqual(self.contacts('write(3</sys/x>, "1", 1) = 1'), 1)
        self.assertEqual(self.contacts('openat(4</sys>, "devnum", O_RDONLY) = 3</sys/devnum>'), 0)
        self.assertEqual(self.contacts('newfstatat(AT_FDCWD</x>, "/dev/hidraw0", {st_mode=S_IFCHR}, 0) = 0'), 0)

    def test_files_that_are_opened_are_told_from_folders(self):
        trace = ('7 openat(AT_FDCWD</x>, "/sys/a", O_RDONLY|O_DIRECTORY) = 3</sys/a>\n'
                 '7 openat(3</sys/a>, "b", O_RDONLY|O_CLOEXEC) = 4</sys/a/b>\n'
                 '7 openat(3</sys/a>, "c", O_RDONLY|O_CLOEXEC) = -1 ENOENT (No such file or directory)\n')
        self.assertEqual(enumeration_cases.opened_files(call_trace.calls(trace)), ["/sys/a/b"])

    def test_only_what_lies_between_the_marks_belongs_to_a_step(self):
        trace = ('7 read(3, "", 1) = 0\n7 access("/begin first", F_OK) = -1 ENOENT (No such file or directory)\n'
                 '7 clock_gettime(CLOCK_THREAD_CPUTIME_ID, {}) = 0\n7 close(3) = 0\n7 brk(NULL) = 0x1\n'
                 '7 access("/end first", F_OK) = -1 ENOENT (No such file or directory)\n7 read(4, "", 1) = 0\n')
        (step,) = call_trace.steps(trace)
        self.assertEqual([call.name for call in step.calls], ["close", "brk"])
        self.assertEqual([call.name for call in call_trace.without_memory(step)], ["close"])


if __name__ == "__main__":
    try:
        private_machine.enter()
        private_machine.require_strace()
    except private_machine.NotPermitted as reason:
        print(f"SKIPPED, NOTHING WAS COUNTED: {reason}")
        sys.exit(1 if os.environ.get("CI") else 77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
