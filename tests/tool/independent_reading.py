"""What a report's values are, worked out from the corpus's own reading of the descriptor and not from the library."""

import json
import os
import subprocess
import sys

CONSTANT, VARIABLE = 0x001, 0x002
BITS_OF_BYTE = 8


def read_descriptors(corpus, names):
    """By file name, what the reference reading prints of its descriptor."""
    process = subprocess.run([sys.executable, os.path.join(corpus, "oracle.py"), "--compact", "--lines", *names],
                             capture_output=True, check=True)
    readings = [json.loads(line) for line in process.stdout.decode().splitlines()]
    return {os.path.basename(reading["file"]): reading for reading in readings}


def usages(field):
    """As Linux joins them with their page, the first of a set of alternatives; page in the high half."""
    for usage in field.get("usages_linux", field["usages"]):
        if isinstance(usage, dict):
            usage = usage["alt"][0]
        if isinstance(usage, list):
            yield from range(usage[0], usage[1] + 1)
        else:
            yield usage


def entry(report, offset, field):
    value = (int.from_bytes(report, "little") >> offset) & ((1 << field["size"]) - 1)
    if field["logical_min"] < 0 and value >> (field["size"] - 1):
        value -= 1 << field["size"]
    return value


def field_values(field, base, report):
    known = list(usages(field))
    shown = set()
    for index in range(field["count"]):
        offset = base + field["bit_offset"] + index * field["size"]
        if offset + field["size"] > len(report) * BITS_OF_BYTE:
            return
        value = entry(report, offset, field)
        if field["flags"] & VARIABLE:
            # The last usage stands for all that follow, but bits have a usage of their own or none.
            if index < len(known) or field["size"] != 1:
                usage = known[min(index, len(known) - 1)]
                yield usage >> 16, usage & 0xFFFF, value
            continue
        selected = value - field["logical_min"]
        if 0 <= selected < len(known) and known[selected] & 0xFFFF and selected not in shown:
            shown.add(selected)
            yield known[selected] >> 16, known[selected] & 0xFFFF, 1


def input_values(reading, report):
    """(usage page, usage, value), sorted, of one input report."""
    numbered = reading["uses_report_ids"]
    report_id = report[0] if numbered else 0
    values = []
    for declared in reading["reports"]:
        if (declared["type"], declared["id"]) != ("input", report_id):
            continue
        for field in declared["fields"]:
            if not field["flags"] & CONSTANT and field["usages"] and 0 < field["size"] <= 64:
                values += field_values(field, BITS_OF_BYTE if numbered else 0, report)
    return sorted(values)
