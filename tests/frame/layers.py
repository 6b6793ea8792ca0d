"""The folders of the library and who may know whom. include_rules.py and link_rules.py hold it."""
import pathlib
import re

LIBRARY = "IntLibs/QrxHidMgr"


def providers():
    """The folders of providers: those that have a header of their own name, as Platform/Linux has LinuxProvider.h."""
    platform = pathlib.Path(__file__).resolve().parents[2] / LIBRARY / "Platform"
    headers = sorted(platform.glob("*/*Provider.h"))
    return [f"Platform/{header.parent.name}" for header in headers if header.stem == f"{header.parent.name}Provider"]


# What <...> headers stand for.
PUBLISHED = re.compile(r"(CoreFoundation/CoreFoundation|IOKit/.*|Carbon/Carbon|CoreServices/CoreServices|mach/mach)\.h")
SYSTEM = re.compile(r"(sys|linux|asm)/.*\.h|unistd\.h|fcntl\.h|poll\.h|pthread\.h|dirent\.h|signal\.h|libudev\.h|errno\.h|time\.h|limits\.h")

# Folder -> (what <...> it may include besides the standard library, folders whose "..." headers it may include). From
# the bottom to the top: a folder may only know folders above it in this list, so there is no cycle.
RULES = {
    "Headers": ((), ("Headers",)),
    "Text": ((), ("Text",)),
    "HID": ((), ("HID",)),
    "Recordings": ((), ("Recordings", "Text", "Headers")),
    "Platform/include": ((PUBLISHED,), ()),
    "Platform/Provider": ((), ("Platform/Provider", "HID")),
    "Platform/Base": ((SYSTEM,), ("Platform/Base", "Text")),
    "Platform/CoreFoundation": ((PUBLISHED, SYSTEM), ("Platform/CoreFoundation", "Platform/Base", "Text", "Headers")),
    "Platform/IOKit/registry": ((PUBLISHED, SYSTEM),
                                ("Platform/IOKit/registry", "Platform/CoreFoundation", "HID", "Platform/Provider",
                                 "Platform/Base")),
    "Platform/IOKit/hid": ((PUBLISHED, SYSTEM),
                           ("Platform/IOKit/hid", "Platform/IOKit/registry", "Platform/CoreFoundation", "HID",
                            "Platform/Provider", "Platform/Base")),
    "Platform/Virtual": ((SYSTEM,),
                         ("Platform/Virtual", "Recordings", "Platform/CoreFoundation", "Platform/Provider",
                          "Platform/Base", "Headers")),
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
    # A provider needs no row here before it has rooms.
    **{folder: ((SYSTEM,), (folder, "HID", "Platform/Provider", "Platform/Base", "Text"))
       for folder in providers() if folder != "Platform/Linux"},
    # The list of providers.
    "Platform": ((), ("Platform/Provider", *providers())),
    # The published functions.
    "Platform/IOKit": ((PUBLISHED,),
                       ("Platform/IOKit/hid", "Platform/IOKit/registry", "Platform/CoreFoundation",
                        "Platform/Provider")),
    "Sources": ((), ("Headers", "Sources")),
    "Sources/mac": ((PUBLISHED,), ("Headers", "Sources", "Sources/mac")),
    "Additions": ((PUBLISHED,), ("Additions", "Headers", "Sources", "Sources/mac", "HID")),
    # Where the grounds differ.
    "Additions/mac": ((PUBLISHED,), ("Additions", "Headers")),
    "Additions/platform": ((PUBLISHED,), ("Additions", "Headers", "Platform/IOKit/hid")),
}

# The model knows its backend in two places: where it makes a tree.
CREATION_POINTS = {"QrxDeviceTree.cpp", "QrxDeviceTreeInterface.cpp"}
# What the additions ask of their ground (Ground.h) is defined above them.
GROUND = ("Additions", "Additions/platform")
# These folders know, of the public headers, those that they define.
OWN_PUBLIC = {
    "Recordings": {"QrxRecording.h"},
    "Platform/CoreFoundation": {"QrxRunLoop.h"},
    # Its scripts do what comes later on the run loop.
    "Platform/Virtual": {"QrxRecording.h", "QrxRunLoop.h", "QrxVirtualDevice.h", "QrxVirtualScript.h"},
}
# Programs and tests -> the private folders that they may look into, besides what is public.
GUESTS = {
    "tools/qrxhid/text": ("Text",),
    "tools/qrxhid/devices": ("Sources/mac", "Platform/IOKit/registry"),
    "tools/qrxhid/descriptor": ("HID",),
    "tools/qrxhid/doctor": ("Platform/Linux/sysfs", "Platform/Base"),
    "tools/qrxhid": (),
    "examples": (),
    "benchmarks": (),
    # Tests of a room look into that room, and into those below it from which they take what they check with. Others use
    # what programs use.
    "tests": (),
    "tests/support": ("Platform/Base",),
    "tests/text": ("Text",),
    "tests/hid": ("HID",),
    "tests/unit": ("Sources", "Sources/mac"),
    "tests/backend": ("Sources/mac",),
    "tests/frame/provider": ("Platform/Provider",),
    "tests/frame/release_order": ("Sources/mac",),
    "tests/platform/base": ("Platform/Base",),
    "tests/platform/cf": ("Platform/CoreFoundation", "Platform/Base"),
    "tests/platform/iokit": ("Platform/IOKit/registry", "Platform/CoreFoundation", "Platform/Provider", "Platform/Base"),
    "tests/platform/iokit/registry": ("Platform/IOKit/registry", "Platform/Provider"),
    "tests/platform/iokit/hid": ("Platform/IOKit/hid", "Platform/Provider"),
    "tests/platform/linux": ("Platform/Linux", "Platform/Linux/monitors", "Platform/Linux/hidraw", "Platform/Provider",
                             "Platform/Base"),
    "tests/platform/linux/policy": ("Platform/Linux/policy",),
    "tests/platform/linux/monitors": ("Platform/Linux/monitors",),
    "tests/platform/linux/sysfs": ("Platform/Linux/sysfs",),
    "tests/platform/linux/hidraw": ("Platform/Linux/hidraw",),
    "tests/platform/virtual": ("Platform/Virtual", "Platform/CoreFoundation", "Platform/Provider"),
    "tests/integration": ("HID", "Platform/CoreFoundation", "Platform/Provider"),
    "tests/memory": ("Platform/IOKit/registry", "Platform/CoreFoundation", "Platform/Linux", "Platform/Linux/hidraw"),
    "tests/fuzz": ("Text", "HID", "Platform/Linux", "Platform/Base"),
    "tests/guest/library": ("Platform/CoreFoundation",),
    "tests/guest/oracle": ("HID",),
    "tests/guest/provider": ("Platform/Linux",),
    "IntLibs/QrxHidApi": ("Platform/Provider", "Platform/Base", "Platform/Virtual", "HID", "Text"),
}
# The rooms of the tool, from the bottom to the top: each knows itself and those above it in this list.
TOOL = "tools/qrxhid"
TOOL_ROOMS = ("text", "devices", "descriptor", "doctor", "page", "commands")
ORDER = list(RULES)


def folder_of(path, library):
    """The folder of the table that a file of the library belongs to; None without one."""
    relative = path.relative_to(library).parent.as_posix()
    candidates = [rule for rule in RULES if relative == rule or relative.startswith(rule + "/")]
    return max(candidates, key=len, default=None)
