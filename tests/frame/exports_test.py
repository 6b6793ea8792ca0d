#!/usr/bin/env python3
"""Holds what the shared library exports: every name belongs to the public headers, and everything they export is there.

usage: exports_test.py LIBRARY [--serving] HEADER...

With --serving the library also has what NOT_FOR_PROGRAMS lists, all of it.
"""
import pathlib
import re
import subprocess
import sys

EXPORTED_CLASS = re.compile(r"(?:class|struct) QRX_EXPORT (\w+)")
EXPORTED_FUNCTION = re.compile(r"^(?:\[\[nodiscard\]\] )?QRX_EXPORT [^;{]*?\b(\w+)\(", re.MULTILINE)
OF_A_CLASS = re.compile(r"(?:vtable for |typeinfo for |typeinfo name for )?(?:mis::)?(\w+)(?:<unsigned int>)?"
                        r"(?:::(?:~?\w+|operator\W+)(?:[(\[].*)?)?")
# What the library of virtual devices takes from the other. A second copy of it would be a second registry or log.
NOT_FOR_PROGRAMS = {"qrx::LoopWatch::LoopWatch", "qrx::LoopWatch::~LoopWatch", "qrx::platform::log",
                    "qrx::platform::registry", "qrx::platform::setProvidersEnabled"}


def public_names(headers):
    classes, functions = set(), set()
    for header in headers:
        text = pathlib.Path(header).read_text()
        classes.update(EXPORTED_CLASS.findall(text))
        functions.update(EXPORTED_FUNCTION.findall(text))
    return classes, functions


def exported(library):
    """Pairs of the name's type letter and the name."""
    output = subprocess.run(["nm", "--dynamic", "--demangle", "--defined-only", library], check=True,
                            capture_output=True, text=True).stdout
    return [line.split(" ", 2)[1:] for line in output.splitlines()]


def owner_of(name, classes, functions):
    """The class or function of the public headers that `name` belongs to, or None."""
    function = name.split("(")[0].removesuffix("[abi:cxx11]")
    if function in functions:
        return function
    match = OF_A_CLASS.fullmatch(name)
    return match.group(1) if match and match.group(1) in classes else None


def main(library, *arguments):
    classes, functions = public_names(argument for argument in arguments if argument != "--serving")
    if "--serving" in arguments:
        functions |= NOT_FOR_PROGRAMS
    faults, seen = [], set()
    names = exported(library)
    for letter, name in names:
        owner = owner_of(name, classes, functions)
        if owner is None:
            faults.append(f"not in a public header: {name}")
        if letter == "u":
            faults.append(f"unique in the process, so the library could not be unloaded: {name}")
        seen.add(owner)
    faults += [f"not exported: {name}" for name in sorted((classes | functions) - seen)]
    print("\n".join(faults) or f"{len(names)} names of {len(classes)} classes and {len(functions)} functions")
    return 1 if faults or not names else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
