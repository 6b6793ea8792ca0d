"""Makes seeds of the form that FuzzedDevice.h describes of recordings: make_device_seeds.py FOLDER RECORDINGS_FOLDER..."""

import glob
import os
import sys

REPORTS_OF_EACH = 8


def part(content):
    return len(content).to_bytes(2, "little") + content


def seed(name):
    descriptors, reports, interfaces, current = {}, [], {}, "0"
    with open(name, encoding="utf-8") as file:
        for line in file:
            key, _, value = line.partition(":")
            words = value.split()
            if key == "D":
                current = words[0]
            elif key == "R":
                interfaces.setdefault(current, len(interfaces))
                descriptors[interfaces[current]] = bytes.fromhex("".join(words[1:]))
            elif key == "E" and interfaces[current] < 2:
                reports.append(bytes([interfaces[current]]) + bytes.fromhex("".join(words[2:])))
    return b"".join(part(content) for content in
                    [descriptors[0], descriptors.get(1, b"")] + reports[:REPORTS_OF_EACH])


def main():
    folder, *recorded = sys.argv[1:]
    os.makedirs(folder, exist_ok=True)
    for name in [name for each in recorded for name in glob.glob(os.path.join(each, "*.hid"))]:
        with open(os.path.join(folder, os.path.splitext(os.path.basename(name))[0]), "wb") as file:
            file.write(seed(name))


if __name__ == "__main__":
    main()
