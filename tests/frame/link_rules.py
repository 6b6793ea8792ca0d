#!/usr/bin/env python3
"""Holds the layers where the linker sees them: no folder's objects need a symbol that only a folder above defines.

usage: link_rules.py BUILD OBJECTS NM    (the build folder of IntLibs/QrxHidMgr, a list of the library's objects, and the
program nm)
"""
import collections
import pathlib
import subprocess
import sys

from layers import GROUND, ORDER, folder_of

# The model makes the backend's tree, see CREATION_POINTS.
CREATED = "QrxDeviceTreeImpl"


def source_of(target, build):
    """Where the source of an object is, in terms of the library: .../Linux/CMakeFiles/x.dir/sysfs/A.cpp.o."""
    folder, _, inner = target.relative_to(build).as_posix().partition("CMakeFiles/")
    return build / folder / inner.partition(".dir/")[2].replace("__/", "../")


def symbols(target, nm):
    needed, defined = set(), set()
    output = subprocess.run([nm, "--format=posix", target], stdout=subprocess.PIPE, text=True, check=True).stdout
    for line in output.splitlines():
        name, kind = line.split()[:2]
        if kind == "U":
            needed.add(name)
        elif kind.isupper() or kind in "vwu":
            defined.add(name)
    return needed, defined


def main(build, objects, nm):
    build = pathlib.Path(build).resolve()
    needs, definers = [], collections.defaultdict(set)
    for target in map(pathlib.Path, pathlib.Path(objects).read_text(encoding="utf-8").split()):
        folder = folder_of(source_of(target, build), build)
        if folder is None:
            print(f"{target}: of a folder without a rule")
            return 1
        needed, defined = symbols(target, nm)
        needs.append((target, folder, needed))
        for name in defined:
            definers[name].add(folder)
    breaches = []
    for target, folder, needed in needs:
        for name in sorted(needed & definers.keys()):
            lowest = min(definers[name], key=ORDER.index)
            if ORDER.index(lowest) <= ORDER.index(folder) or (folder, lowest) == GROUND:
                continue
            if not (folder == "Sources" and CREATED in name):
                breaches.append(f"{target.name} of {folder} needs {name} of {lowest}")
    print("\n".join(breaches) or f"{len(needs)} objects need nothing from above")
    if len(needs) < 100:
        print(f"only {len(needs)} objects found below {build}")
        return 1
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
