"""What lint finds in report descriptors: each rule by the smallest descriptor that breaks it.

The recurring bytes: 05 Usage Page, 09 Usage, 19/29 Usage Minimum/Maximum, 15/25 Logical Minimum/Maximum, 75 Report
Size, 95 Report Count, 85 Report ID, a1 Collection, c0 End Collection, 81 Input (02 variable, 00 array, 01 constant).
"""

import json
import os
import tempfile

from qrxhid_support import ToolTest, main, recording, run

# HID 1.11, appendix B.1 and B.2 (boot keyboard and mouse), which appendix E.6 and E.10 have as well.
KEYBOARD = """05 01 09 06 a1 01 05 07 19 e0 29 e7 15 00 25 01 75 01 95 08 81 02 95 01 75 08 81 01 95 05 75 01 05 08 19 01
              29 05 91 02 95 01 75 03 91 01 95 06 75 08 15 00 25 65 05 07 19 00 29 65 81 00 c0"""
MOUSE = """05 01 09 02 a1 01 09 01 a1 00 05 09 19 01 29 03 15 00 25 01 95 03 75 01 81 02 95 01 75 05 81 01 05 01 09 30
           09 31 15 81 25 7f 75 08 95 02 81 06 c0 c0"""
# A keyboard's beginning and a field of one byte; what stands between is the case.
BEGIN = "06 00 ff 09 01 a1 01 15 00 25 64 75 08 95 01 "
END = " 81 02 c0"


class Lint(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "report.txt")

    def outcome(self, descriptor, *words):
        with open(self.path, "w", encoding="utf-8") as file:
            file.write(descriptor)
        return run("lint", "--descriptor", self.path, *words)

    def find(self, descriptor, *words):
        """(offset, item, severity, beginning of the reason) of each finding."""
        outcome = self.outcome(descriptor, "--json", *words)
        findings = json.loads(outcome.out)["descriptors"][0]["findings"]
        grave = any(finding["severity"] != "note" for finding in findings)
        self.assertEqual(1 if grave else 0, outcome.status, str(outcome))
        return [(one["offset"], one["item"], one["severity"], one["reason"]) for one in findings]

    def check(self, descriptor, offset, item, severity, reason, *words):
        findings = self.find(descriptor, *words)
        self.assertEqual([(offset, item, severity)], [one[:3] for one in findings], findings)
        self.assertTrue(findings[0][3].startswith(reason), findings)

    def test_the_examples_of_the_specification_are_clean(self):
        for example in (KEYBOARD, MOUSE):
            outcome = self.outcome(example)
            self.assertEqual((0, "", ""), (outcome.status, outcome.out, outcome.err))

    def test_what_this_test_writes_around_each_case_is_clean(self):
        self.assertEqual([], self.find(BEGIN + "09 02" + END, "--notes"))

    def test_a_maximum_that_only_some_take_as_positive(self):
        self.check(BEGIN + "25 ff 09 02" + END, 15, "Logical Maximum", "warning", "macOS takes it as negative")
        self.check(BEGIN + "35 00 46 ff ff 09 02" + END, 17, "Physical Maximum", "warning", "macOS takes it as negative")
        self.check(BEGIN + "75 20 27 ff ff ff ff 09 02" + END, 17, "Logical Maximum", "warning", "above 2147483647")
        self.assertEqual([], self.find(BEGIN + "26 ff 00 09 02" + END))

    def test_a_usage_page_that_comes_after_its_usage(self):
        self.check(BEGIN + "09 02 05 09" + END, 19, "Input", "warning", "the usage page changed after its usages")
        self.assertEqual([], self.find(BEGIN + "0b 02 00 00 ff 05 09" + END))

    def test_a_usage_page_is_restored_by_pop(self):
        self.assertEqual([], self.find(BEGIN + "a4 05 09 b4 09 02" + END))
        self.check(BEGIN + "a4 05 09 09 02 b4" + END, 21, "Input", "warning", "the usage page changed after its usages")

    def test_collections_that_are_named_oddly(self):
        inner = "09 02 81 02 c0"
        self.check(BEGIN + "a1 00 " + inner + " c0", 15, "Collection", "warning", "a collection without a usage")
        self.check(BEGIN + "0b 02 00 01 00 a1 00 " + inner + " c0", 20, "Collection", "warning",
                   "macOS puts the collection on the current usage page")
        self.check(BEGIN + "19 02 29 03 a1 00 " + inner + " c0", 19, "Collection", "warning", "a range of usages")
        self.check(BEGIN + "09 02 a2 00 01 " + inner + " c0", 17, "Collection", "warning", "macOS takes all of its bits")

    def test_usages_that_a_collection_ends_or_nothing_takes(self):
        self.check(BEGIN + "09 02 81 02 09 03 c0", 21, "End Collection", "warning", "usages before it belong to nothing")

    def test_alternatives(self):
        self.check(BEGIN + "a9 01 09 02 09 03 a9 00" + END, 15, "Delimiter", "warning", "macOS counts alternatives")

    def test_a_long_item(self):
        self.check(BEGIN + "fe 01 f0 00 09 02" + END, 15, "long item", "warning", "macOS reads a long item")

    def test_more_values_than_usages(self):
        self.check(BEGIN + "95 04 19 02 29 03" + END, 21, "Input", "warning", "more values than usages after a range")
        self.check(BEGIN + "95 04 19 02 29 02" + END, 21, "Input", "warning", "a range of one usage")
        self.check(BEGIN + "95 04 09 02 09 03 09 02" + END, 23, "Input", "warning", "the last usage repeats")
        self.assertEqual([], self.find(BEGIN + "95 04 09 02 09 03" + END))

    def test_arrays(self):
        self.check(BEGIN + "89 01 99 02 19 01 29 64 81 00 c0", 23, "Input", "warning", "macOS takes the limits")
        self.check(BEGIN + "95 21 19 01 29 64 81 00 c0", 21, "Input", "note", "macOS shows no elements", "--notes")

    def test_notes_are_told_on_request_and_change_no_status(self):
        self.check(KEYBOARD, 60, "Input", "note", "macOS extends an array of keys", "--notes")
        self.check(BEGIN + "09 02 81 02 09 00 81 01 c0", 21, "Input", "note", "macOS makes elements of padding", "--notes")
        self.assertEqual([], self.find(KEYBOARD))

    def test_what_the_parser_finds_is_told_with_what_systems_make_of_it(self):
        self.check(BEGIN + "19 03 29 02 09 02" + END, 17, "Usage Maximum", "error",
                   "minimum above maximum, the range is dropped; macOS refuses the whole descriptor")
        pages = self.find(BEGIN + "1b 02 00 00 ff 2b 03 00 01 ff" + END)
        self.assertEqual((20, "Usage Maximum", "error", "range over two usage pages; macOS refuses the whole descriptor"),
                         pages[0])
        self.assertIn((19, "Input", "warning", "no bits: report size or count is 0; macOS makes elements of it; others make "
                                               "none"), self.find(BEGIN + "75 00 09 02" + END))
        sizeless = self.find("06 00 ff 09 01 a1 01 15 00 25 64 09 02 81 02 c0")
        self.assertEqual((13, "Input", "warning", "report size or count never given; macOS makes elements of it; others "
                                                  "make none"), sizeless[0])
        self.check("06 00 ff 09 01 a1 01 86 00 01 15 00 25 64 75 08 95 01 09 02 81 02 c0", 7, "Report ID", "error",
                   "does not fit a byte")
        self.check(BEGIN + "09 02 81 02", 19, "end", "error", "collections not closed")

    def test_people_are_told_place_item_reason_and_advice(self):
        outcome = self.outcome(BEGIN + "25 ff 09 02" + END)
        self.assertEqual((1, f"""{self.path}, interface 0
  byte 15, Logical Maximum: warning: macOS takes it as negative, as HID 1.11 has it; Linux and Windows read it unsigned
    better: write it with more bytes: 26 ff 00 is 255 everywhere, 25 ff is -1 to some
""", ""), (outcome.status, outcome.out, outcome.err))

    def test_every_rule_has_an_advice(self):
        for descriptor in ("25 ff 09 02", "09 02 05 09", "a9 01 09 02 a9 00", "95 04 19 02 29 03", "fe 00 f0 09 02"):
            outcome = self.outcome(BEGIN + descriptor + END, "--json")
            for finding in json.loads(outcome.out)["descriptors"][0]["findings"]:
                self.assertNotEqual("", finding["advice"], finding)

    def test_a_file_that_cannot_be_read_is_told_and_the_others_are_checked(self):
        outcome = run("lint", "--recording", "/nowhere/x.hid", recording("wheel-mouse"))
        self.assertEqual((2, ""), (outcome.status, outcome.out))
        self.assertTrue(outcome.err.startswith("/nowhere/x.hid"), outcome.err)

    def test_the_demonstrations_own_devices_are_clean(self):
        for name in ("boot-keyboard", "wheel-mouse", "gamepad", "thermometer"):
            self.assertEqual("", self.succeed("lint", "--recording", recording(name)), name)

    def test_hostile_descriptors_end_in_time(self):
        for descriptor in ("a1 01 " * 2000, "19 01 29 00 " * 1000, "a4 " * 4000, "09 01 " * 2000 + "81 02", "fe ff"):
            self.assertIn(self.outcome(descriptor).status, (0, 1))


if __name__ == "__main__":
    main()
