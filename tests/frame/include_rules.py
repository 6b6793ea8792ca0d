#!/usr/bin/env python3
"""Holds the layers: who may include whom, folder by folder.

usage: include_rules.py PROJECT
Prints each include that breaks a rule as FILE:LINE and fails if there is one. Headers of the standard library are
free everywhere.
"""
import pathlib
import re
import sys

LIBRARY = "IntLibs/QrxHidMgr"

STANDARD = set("""algorithm array atomic bit cctype cerrno charconv chrono cmath compare concepts condition_variable csignal
cstddef cstdint cstdio cstdlib cstring ctime deque exception filesystem fstream functional initializer_list iomanip ios
iosfwd iostream istream iterator limits list locale map memory mutex new numeric optional ostream queue random ranges
set span sstream stdexcept streambuf string string_view system_error thread tuple type_traits typeinfo unordered_map
unordered_set utility valarray variant vector version cassert cinttypes cstdarg cfloat climits shared_mutex
semaphore stop_token latch barrier future memory_resource any bitset stack regex ratio source_location
numbers""".split())

# What <...> headers stand for.
PUBLISHED = re.compile(r"(CoreFoundation/CoreFoundation|IOKit/.*|Carbon/Carbon|CoreServices/CoreServices|mach/mach)\.h")
SYSTEM = re.compile(r"(sys|linux|asm)/.*\.h|unistd\.h|fcntl\.h|poll\.h|pthread\.h|dirent\.h|signal\.h|libudev\.h|errno\.h|time\.h|limits\.h")

# Folder -> (what <...> it may include besides the standard library, folders whose "..." headers it may include).
RULES = {
    "Headers": ((), ("Headers",)),
    "Text": ((), ("Text",)),
    "HID": ((), ("HID",)),
    "Recordings": ((), ("Recordings", "Text", "Headers")),
    "Sources": ((), ("Headers", "Sources")),
    "Sources/mac": ((PUBLISHED,), ("Headers", "Sources", "Sources/mac")),
    "Additions": ((PUBLISHED,), ("Additions", "Headers", "Sources", "Sources/mac", "HID")),
    "Additions/platform": ((PUBLISHED,), ("Additions", "Headers", "Platform/IOKit/hid")),
    "Platform/Base": ((SYSTEM,), ("Platform/Base", "Text")),
    "Platform/Provider": ((), ("Platform/Provider",)),
    "Platform/CoreFoundation": ((PUBLISHED, SYSTEM), ("Platform/CoreFoundation", "Platform/Base", "Headers")),
    "Platform/IOKit/registry": ((PUBLISHED, SYSTEM),
                                ("Platform/IOKit/registry", "Platform/CoreFoundation", "HID", "Platform/Provider",
                                 "Platform/Base")),
    "Platform/IOKit/hid": ((PUBLISHED, SYSTEM),
                           ("Platform/IOKit/hid", "Platform/IOKit/registry", "Platform/CoreFoundation", "HID",
                            "Platform/Provider", "Platform/Base")),
    "Platform/IOKit": ((PUBLISHED,),
                       ("Platform/IOKit/hid", "Platform/IOKit/registry", "Platform/CoreFoundation",
                        "Platform/Provider")),
    "Platform/Linux/hidraw": ((SYSTEM,), ("Platform/Linux/hidraw", "HID", "Platform/Provider", "Platform/Base")),
    "Platform/Linux/sysfs": ((SYSTEM,),
                             ("Platform/Linux/sysfs", "Platform/Linux/hidraw", "Platform/Provider", "Platform/Base",
                              "Text")),
    "Platform/Linux/monitors": ((SYSTEM,), ("Platform/Linux/monitors", "Platform/Linux/sysfs", "Platform/Base")),
    "Platform/Linux/policy": ((), ("Platform/Linux/policy", "Platform/Linux/sysfs", "Platform/Linux/hidraw",
                                   "Platform/Provider", "Platform/Base")),
    "Platform/Linux": ((SYSTEM,),
                       ("Platform/Linux", "Platform/Linux/policy", "Platform/Linux/monitors", "Platform/Linux/sysfs",
                        "Platform/Provider", "Platform/Base")),
    "Platform/Virtual": ((PUBLISHED, SYSTEM),
                         ("Platform/Virtual", "Recordings", "Platform/Provider", "Platform/Base", "Headers")),
    "Platform/include": ((PUBLISHED,), ()),
    # The list of providers.
    "Platform": ((), ("Platform/Provider", "Platform/Linux")),
}

# The model knows its backend in two places: where it makes a tree.
CREATION_POINTS = {"QrxDeviceTree.cpp", "QrxDeviceTreeInterface.cpp"}
# Of the public headers, these folders know those that they define.
OWN_PUBLIC = {
    "Recordings": {"QrxRecording.h"},
    "Platform/CoreFoundation": {"QrxRunLoop.h"},
    "Platform/Virtual": {"QrxVirtualDevice.h"},
}

INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')


def folder_of(path, library):
    relative = path.relative_to(library).parent.as_posix()
    candidates = [rule for rule in RULES if relative == rule or relative.startswith(rule + "/")]
    return max(candidates, key=len, default=None)


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


def main(project):
    library = pathlib.Path(project) / LIBRARY
    checked, breaches = 0, []
    for path in sorted(library.rglob("*")):
        if not path.is_file() or path.name == "CMakeLists.txt":
            continue
        rule = folder_of(path, library)
        if rule is None:
            breaches.append(f"{path}: a folder without a rule")
            continue
        checked += 1
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            include = INCLUDE.match(line)
            if include:
                reason = breach(include[1], include[2], path, rule, library)
                if reason:
                    breaches.append(f"{path}:{number}: {reason}")
    print("\n".join(breaches) or f"{checked} files keep the layers apart")
    if checked < 20:
        print(f"only {checked} files found below {library}")
        return 1
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
