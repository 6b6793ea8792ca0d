#!/usr/bin/env python3
"""Counts the system calls of enumeration: the whole library in a real process, on devices that only it sees.

usage: enumeration_calls_test.py FOLDER PROGRAM
FOLDER holds the scripts of the benchmark of enumeration, PROGRAM is its qrx_populate. Counts are the same on every
machine, times are the benchmark's matter. Where no mount namespace or no strace can be had this is skipped, and in CI
it fails.
"""
import collections
import os
import sys
import unittest

sys.dont_write_bytecode = True
FOLDER, PROGRAM = sys.argv[1:3]
sys.path.insert(0, FOLDER)
import call_trace
import private_machine

NODES = 40
MOST_CALLS_A_NODE = 40
# One look whether events wait, for each monitor that there may be.
MOST_CALLS_OBSERVING = 2
TIMES = 3


def shown(calls):
    kinds = collections.Counter(call.name for call in calls)
    return f"{dict(kinds)}\nthe first:\n" + "\n".join(f"  {call.name}({call.text}" for call in calls[:60])


class Enumeration(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        machine = private_machine.PrivateMachine()
        machine.show(NODES)
        cls.steps, cls.output = machine.traced_steps(PROGRAM, TIMES)

    def steps_named(self, name):
        return [step for step in self.steps if step.name == name]

    def test_every_step_was_traced_and_finds_all_nodes_with_their_elements(self):
        names = ["first"] + ["again"] * TIMES + ["observing"] * TIMES
        self.assertEqual([step.name for step in self.steps], names)
        found = [line.split()[:2] for line in self.output.splitlines()]
        self.assertEqual(found, [[name, str(NODES)] for name in names])

    def test_the_first_populate_takes_at_most_40_calls_a_node(self):
        calls = self.steps_named("first")[0].calls
        self.assertLessEqual(len(calls), MOST_CALLS_A_NODE * NODES, shown(calls))

    def test_the_first_populate_reads_each_file_once(self):
        calls = self.steps_named("first")[0].calls
        # strace writes what was opened behind the result: "= 5</sys/...>".
        opened = [call.text.rsplit("= ", 1)[1].split("<", 1)[1].rstrip(">") for call in calls
                  if call.name == "openat" and "<" in call.text.rsplit("= ", 1)[1]]
        files = collections.Counter(path for path in opened if not os.path.isdir(path))
        self.assertGreaterEqual(len(files), NODES)
        self.assertEqual({path: times for path, times in files.items() if times > 1}, {})

    def test_populating_again_takes_no_more_calls_than_the_first_time(self):
        first = len(self.steps_named("first")[0].calls)
        for step in self.steps_named("again"):
            self.assertLessEqual(len(step.calls), first, shown(step.calls))

    def test_populating_while_observing_looks_for_events_and_reads_nothing(self):
        for step in self.steps_named("observing"):
            calls = call_trace.without_memory(step)
            self.assertLessEqual(len(calls), MOST_CALLS_OBSERVING, shown(calls))
            self.assertEqual([call for call in calls if call.name.startswith(("open", "read", "getdents"))], [])

    def test_nothing_below_dev_is_opened_and_nothing_is_sent(self):
        for step in self.steps:
            self.assertEqual(call_trace.device_contacts(step.calls), [], step.name)


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
