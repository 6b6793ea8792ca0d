#!/usr/bin/env python3
"""Holds a packaged library to its size, its hardening and its names.

usage: library_test.py LIBRARY SYMBOLS LARGEST_KIB

The names are those of the symbols file, in both directions; exports_test.py holds them to the public headers.
"""
import os
import pathlib
import re
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "frame"))
import exports_test


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def promised(symbols):
    """All names of the list, and those that need not be there."""
    lines = re.findall(r'^ \(c\+\+(\|optional)?\)"(.*)@Base"', pathlib.Path(symbols).read_text(), re.MULTILINE)
    return {name for _, name in lines}, {name for is_optional, name in lines if is_optional}


def hardening_faults(library):
    dynamic = output_of("readelf", "--dynamic", "--wide", library)
    segments = output_of("readelf", "--segments", "--wide", library)
    if not re.search(r"FLAGS.*\b(BIND_NOW|NOW)\b", dynamic):
        yield "functions of others are not bound when it is loaded"
    if "GNU_RELRO" not in segments:
        yield "what was bound can be written"
    if "TEXTREL" in dynamic:
        yield "code is relocated"
    if re.search(r"GNU_STACK.*RWE", segments):
        yield "the stack can be executed"
    if re.search(r"R(UN)?PATH", dynamic):
        yield "it names folders to look for libraries in"


def main(library, symbols, largest_kib):
    faults = list(hardening_faults(library))
    if ".debug_info" in output_of("readelf", "--sections", "--wide", library):
        faults.append("it is not stripped")
    size = os.path.getsize(library)
    if size > int(largest_kib) * 1024:
        faults.append(f"{size} bytes are more than {largest_kib} KiB")
    wanted, optional = promised(symbols)
    exported = {name for _, name in exports_test.exported(library)}
    faults += [f"not in {os.path.basename(symbols)}, which tests/packages/write_symbols writes: {name}" for name in sorted(exported - wanted)]
    faults += [f"not exported any more: {name}" for name in sorted(wanted - optional - exported)]
    print("\n".join(faults) or f"packages: {os.path.basename(library)} has {size} bytes and {len(exported)} names")
    return 1 if faults or not exported else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
