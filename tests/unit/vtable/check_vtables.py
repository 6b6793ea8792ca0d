#!/usr/bin/env python3
"""Compares a compiler's tables of virtual operations with the recorded order of slots.

clang prints whole signatures, g++ prints names, and no name where an operation is pure; what the compiler does not print
is not compared. Both print every slot, so a missing or added one is always seen.
"""

import argparse
import difflib
import os
import re
import subprocess
import sys
import tempfile

# Different words for one type, as headers may write them.
SAME_TYPES = [
    (r"\bVCollectable<refcnt_t>", "VCollectable"),
    (r"\brefcnt_t\b", "unsigned int"),
    (r"\buint8_t\b", "unsigned char"),
    (r"\buint32_t\b", "unsigned int"),
    (r"\bint32_t\b", "int"),
    (r"\bsize_t\b", "unsigned long"),
    (r"\bQrxHIDElementPtr\b", "mis::swizzler<QrxHIDElement>"),
    (r"\bQrxHIDCapabilityPtr\b", "mis::swizzler<QrxHIDCapability>"),
    (r"\bCFDictionaryRef\b", "const __CFDictionary*"),
    (r"\bio_object_t\b|\bio_iterator_t\b|\bio_service_t\b", "unsigned int"),
    (r"\bstd::basic_string<char>", "std::string"),
    (r"\s+(?=[&*>])", ""),
]

DESTRUCTOR = ["~ [complete]", "~ [deleting]"]
UNNAMED = "?"


def read_slots(path):
    """The headers to include, and for each class the whole list of its slots."""
    headers, classes, own = [], {}, None
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            words = line.split("#")[0].strip()
            if not words:
                continue
            if words.startswith("header "):
                headers.append(words.split()[1])
            elif words.startswith("class "):
                name, _, base = words[len("class "):].partition(" : ")
                own = classes[name] = list(classes[base]) if base else []
            else:
                own.extend(DESTRUCTOR if words == "~" else [words])
    return headers, classes


def one_form(signature):
    for pattern, replacement in SAME_TYPES:
        signature = re.sub(pattern, replacement, signature)
    return signature


def probe_source(headers, classes):
    """Defines a constructor of a class derived from each class: that makes the compiler lay out the table."""
    source = [f'#include "{header}"' for header in headers]
    for index, name in enumerate(classes):
        source.append(f"struct Probe{index} : {name} {{ Probe{index}(); }};\nProbe{index}::Probe{index}() {{}}")
    return "\n".join(source) + "\n"


def run(command):
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        sys.exit(f"{' '.join(command)}\n{result.stderr}")
    return result.stdout


def clang_tables(compiler, flags, source, classes):
    dump = run([compiler, *flags, "-Xclang", "-fdump-vtable-layouts", "-S", "-emit-llvm", "-o", os.devnull, source])
    tables = {}
    for index, name in enumerate(classes):
        block = re.search(rf"^Vtable for 'Probe{index}' \(\d+ entries\)\.\n(.*?)\n\n", dump, re.M | re.S)
        slots = tables[name] = []
        for entry in re.findall(r"^ *\d+ \| (.*)$", block.group(1) if block else "", re.M):
            if entry.startswith("offset_to_top") or entry.endswith(" RTTI"):
                continue
            if entry.endswith(("[complete]", "[deleting]")):
                slots.append("~ " + entry.split()[-1])
                continue
            entry = re.sub(r" \[[^]]*\]", "", entry)
            signature = re.search(r"::(operator[^\s(\w]+|\w+)(\(.*\)(?: const)?)$", entry)
            slots.append(one_form("".join(signature.groups())) if signature else entry)
    return tables


def gcc_tables(compiler, flags, source, classes):
    dump_path = source + ".class"
    run([compiler, *flags, f"-fdump-lang-class={dump_path}", "-c", "-o", os.devnull, source])
    with open(dump_path, encoding="utf-8") as file:
        dump = file.read()
    tables = {}
    for index, name in enumerate(classes):
        # A class that is a template's instance is listed under another name, its probe is not.
        block = re.search(rf"^Vtable for {re.escape(name)}\n(.*?)\n\n", dump, re.M | re.S)
        block = block or re.search(rf"^Vtable for Probe{index}\n(.*?)\n\n", dump, re.M | re.S)
        entries = re.findall(r"^\d+ +(.*)$", block.group(1) if block else "", re.M)[2:]
        slots = tables[name] = []
        for entry in entries:
            called = re.search(r"::(~?)(operator\S+|\w+)$", entry)
            if called and called.group(1):
                slots.append(DESTRUCTOR[0] if DESTRUCTOR[0] not in slots else DESTRUCTOR[1])
            else:
                slots.append(called.group(2) if called else UNNAMED)
    return tables


def known_part(expected, found):
    """The expected slots, told as far as the compiler tells them."""
    told = []
    for position, slot in enumerate(expected):
        other = found[position] if position < len(found) else slot
        if other == UNNAMED:
            told.append(UNNAMED)
        elif "(" not in other and not slot.startswith("~"):
            told.append(slot.split("(")[0])
        else:
            told.append(slot)
    return told


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--slots", required=True)
    parser.add_argument("-I", dest="includes", action="append", default=[])
    arguments = parser.parse_args()

    headers, classes = read_slots(arguments.slots)
    flags = ["-std=c++20", "-w"] + [f"-I{folder}" for folder in arguments.includes]
    is_clang = "clang" in run([arguments.compiler, "--version"])
    with tempfile.TemporaryDirectory() as folder:
        source = os.path.join(folder, "probes.cpp")
        with open(source, "w", encoding="utf-8") as file:
            file.write(probe_source(headers, classes))
        tables = (clang_tables if is_clang else gcc_tables)(arguments.compiler, flags, source, classes)

    wrong = 0
    for name, slots in classes.items():
        expected, found = known_part(slots, tables[name]), tables[name]
        if expected != found:
            wrong += 1
            for line in difflib.unified_diff(expected, found, f"{name} as recorded", f"{name} as compiled", lineterm=""):
                print(line)
    named = sum(slot != UNNAMED for slots in tables.values() for slot in slots)
    print(f"{len(classes)} classes, {sum(map(len, classes.values()))} slots, {named} of them named by the compiler, "
          f"{wrong} classes differ")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
