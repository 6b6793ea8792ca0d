#!/usr/bin/env python3
"""Compiles every C++ fragment of the documents, and runs it on a virtual device.

usage: fragments_test.py PROJECT BUILD_FOLDER_WITH_INCLUDE WORK LIBRARY...
A fragment is a block that begins with "```cpp" and is no copy of a file (those are compared by readme_test.py). It
becomes a function body with `device`, `tree` and `bytes` at hand.
"""
import pathlib
import re
import subprocess
import sys

BLOCK = re.compile(r"(?<!-->\n)```cpp\n(.*?)```", re.DOTALL)

PROGRAM = """#include "prelude.h"

{functions}

int main()
{{
    QrxVirtualDevice::setRealDevicesEnabled(false);
    QrxVirtualInterface interface(0, {{0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x09, 0x02, 0x15, 0x00,
                                      0x25, 0x7f, 0x75, 0x08, 0x95, 0x02, 0x81, 0x02, 0xc0}});
    QrxVirtualDevice plug(QrxVirtualIdentity(0x1234, 0), {{interface}});
    plug.plug();
    mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    std::vector<std::pair<unsigned short, unsigned short>> list{{{{0x1234, 0}}}};
    tree->populate(list);
    mis::swizzler<QrxHIDDevice> device = tree->getDeviceAtIndex(0);
    // What would wait for ever ends: the tree of a fragment finds nothing to wait for.
    QrxRunLoop::getCurrent().callEvery(std::chrono::milliseconds(10), [] {{ QrxRunLoop::getCurrent().stop(); }});
{calls}
    std::puts("all fragments ran");
}}
"""

FUNCTION = """static int fragment{number}(mis::swizzler<QrxDeviceTree>& tree, mis::swizzler<QrxHIDDevice>& device,
                      std::vector<uint8_t> bytes, std::vector<std::pair<unsigned short, unsigned short>> list)
{{
    static_cast<void>(tree), static_cast<void>(device), static_cast<void>(bytes), static_cast<void>(list);
{code}
    return 0;
}}
"""


def main(project, include, work, *libraries):
    project, work = pathlib.Path(project), pathlib.Path(work)
    work.mkdir(parents=True, exist_ok=True)
    fragments = []
    for document in [project / "README.md", *sorted((project / "docs").rglob("*.md"))]:
        fragments += BLOCK.findall(document.read_text(encoding="utf-8"))
    functions = "\n".join(FUNCTION.format(number=number, code=code) for number, code in enumerate(fragments))
    calls = "\n".join(f"    fragment{number}(tree, device, {{1, 2}}, list);" for number in range(len(fragments)))
    source = work / "fragments.cpp"
    source.write_text(PROGRAM.format(functions=functions, calls=calls), encoding="utf-8")
    program = work / "fragments"
    subprocess.run(["c++", "-std=c++17", "-Wall", "-Wextra", "-Wno-unused-variable", "-I", include,
                    "-I", project / "tests/frame/fragments", "-o", program, source, *libraries,
                    f"-Wl,-rpath,{pathlib.Path(libraries[0]).parent}"], check=True, timeout=300)
    run = subprocess.run([program], capture_output=True, text=True, timeout=60)
    print(run.stdout, run.stderr, f"{len(fragments)} fragments")
    return 0 if run.returncode == 0 and "all fragments ran" in run.stdout and len(fragments) >= 5 else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
