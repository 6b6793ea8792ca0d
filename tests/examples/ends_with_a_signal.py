#!/usr/bin/env python3
"""Runs a program until it has a handler for SIGTERM, sends that signal once, and wants the program to end with 0.

usage: ends_with_a_signal.py PROGRAM

GNU timeout is no help here: it signals the program and then its process group. A program that is already on its way out
when the second signal arrives has its former handler again, and is killed.
"""

import pathlib
import signal
import subprocess
import sys
import time

DEADLINE_SECONDS = 20


def handles(pid, number):
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("SigCgt:"):
            return int(line.split()[1], 16) >> (number - 1) & 1 == 1
    return False


def main():
    deadline = time.monotonic() + DEADLINE_SECONDS
    process = subprocess.Popen([sys.argv[1]])
    try:
        while not handles(process.pid, signal.SIGTERM):
            if process.poll() is not None:
                sys.exit(f"{sys.argv[1]} ended with {process.returncode} before it waited for a signal")
            if time.monotonic() > deadline:
                sys.exit(f"{sys.argv[1]} has no handler for SIGTERM after {DEADLINE_SECONDS} s")
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        status = process.wait(timeout=DEADLINE_SECONDS)
    finally:
        process.kill()
    if status != 0:
        sys.exit(f"{sys.argv[1]} ended with {status} after SIGTERM")


main()
