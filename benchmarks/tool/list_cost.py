#!/usr/bin/env python3
"""Holds what `qrxhid list` takes of devices with 40 interfaces beside what the library takes of them.

usage: list_cost.py PANELS RIG...
PANELS is the folder of the guest's devices (for its script), RIG the command line that boots the guest with counted
instructions and runs both programs.
"""
import statistics
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, sys.argv[1])
import guest_output

NODES = 40
LIMIT = 1.2


def main():
    status, lines = guest_output.run(sys.argv[2:], ["figure"])
    if status != 0:
        return status
    costs, printed = {}, {}
    for line in lines["figure"]:
        _, name, nanoseconds, count = line.split()
        costs.setdefault(name, []).append(int(nanoseconds))
        printed[name] = int(count)
    # The tool prints a title, a place and both interfaces of each device; the other program prints a number.
    if printed["tool"] != 2 * NODES or printed["library"] == 0:
        print(f"not all devices were listed: {printed}")
        return 1
    tool, library = (statistics.median(costs[name]) for name in ("tool", "library"))
    held = tool <= LIMIT * library
    print(f"listing {NODES} nodes, whole process: library {library:.0f} instructions, tool {tool:.0f}\n"
          f"{'held  ' if held else 'BROKEN'} of the library's: {tool / library:.3f}, at most {LIMIT}")
    return 0 if held else 1


if __name__ == "__main__":
    sys.exit(main())
