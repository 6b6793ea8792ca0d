"""What diff tells of two recordings."""

import json
import os
import tempfile

from qrxhid_support import ToolTest, main, recording, run

MOUSE = recording("wheel-mouse")
THERMOMETER = recording("thermometer")


class Diff(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def changed(self, *changes, name=MOUSE):
        with open(name, encoding="utf-8") as file:
            text = file.read()
        for before, after in changes:
            self.assertIn(before, text)
            text = text.replace(before, after, 1)
        path = os.path.join(self.folder, "changed.hid")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def check(self, expected, *words):
        outcome = run("diff", *words)
        self.assertEqual((1 if expected else 0, expected, ""), (outcome.status, outcome.out, outcome.err))

    def test_a_recording_does_not_differ_from_itself(self):
        for name in (MOUSE, THERMOMETER):
            self.check("", name, name)

    def test_times_and_comments_are_no_difference(self):
        with open(MOUSE, encoding="utf-8") as file:
            event = next(line for line in file if line.startswith("E: "))
        self.check("", MOUSE, self.changed((event, "# words\n" + event.replace("000000.000000", "000000.000001"))))

    def test_identity_and_fields_and_input_are_told_in_this_order(self):
        path = self.changed(("M-0001", "M-0002"), ("15 81 25 7f", "15 80 25 7f"), ("00 05 fb 00", "01 05 fb 00"))
        self.check("""identity
- serial number "M-0001"
+ serial number "M-0002"
interface 0
- input, byte 1, 2 x 8 bits, Generic Desktop: X .. Y, -127 .. 127, relative
- input, byte 3, 8 bits, Generic Desktop: Wheel, -127 .. 127, relative
+ input, byte 1, 2 x 8 bits, Generic Desktop: X .. Y, -128 .. 127, relative
+ input, byte 3, 8 bits, Generic Desktop: Wheel, -128 .. 127, relative
input
- interface 0: 00 05 fb 00
+ interface 0: 01 05 fb 00
""", MOUSE, path)

    def test_what_is_only_in_one_is_removed_or_added(self):
        outcome = run("diff", MOUSE, THERMOMETER)
        self.assertEqual(1, outcome.status)
        self.assertIn("+ input report 1: 10 bytes\n", outcome.out)
        self.assertIn("- input report: 4 bytes\n", outcome.out)
        self.assertIn("- input report 1: 10 bytes\n", run("diff", THERMOMETER, MOUSE).out)

    def test_json_has_each_difference(self):
        outcome = run("diff", MOUSE, self.changed(("M-0001", "M-0002")), "--json")
        self.assertEqual({"version": 1, "differences": [
            {"part": "identity", "kind": "removed", "text": 'serial number "M-0001"'},
            {"part": "identity", "kind": "added", "text": 'serial number "M-0002"'}]}, json.loads(outcome.out))

    def test_what_cannot_be_compared_is_refused(self):
        self.assertIn("not 1\n", self.refuse(64, "diff", MOUSE))
        self.assertIn("not 3\n", self.refuse(64, "diff", MOUSE, MOUSE, MOUSE))
        self.assertIn("/nowhere.hid", self.refuse(2, "diff", MOUSE, "/nowhere.hid"))
        self.assertIn("no device is dead:beef", self.refuse(1, "diff", MOUSE, "dead:beef"))

    def test_many_events_are_compared_in_time(self):
        events = "".join(f"E: {n // 1000:06d}.{n % 1000:03d}000 4 00 {n % 256:02x} {n // 256:02x} 00\n" for n in range(20000))
        with open(MOUSE, encoding="utf-8") as file:
            head = "".join(line for line in file if not line.startswith("E: "))
        paths = []
        for name, text in (("a.hid", events), ("b.hid", events.replace(" 4 00 ", " 4 01 "))):
            paths.append(os.path.join(self.folder, name))
            with open(paths[-1], "w", encoding="utf-8") as file:
                file.write(head + text)
        self.assertEqual(40000, run("diff", *paths).out.count(" interface 0: "))


if __name__ == "__main__":
    main()
