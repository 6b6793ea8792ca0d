"""Reports that may be missing are told where they would stand."""

import json
import os
import re
import tempfile

from qrxhid_support import ToolTest, main, recording, run

KEYBOARD = recording("boot-keyboard")
# What waits for a reader at most.
QUEUED = 63
SENT = QUEUED + 7
LOSS = "reports of interface 0 may be missing: the queue behind it was found full, 7 times so far"


class Losses(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def burst(self, count=SENT):
        """A keyboard that sends so many reports at one moment, and another one two seconds later."""
        path = os.path.join(self.folder, "burst.hid")
        with open(KEYBOARD, encoding="utf-8") as file:
            head = "".join(line for line in file if not line.startswith("E:"))
        times = ["000000.000000"] * count + ["000002.000000"]
        with open(path, "w", encoding="utf-8") as file:
            file.write(head + "".join(f"E: {time} 8 00 00 {n % 100:02d} 00 00 00 00 00\n"
                                      for n, time in enumerate(times)))
        return path

    def test_watch_tells_between_the_reports(self):
        lines = [line for line in self.succeed("watch", "--recording", self.burst()).splitlines()
                 if not line.startswith(" ")]
        self.assertEqual(["present"] + ["report"] * QUEUED + ["loss?", "report", "left"],
                         [line.split()[0] for line in lines])
        self.assertEqual(f"loss?    #1  {LOSS}", lines[QUEUED + 1])

    def test_watch_tells_programs(self):
        events = [json.loads(line) for line in self.succeed("watch", "--json", "--recording", self.burst()).splitlines()]
        self.assertEqual(["present"] + ["report"] * QUEUED + ["possibleLoss", "report", "left"],
                         [event["event"] for event in events])
        loss = events[QUEUED + 1]
        del loss["time"]
        self.assertEqual({"version": 1, "event": "possibleLoss", "device": 1, "interface": 0, "count": 7}, loss)

    def test_a_full_queue_that_lost_nothing_is_not_told(self):
        self.assertNotIn("loss?", self.succeed("watch", "--recording", self.burst(QUEUED)))
        self.assertNotIn("loss?", self.succeed("watch", "--speed", "0", "--recording", self.burst()))

    def test_record_tells_on_standard_error_and_in_the_recording(self):
        outcome = run("record", "--keep-serial", "--recording", self.burst())
        self.assertEqual((0, f"qrxhid: {LOSS}\n"), (outcome.status, outcome.err))
        marks = [line[:2] for line in outcome.out.splitlines() if line.startswith("E: ") or LOSS in line]
        self.assertEqual(["E:"] * QUEUED + ["# ", "E:"], marks)
        listed = self.succeed("watch", "--speed", "0", "--recording", "-", text=outcome.out)
        self.assertEqual(QUEUED + 1, len(re.findall(r"(?m)^report ", listed)))


if __name__ == "__main__":
    main()
