#!/usr/bin/env python3
"""Marks the operations that only backends use, whose names begin with an underscore, for the reference.

A filter of Doxygen: prints the given header. The last comment line before such a declaration gets the word that lists it
on a page of its own; no line is added.
"""
import re
import sys

OPERATION = re.compile(r"[^/=(]*[\s*&]_+[a-z]\w*\(")


def main(path):
    with open(path, encoding="utf-8") as file:
        lines = file.read().splitlines()
    for number, line in enumerate(lines):
        # Doxygen 1.9 does not know the templates of the standard library that are specialised.
        lines[number] = re.sub(r"^struct std::", "struct ", line)
        if OPERATION.match(line) and number > 0 and lines[number - 1].lstrip().startswith("///"):
            lines[number - 1] += " @backend"
    print("\n".join(lines))


if __name__ == "__main__":
    main(sys.argv[1])
