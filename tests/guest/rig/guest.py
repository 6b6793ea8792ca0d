"""Runs programs in one boot of the guest."""
import os
import shlex
import sys
import tempfile
import time

from image import build_image
from machine import NO_STATUS, GuestFailure, Machine
from overlay import write_initrd


class Boot:
    """What to carry in and how to run it."""

    def __init__(self, cache):
        self.cache = cache
        self.programs = []      # argument lists; the first word is a path on this machine and in the guest
        self.extra = []         # programs that are carried in but not run
        self.data = []          # (source, path in the guest)
        self.environment = {}
        self.timeout = 120
        self.memory_mib = 512
        self.udevd = False
        self.icount = False
        self.share = None
        self.keep = False


def _say(text):
    print(f"guest: {text}", flush=True)


def _command(boot, arguments):
    words = ["env"] + [f"{name}={value}" for name, value in sorted(boot.environment.items())] + arguments
    return " ".join(shlex.quote(word) for word in words)


def _run_all(boot, machine, deadline, output):
    """Every program in turn, also after one that failed. The exit status of the first that failed, else 0."""
    result = 0
    for arguments in boot.programs:
        start = time.monotonic()
        status = machine.run(_command(boot, arguments), deadline, output)
        _say(f"{os.path.basename(arguments[0])}: exit status {status} after {time.monotonic() - start:.1f} s")
        result = result or status
    return result


def _run_machine(boot, image, folder):
    start = time.monotonic()
    deadline = start + boot.timeout
    initrd = os.path.join(folder, "initrd")
    write_initrd(initrd, image.base, [arguments[0] for arguments in boot.programs] + boot.extra, boot.data)
    output = sys.stdout.buffer
    with Machine(image.kernel, initrd, folder, boot.memory_mib, boot.share, boot.icount) as machine:
        try:
            machine.wait_ready(deadline, output)
            _say(f"booted after {time.monotonic() - start:.1f} s")
            if boot.udevd and machine.run("start-udevd", deadline, output) != 0:
                raise GuestFailure(NO_STATUS, "udevd did not start")
            status = _run_all(boot, machine, deadline, output)
        except GuestFailure as failure:
            _say(f"FAILED: {failure}")
            status = failure.status
        tail = machine.console_tail()
    if status != 0 and tail:
        _say("last lines of the kernel's console:")
        print(tail, flush=True)
    return status


def run_guest(boot):
    """Boots once and runs the programs. Returns the exit status: 0 if every program ended with 0, 124 for the time limit,
    125 if the guest died. Raises RigUnavailable."""
    image = build_image(boot.cache)
    folder = tempfile.mkdtemp(prefix="guest-")
    try:
        return _run_machine(boot, image, folder)
    finally:
        if boot.keep:
            _say(f"kept in {folder}")
        else:
            for name in os.listdir(folder):
                os.unlink(os.path.join(folder, name))
            os.rmdir(folder)
