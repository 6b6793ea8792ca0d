"""The page of a device: what is in the file, without a browser."""

import base64
import hashlib
import os
import pty
import re
import signal
import subprocess

from page_support import GAMEPAD, HOSTILE_SHOWN, PageTest, descriptor_of, gamepad_with_events, hostile_recording
from qrxhid_support import DEADLINE_SECONDS, TOOL, main, recording, run

ALL = [recording(name) for name in ("boot-keyboard", "wheel-mouse", "gamepad", "thermometer", "qemu-keyboard",
                                    "qemu-mouse", "qemu-tablet")]
CORPUS = os.environ.get("QRX_RECORDINGS", "")
MEGABYTE = 1000000


def digest(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


class Standing(PageTest):
    """A page needs nothing else, and lets nothing else in."""

    def test_the_security_policy_lets_only_the_pages_own_script_and_style_in(self):
        text = self.read(self.page(GAMEPAD))
        policy = re.search(r'http-equiv="Content-Security-Policy" content="([^"]*)"', text)[1]
        scripts, styles = (re.findall(f"<{name}>(.*?)</{name}>", text, re.S) for name in ("script", "style"))
        self.assertEqual((1, 1), (len(scripts), len(styles)))
        self.assertEqual(f"default-src 'none'; script-src {digest(scripts[0])}; style-src {digest(styles[0])}; "
                         "base-uri 'none'; form-action 'none'", policy)

    def test_it_refers_to_nothing_outside(self):
        text = self.read(self.page(GAMEPAD))
        self.assertEqual(["http://www.w3.org/2000/svg"], re.findall(r"[a-z]+://[^\"'\s]*", text))
        self.assertEqual([], re.findall(r"\bsrc=|@import|url\(", text))
        self.assertEqual({"#content"}, set(re.findall(r'href="([^"]*)"', text)))

    def test_it_is_ascii_and_no_name_is_markup(self):
        text = self.read(self.page(self.write(hostile_recording()), "--keep-serial"))
        data = re.search(r'id="device">(.*?)</script>', text, re.S)[1]
        self.assertEqual([], re.findall(r"[<>&\x00-\x1f\x7f]", data))
        self.assertEqual(2, text.count("<script"))
        document = self.document(self.path("device.hid"), "--keep-serial")
        facts = dict(document["facts"])
        self.assertEqual([HOSTILE_SHOWN] * 3, [facts["Vendor"], facts["Product"], facts["Serial number"]])
        self.assertEqual([HOSTILE_SHOWN + " " + HOSTILE_SHOWN, HOSTILE_SHOWN],
                         [document["name"], document["interfaces"][0]["name"]])


class Content(PageTest):
    def test_reports_are_those_of_the_recording(self):
        for path in ALL:
            with open(path, encoding="utf-8") as file:
                lines = re.findall(r"^E: (\d+)\.(\d+) \d+ (.*)$", file.read(), re.M)
            before, expected = 0, []
            for seconds, microseconds, data in lines:
                now = int(seconds) * 1000000 + int(microseconds)
                expected.append((now - before, bytes.fromhex(data)))
                before = now
            self.assertEqual(expected, [(passed, data) for passed, _, data in self.events(self.document(path))], path)

    def test_twenty_thousand_reports_of_64_bytes_stay_below_three_megabytes(self):
        path = self.page(self.write(gamepad_with_events(20000, 64)))
        self.assertLess(os.path.getsize(path), 3 * MEGABYTE)
        self.assertLess(os.path.getsize(self.page(self.write(gamepad_with_events(20000)))), MEGABYTE)

    def test_one_interface_has_only_its_own_reports(self):
        both = self.document(recording("thermometer"))
        self.assertEqual([0, 1], [one["number"] for one in both["interfaces"]])
        second = self.document(recording("thermometer"), "--interface", "1")
        self.assertEqual([1], [one["number"] for one in second["interfaces"]])
        self.assertEqual([data for _, interface, data in self.events(both) if interface == 1],
                         [data for _, interface, data in self.events(second)])
        self.assertEqual({0}, {interface for _, interface, _ in self.events(second)})

    def test_the_serial_number_is_left_out_unless_asked_for(self):
        self.assertNotIn("G-0001", self.read(self.page(GAMEPAD)))
        self.assertEqual("G-0001", dict(self.document(GAMEPAD, "--keep-serial")["facts"])["Serial number"])

    def test_every_bit_of_a_report_is_declared_by_one_item(self):
        paths = list(ALL)
        if CORPUS:
            folder = os.path.join(CORPUS, "devices")
            paths += [os.path.join(folder, name) for name in sorted(os.listdir(folder)) if name.endswith(".hid")][::40]
        for path in paths:
            for face in self.document(path)["interfaces"]:
                for report in face["reports"]:
                    declared = sorted((item["declares"]["bit"], item["declares"]["bits"]) for item in face["items"]
                                      if item.get("declares", {}).get("type") == report["type"]
                                      and item["declares"]["id"] == report["id"])
                    end = 8 if report["id"] else 0
                    for bit, bits in declared:
                        self.assertEqual(end, bit, path)
                        end += bits
                    self.assertEqual(report["bits"], end, path)

    def reaches(self, descriptor):
        """By the item's offset, the offsets of the main items in which it has a part."""
        text = f"R: {len(descriptor.split())} {descriptor}\nN: x\nP: \nI: 3 0001 0002\n"
        items = self.document(self.write(text))["interfaces"][0]["items"]
        mains = [index for index, item in enumerate(items) if "declares" in item]
        return {item["offset"]: [items[main]["offset"] for main in mains
                                 if any(first <= main <= last for first, last in item["reach"])] for item in items}

    def test_an_item_has_a_part_in_the_fields_that_are_read_with_it(self):
        reach = self.reaches(descriptor_of(GAMEPAD))
        self.assertEqual([22], reach[10], "a usage: in its own field")
        self.assertEqual([22], reach[14], "a logical minimum: until the next one")
        self.assertEqual([22, 42, 60, 75], reach[4], "a collection: in all within")
        self.assertEqual([22], reach[6], "a collection's usage: as the collection")
        self.assertEqual([22], reach[24], "a collection's end: as its beginning")
        self.assertEqual([42, 60, 75], reach[27], "a global item: until the end")

    def test_a_popped_global_item_is_in_force_again(self):
        # Size 8 and count 1 are pushed, size 4 is set, and the pop brings size 8 back.
        reach = self.reaches("05 01 09 02 a1 01 15 00 25 07 75 08 95 01 09 30 81 02 a4 75 04 95 02 09 31 09 32 81 02 "
                             "b4 09 33 81 02 c0")
        self.assertEqual([16, 32], reach[10])
        self.assertEqual([27], reach[19])

    def test_a_descriptor_that_ends_in_an_item_is_shown_to_its_end(self):
        cut = "05 01 09 02 a1 01 09 30 15 00 25 7f 75 08 95 01 81 02 c0 26 ff"
        items = self.document(self.write(f"R: 21 {cut}\nN: x\nP: \nI: 3 0001 0002\n"))["interfaces"][0]["items"]
        self.assertEqual("cut off by the end", items[-1]["meaning"])
        self.assertEqual(cut.split(), " ".join(item["bytes"] for item in items).split())


class Output(PageTest):
    def test_a_file_is_replaced_only_by_a_whole_page(self):
        older = self.write("older", "page.html")
        wrong = self.write("R: 4 05 01 zz 06\nN: x\nI: 3 0001 0002\n")
        self.refuse(2, "page", wrong, "--output", older)
        self.assertEqual("older", self.read(older))
        self.page(GAMEPAD)
        self.assertTrue(self.read(older).startswith("<!DOCTYPE html>"))
        self.assertEqual(["device.hid", "page.html"], sorted(os.listdir(self.folder)))

    def test_a_full_disk_leaves_the_older_file(self):
        older = self.write("older", "page.html")
        limited = subprocess.run(["/bin/sh", "-c", 'ulimit -f 8; trap "" XFSZ; exec "$@"', "sh", TOOL, "page", GAMEPAD,
                                  "-o", older], capture_output=True, timeout=DEADLINE_SECONDS, check=False)
        self.assertEqual((1, f"qrxhid: {older} cannot be written: File too large\n"),
                         (limited.returncode, limited.stderr.decode()))
        self.assertEqual("older", self.read(older))
        self.assertEqual(["page.html"], os.listdir(self.folder))

    def test_a_link_stays_a_link(self):
        target = self.write("older", "target.html")
        os.symlink("target.html", self.path("page.html"))
        self.page(GAMEPAD)
        self.assertTrue(os.path.islink(self.path("page.html")))
        self.assertIn("<!DOCTYPE html>", self.read(target))

    def test_what_is_no_file_is_written_as_it_comes(self):
        self.assertEqual("", self.succeed("page", GAMEPAD, "-o", "/dev/null"))
        self.assertIn("<!DOCTYPE html>", self.succeed("page", GAMEPAD, "-o", "/dev/stdout"))

    def test_standard_output_is_the_default(self):
        page = self.read(self.page(GAMEPAD))
        self.assertEqual(page, self.succeed("page", GAMEPAD))
        self.assertEqual(page, self.succeed("page", GAMEPAD, "-o", "-"))

    def test_the_recording_that_is_read_is_not_lost(self):
        for words in ([], ["--recording"]):
            path = self.write(gamepad_with_events(1))
            error = self.refuse(64, "page", *words, path, "--output", os.path.join(self.folder, ".", "device.hid"))
            self.assertIn("is the recording that is read\n", error)
            self.assertEqual(gamepad_with_events(1), self.read(path))

    def test_a_place_that_is_not_there_is_told(self):
        error = self.refuse(1, "page", GAMEPAD, "--output", "/nowhere/page.html")
        self.assertEqual("qrxhid: /nowhere/page.html cannot be opened: No such file or directory\n", error)

    def test_a_terminal_is_refused(self):
        master, slave = pty.openpty()
        try:
            process = subprocess.run([TOOL, "page", GAMEPAD], stdin=subprocess.DEVNULL, stdout=slave,
                                     stderr=subprocess.PIPE, timeout=DEADLINE_SECONDS, check=False)
        finally:
            os.close(slave)
            os.close(master)
        self.assertEqual((64, b"qrxhid: a page is not for a terminal\nTry: qrxhid page ... --output FILE.html\n"),
                         (process.returncode, process.stderr))


class Ended(PageTest):
    """A signal in the middle."""

    def caught_while_writing(self, number):
        """Sends the signal while the page is being written. Gives the exit status; None if it was too late."""
        with subprocess.Popen([TOOL, "page", self.path("long.hid"), "--output", self.path("page.html")]) as process:
            while process.poll() is None:
                if any(name.endswith(".part") for name in os.listdir(self.folder)):
                    process.send_signal(number)
                    break
            status = process.wait(timeout=DEADLINE_SECONDS)
        return status if status < 0 else None

    def test_nothing_half_written_stays(self):
        self.write(gamepad_with_events(20000), "long.hid")
        for number in (signal.SIGINT, signal.SIGTERM):
            # It is written in some milliseconds, so a signal may come too late; not each time.
            statuses = [self.caught_while_writing(number) for _ in range(10)]
            self.assertIn(-number, statuses)
            self.assertEqual(set(), set(os.listdir(self.folder)) - {"long.hid", "page.html"})
            self.assertTrue(self.read(self.path("page.html")).endswith("</html>\n"))


class Choice(PageTest):
    def test_the_device_is_chosen_as_elsewhere(self):
        mouse = recording("wheel-mouse")
        for words in (["#2"], ["1209:0002"], ["--device", "1209:0002"], ["--device=#2"], ["--serial", "M-0001"]):
            document = self.document(*words, "--recording", GAMEPAD, mouse)
            self.assertEqual("1209:0002", document["ids"], words)

    def test_a_script_for_the_recording_does_not_keep_it_from_its_page(self):
        script = self.write("on connect: nothing-to-see\n", "bad.faults")
        error = self.refuse(2, "page", GAMEPAD, "--faults", script, "--output", self.path("page.html"))
        self.assertIn("bad.faults:1: ", error)
        self.write("", "none.faults")
        self.page(GAMEPAD, "--faults", self.path("none.faults"))

    def test_a_script_without_a_recording_is_refused(self):
        for words in (["046d:c077"], []):
            error = self.refuse(64, "page", *words, "--faults", "x.faults", "--output", self.path("page.html"))
            self.assertIn("--faults is for the devices of recordings", error)

    def test_several_that_match_are_told_apart(self):
        error = self.refuse(64, "page", "--recording", *ALL[:2])
        self.assertIn("2 devices match, and a page is of one:\n", error)
        self.assertIn("  --device 1209:0001  1209:0001  Qrx Demo Boot Keyboard\n", error)

    def test_a_device_that_is_not_there_is_told(self):
        self.assertIn("no device is dead:beef", self.refuse(1, "page", "dead:beef", "--recording", GAMEPAD))
        self.assertNotEqual(0, run("page", "/nowhere/x.hid").status)


if __name__ == "__main__":
    main()
