"""Every recording that QRX_RECORDINGS names, through tree, dump and watch: a status that is meant, in bounded time."""

import json
import os
import re
import sys
import time
import unittest

from independent_reading import input_values, read_descriptors
from qrxhid_support import ToolTest, main, run

CORPUS = os.environ.get("QRX_RECORDINGS", "")
# Files a process; also how many devices it has at once.
BATCH = 60


def files(folder):
    path = os.path.join(CORPUS, folder)
    return sorted(os.path.join(path, name) for name in os.listdir(path) if name.endswith(".hid"))


def batches(names):
    return [names[i:i + BATCH] for i in range(0, len(names), BATCH)]


class RealDevices(ToolTest):
    def check_each(self, check):
        for batch in batches(files("devices")):
            with self.subTest(first=os.path.basename(batch[0])):
                check(batch)

    def check_status(self, outcome, shown, batch):
        """Each recording is shown, or told to have no field."""
        refused = re.findall(r"^qrxhid: (.*): no HID device: ", outcome.err, re.M)
        self.assertEqual(1 if refused else 0, outcome.status, outcome.err[-2000:])
        self.assertEqual(len(batch), shown + len(refused), outcome.err[-2000:])

    def test_tree_shows_each(self):
        def check(batch):
            outcome = run("tree", "--recording", *batch)
            self.check_status(outcome, len(re.findall(r"^[0-9a-f]{4}:[0-9a-f]{4}  ", outcome.out, re.M)), batch)
        self.check_each(check)

    def test_dump_shows_each(self):
        def check(batch):
            outcome = run("dump", "--recording", *batch)
            self.check_status(outcome, len(re.findall(r"^\{ object id = ", outcome.out, re.M)), batch)
        self.check_each(check)

    def test_watch_plays_each_from_its_presence_to_its_leaving(self):
        reports = 0

        def check(batch):
            nonlocal reports
            outcome = run("watch", "--speed", "0", "--recording", *batch)
            present = outcome.out.count("present  #")
            self.check_status(outcome, present, batch)
            self.assertEqual(present, len(re.findall(r"^left     #", outcome.out, re.M)))
            reports += outcome.out.count("report   #")
        self.check_each(check)
        self.assertGreater(reports, 10000, "the corpus has some 20,000 events")


def has_events(name):
    with open(name, encoding="utf-8", errors="replace") as file:
        return any(line.startswith("E:") for line in file)


@unittest.skipUnless(os.path.exists(os.path.join(CORPUS, "oracle.py")), "the corpus has no independent reading")
class DecodedValues(ToolTest):
    def check_batch(self, batch):
        """How many reports there were."""
        readings = read_descriptors(CORPUS, batch)
        outcome = run("watch", "--speed", "0", "--json", "--recording", *batch)
        refused = set(re.findall(r"^qrxhid: (.*): no HID device: ", outcome.err, re.M))
        shown = [os.path.basename(name) for name in batch if name not in refused]
        events = [json.loads(line) for line in outcome.out.splitlines()]
        reports = [event for event in events if event["event"] == "report"]
        for event in reports:
            name = shown[event["device"] - 1]
            found = sorted((value["usagePage"], value["usage"], value["value"]) for value in event["values"])
            expected = input_values(readings[name], bytes.fromhex(event["bytes"]))
            self.assertEqual(expected, found, f"{name}: {event['bytes']}")
        return len(reports)

    def test_they_agree_with_an_independent_reading_in_every_report(self):
        played = [name for name in files("devices") if has_events(name)]
        self.assertGreater(sum(self.check_batch(batch) for batch in batches(played)), 10000)


class MalformedRecordings(ToolTest):
    def test_each_ends_with_a_meant_status_in_bounded_time(self):
        for name in files("malformed"):
            for command in (["tree"], ["dump"], ["watch", "--speed", "0"]):
                with self.subTest(name=os.path.basename(name), command=command[0]):
                    begin = time.monotonic()
                    outcome = run(*command, "--recording", name)
                    self.assertLess(time.monotonic() - begin, 30)
                    self.assertIn(outcome.status, (0, 1, 2), outcome.err[-2000:])
                    if outcome.status == 2:
                        self.assertEqual("", outcome.out)
                        self.assertRegex(outcome.err, rf"\A{re.escape(name)}:\d+: .+\n\Z")
                    if outcome.status == 1:
                        self.assertIn(f"qrxhid: {name}: no HID device: ", outcome.err)


if __name__ == "__main__":
    if not CORPUS:
        print("skipped: QRX_RECORDINGS is not set")
        sys.exit(77)
    main()
