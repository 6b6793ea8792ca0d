#!/usr/bin/env python3
"""Holds what the tool must keep up with: fast devices, and large ones.

usage: rates.py QRXHID
QRX_RECORDINGS names a folder of recorded devices; without it the
largest device is not looked at, and this says so.
"""
import os
import pathlib
import subprocess
import sys
import tempfile
import time

RATE = 8_000
SECONDS = 5
BYTES = 64
TREE_LIMIT_MS = 100
LARGEST = 5
DEADLINE_SECONDS = 120


def fast_device(path):
    """A device that sends reports of 64 bytes, each with a number of its own, at an even pace."""
    descriptor = "06 00 ff 09 01 a1 01 15 00 26 ff 00 75 08 95 40 09 02 81 02 c0"
    with open(path, "w", encoding="ascii") as file:
        file.write(f"R: {len(descriptor.split())} {descriptor}\nN: Fast\nI: 3 1209 0008\n")
        for n in range(RATE * SECONDS):
            us = n * 1_000_000 // RATE
            report = n.to_bytes(4, "little") + bytes((n + at) & 0xFF for at in range(BYTES - 4))
            file.write(f"E: {us // 1_000_000:06d}.{us % 1_000_000:06d} {BYTES} {report.hex(' ')}\n")


def run(tool, output, *words):
    """Seconds that it took."""
    begin = time.monotonic()
    with open(output, "wb") as file:
        subprocess.run([tool, *words], stdout=file, check=True, timeout=DEADLINE_SECONDS)
    return time.monotonic() - begin


def lines_of(output):
    """Events, without the values below them."""
    with open(output, encoding="ascii") as file:
        return [line[:80] for line in file if not line.startswith(" ")]


def watch(tool, folder):
    """False if a report is missing in what watch writes to a file while the device sends at its pace."""
    device, output = os.path.join(folder, "fast.hid"), os.path.join(folder, "output")
    fast_device(device)
    sent = RATE * SECONDS
    all_held = True
    for words, names in (([], ("report", "loss?")), (["--json"], ('"event":"report"', '"event":"possibleLoss"'))):
        seconds = run(tool, output, "watch", "--recording", device, *words)
        lines = lines_of(output)
        reports, losses = (sum(name in line for line in lines) for name in names)
        held = reports == sent and losses == 0
        all_held = all_held and held
        print(f"{'held  ' if held else 'BROKEN'} watch {' '.join(words)} of {RATE} reports a second: {reports} of {sent}, "
              f"{losses} losses, {seconds:.1f} s")
    for words in (["--raw"], [], ["--json"]):
        # As fast as they are taken: what there is room for.
        seconds = run(tool, output, "watch", "--speed", "0", "--recording", device, *words)
        reports = sum('report' in line for line in lines_of(output))
        all_held = all_held and reports == sent
        print(f"       watch --speed 0 {' '.join(words)}: {reports} of {sent}, {reports / seconds:.0f} a second")
    return all_held


def largest_recordings():
    folder = os.environ.get("QRX_RECORDINGS")
    if not folder:
        print("SKIPPED the largest recording: QRX_RECORDINGS is not set")
        return []
    # Those of real devices: among the malformed ones are some that are refused, which takes no time.
    files = [path for path in pathlib.Path(folder).rglob("*.hid") if path.parent.name != "malformed"]
    return sorted(files, key=lambda path: path.stat().st_size)[-LARGEST:]


def tree(tool, folder):
    output = os.path.join(folder, "output")
    good = True
    for path in largest_recordings():
        best = min(run(tool, output, "tree", "--recording", str(path)) for _ in range(5)) * 1000
        good = good and best < TREE_LIMIT_MS
        print(f"{'held  ' if best < TREE_LIMIT_MS else 'BROKEN'} tree of {path.name}, {path.stat().st_size} bytes: "
              f"{best:.0f} ms, at most {TREE_LIMIT_MS}")
    return good


def main(tool):
    with tempfile.TemporaryDirectory() as folder:
        results = [watch(tool, folder), tree(tool, folder)]
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
