#!/usr/bin/env python3
"""Counts the system calls of enumeration on the guest's kernel, whose devices are real to the library.

usage: enumeration_calls_test.py FOLDER CASES NODES TIMES RIG...
FOLDER holds the scripts of the benchmark of enumeration, CASES what is expected, RIG is the command line that boots the
guest and runs qrx_populate with so many TIMES and NODES under strace. With an exit status of its own the rig decides.
"""
import sys
import unittest

sys.dont_write_bytecode = True
FOLDER, CASES, NODES, TIMES = sys.argv[1:5]
sys.path[:0] = [FOLDER, CASES]
import call_trace
import enumeration_cases
import guest_output


class Enumeration(enumeration_cases.EnumerationCases, unittest.TestCase):
    nodes = int(NODES)
    times = int(TIMES)
    # No udevd, so there is one monitor.
    most_calls_observing = 1


if __name__ == "__main__":
    status, lines = guest_output.run(sys.argv[5:], ["output", "trace"])
    if status != 0:
        sys.exit(status)
    Enumeration.steps = call_trace.steps("\n".join(lines["trace"]))
    Enumeration.output = "\n".join(lines["output"])
    first = Enumeration.steps[0]
    print(f"{NODES} report nodes: {len(call_trace.without_memory(first)) / int(NODES):.2f} calls a node", flush=True)
    unittest.main(argv=sys.argv[:1], verbosity=2)
