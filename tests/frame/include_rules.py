#!/usr/bin/env python3
"""Holds the layers: who may include whom, folder by folder.

usage: include_rules.py PROJECT
Prints each include that breaks a rule as FILE:LINE and fails if there is one. Headers of the standard library are
free everywhere.
"""
import pathlib
import re
import sys

from layers import CREATION_POINTS, GUESTS, LIBRARY, ORDER, OWN_PUBLIC, RULES, TOOL, TOOL_ROOMS, folder_of

STANDARD = set("""algorithm array atomic bit cctype cerrno charconv chrono cmath compare concepts condition_variable csignal
cstddef cstdint cstdio cstdlib cstring ctime deque exception filesystem fstream functional initializer_list iomanip ios
iosfwd iostream istream iterator limits list locale map memory mutex new numeric optional ostream queue random ranges
set span sstream stdexcept streambuf string string_view system_error thread tuple type_traits typeinfo unordered_map
unordered_set utility valarray variant vector version cassert cinttypes cstdarg cfloat climits shared_mutex
semaphore stop_token latch barrier future memory_resource any bitset stack regex ratio source_location
numbers""".split())

INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')


def locate(name, path, library):
    """The folder that a quoted include leads to; None if there is no such header of ours."""
    for base in (path.parent, library / "Headers", library / "Sources", library / "Sources/mac", library,
                 library / "Platform"):
        target = (base / name).resolve()
        if target.is_file() and library.resolve() in target.parents:
            return folder_of(target, library.resolve())
    return None


def breach(bracket, name, path, rule, library):
    brackets, folders = RULES[rule]
    if bracket == "<":
        if name in STANDARD or any(pattern.fullmatch(name) for pattern in brackets):
            return None
        return f"<{name}> is not for {rule}"
    target = locate(name, path, library)
    if target is None:
        return f'"{name}" is no header of the library'
    if target == "Headers" and rule in OWN_PUBLIC and name not in OWN_PUBLIC[rule]:
        return f'"{name}" is not for {rule}'
    if target in folders or (path.name in CREATION_POINTS and name == "QrxDeviceTreeImpl.h"):
        return None
    return f'"{name}" of {target} is not for {rule}'


def upward():
    """Rules of the table by which a folder would know one that comes after it."""
    return [f"the table lets {rule} know {folder}, which comes after it"
            for rule, (_, folders) in RULES.items() for folder in folders
            if ORDER.index(folder) > ORDER.index(rule)]


def guest_breach(bracket, name, path, project, folders):
    """A program or test may know public headers, its own, and the private ones that it is let into."""
    library = project / LIBRARY
    if bracket == "<":
        return None
    target = locate(name, path, library)
    own = any((base / name).is_file() for base in (path.parent, *path.parents) if project in (base, *base.parents))
    if own or target in (None, "Headers", *folders):
        return None
    return f'"{name}" of {target} is not for {path.parent.relative_to(project)}'


def room_breach(name, path, project):
    """A room of the tool may know itself and the rooms below it. What lies beside the rooms may be known to all."""
    tool = project / TOOL
    if tool not in path.parents or path.parent == tool or not (tool / name).is_file():
        return None
    own, other = path.relative_to(tool).parts[0], pathlib.PurePath(name).parts[0]
    if own not in TOOL_ROOMS:
        return f"{own} is a room without a place in the list"
    if other in TOOL_ROOMS and TOOL_ROOMS.index(other) > TOOL_ROOMS.index(own):
        return f'"{name}" is not for {own}, which lies below it'
    return None


def included(path):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        include = INCLUDE.match(line)
        if include:
            yield number, include[1], include[2]


def check_library(project):
    library = project / LIBRARY
    checked, breaches = 0, []
    for path in sorted(library.rglob("*")):
        if not path.is_file() or path.name == "CMakeLists.txt":
            continue
        rule = folder_of(path, library)
        if rule is None:
            breaches.append(f"{path}: a folder without a rule")
            continue
        checked += 1
        for number, bracket, name in included(path):
            reason = breach(bracket, name, path, rule, library)
            if reason:
                breaches.append(f"{path}:{number}: {reason}")
    return checked, breaches


def check_guests(project):
    checked, breaches = 0, []
    for top in sorted(one for one in GUESTS if not any(one.startswith(other + "/") for other in GUESTS)):
        for path in sorted((project / top).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            relative = path.relative_to(project).as_posix()
            guest = max((one for one in GUESTS if relative.startswith(one + "/")), key=len)
            checked += 1
            for number, bracket, name in included(path):
                reason = guest_breach(bracket, name, path, project, GUESTS[guest]) or room_breach(name, path, project)
                if reason:
                    breaches.append(f"{path}:{number}: {reason}")
    return checked, breaches


def main(folder):
    project = pathlib.Path(folder).resolve()
    checked, breaches = check_library(project)
    guests, guest_breaches = check_guests(project)
    breaches += upward() + guest_breaches
    print("\n".join(breaches) or f"{checked} files of the library and {guests} of programs and tests keep the layers apart")
    if checked < 20 or guests < 20:
        print(f"only {checked} and {guests} files found below {project}")
        return 1
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
