"""Pages of devices, and recordings to make them from, for the tests."""

import base64
import json
import os
import re
import tempfile

from qrxhid_support import ToolTest, recording

# What a device could try: to end the script that it stands in, to begin one, to hide, to run over its line.
HOSTILE = "</script><script>alert(1)</script><!-- <img src=x onerror=alert(2)>\u2028\x1b[2J\u202e&quot;\"'`${1}]]>"
HOSTILE_SHOWN = HOSTILE.replace("\u2028", r"\u{2028}").replace("\x1b", r"\x1b").replace("\u202e", r"\u{202e}")

GAMEPAD = recording("gamepad")


def descriptor_of(path):
    with open(path, encoding="utf-8") as file:
        return re.search(r"^R: \d+ (.*)$", file.read(), re.M)[1]


def gamepad_with_events(count, size=6):
    """A game pad that sends a report every millisecond; or, of another size, a device of bytes without a meaning."""
    descriptor = descriptor_of(GAMEPAD)
    if size != 6:
        descriptor = f"06 00 ff 09 01 a1 01 15 00 26 ff 00 75 08 95 {size:02x} 09 01 81 02 c0"
    lines = [f"R: {len(descriptor.split())} {descriptor}", "N: Long", "P: ", "I: 3 1209 0003"]
    for event in range(count):
        data = [(event * (7 + i) + event // 100) % 256 for i in range(size)]
        lines.append(f"E: {event // 1000:06d}.{event % 1000:03d}000 {size} " + " ".join(f"{byte:02x}" for byte in data))
    return "\n".join(lines) + "\n"


def hostile_recording():
    with open(GAMEPAD, encoding="utf-8") as file:
        lines = [line for line in file.read().splitlines() if not line.startswith(("#", "N:", "P:"))]
    escaped = HOSTILE.replace("\\", "\\\\")
    return "\n".join([lines[0], f"N: {HOSTILE}", f"P: {HOSTILE}", *lines[1:],
                      *(f"#@ {name}: {escaped}" for name in ("vendor-name", "product-name", "serial-number")), ""])


def numbers_of(data):
    """Takes apart what the events of a page are: [(microseconds since the one before, interface, bytes)]."""
    found = []
    at = 0

    def number():
        nonlocal at
        value = shift = 0
        while True:
            group = data[at]
            at += 1
            value |= (group & 127) << shift
            shift += 7
            if group < 128:
                return value
    while at < len(data):
        passed, interface, length = number(), number(), number()
        found.append((passed, interface, data[at:at + length]))
        at += length
    return found


class PageTest(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, text, name="device.hid"):
        with open(self.path(name), "w", encoding="utf-8", newline="") as file:
            file.write(text)
        return self.path(name)

    def page(self, *words, name="page.html"):
        """The file with the page that `qrxhid page` makes."""
        self.assertEqual("", self.succeed("page", *words, "--output", self.path(name)))
        return self.path(name)

    def read(self, path):
        with open(path, encoding="ascii") as file:
            return file.read()

    def document(self, *words):
        """What a page is told of its device."""
        text = self.read(self.page(*words))
        found = re.findall(r'<script type="application/json" id="device">(.*?)</script>', text, re.S)
        self.assertEqual(1, len(found))
        return json.loads(found[0])

    def events(self, document):
        return numbers_of(base64.b64decode(document["events"]))
