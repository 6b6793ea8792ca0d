"""Runs the tool for the tests."""

import os
import signal
import subprocess
import sys
import unittest

TOOL = os.environ.get("QRXHID", "")
RECORDINGS = os.environ.get("QRXHID_RECORDINGS", "")
# Far more than any of these runs takes, also under sanitizers.
DEADLINE_SECONDS = 120

# What a shell runs in the background ignores SIGINT, and so would the programs started here: they inherit that, but not
# a handler.
signal.signal(signal.SIGINT, signal.default_int_handler)


def recording(name):
    return os.path.join(RECORDINGS, name + ".hid")


class Outcome:
    def __init__(self, process):
        self.status = process.returncode
        self.out = process.stdout.decode()
        self.err = process.stderr.decode()

    def __str__(self):
        return f"status {self.status}\n--- stdout\n{self.out}--- stderr\n{self.err}"


def run(*words, text=None):
    return Outcome(subprocess.run([TOOL, *words], capture_output=True, timeout=DEADLINE_SECONDS,
                                  input=None if text is None else text.encode(),
                                  stdin=subprocess.DEVNULL if text is None else None, check=False))


class ToolTest(unittest.TestCase):
    maxDiff = None

    def succeed(self, *words, text=None):
        outcome = run(*words, text=text)
        self.assertEqual(0, outcome.status, str(outcome))
        return outcome.out

    def refuse(self, status, *words, text=None):
        """The tool ends with this status and prints nothing on standard output; gives standard error."""
        outcome = run(*words, text=text)
        self.assertEqual((status, ""), (outcome.status, outcome.out), str(outcome))
        return outcome.err


def main():
    if not TOOL:
        sys.exit("QRXHID must name the program under test")
    unittest.main()
