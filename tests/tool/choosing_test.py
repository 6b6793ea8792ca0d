"""How a device is chosen: the same way with every command."""

import json
import os
import re
import tempfile

from qrxhid_support import ToolTest, main, recording, run

KEYBOARD = recording("boot-keyboard")
MOUSE = recording("wheel-mouse")
THERMOMETER = recording("thermometer")
ALL = [KEYBOARD, MOUSE, recording("gamepad"), THERMOMETER]
ONCE = ["watch", "--speed", "0", "--count", "1"]


class Choosing(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def twin(self, name, serial, place):
        """A mouse like the others of its kind."""
        with open(MOUSE, encoding="utf-8") as file:
            text = file.read().replace("M-0001", serial)
        text = re.sub(r"(?m)^P: .*$", f"P: {place}", text)
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def twins(self):
        return [self.twin("a.hid", "A 1", "usb-1-2/input0"), self.twin("b.hid", "B2", "usb-1-3/input0"),
                self.twin("c.hid", "C 3", "usb-1-4/input0")]

    def numbers(self, *words):
        return [device["number"] for device in json.loads(self.succeed("list", "--json", *words))["devices"]]

    def test_each_form_of_ids_finds_the_mouse(self):
        for form in ("1209:0002", "1209/2", "0x1209:0x0002", ":2", "0:2", "*:2", "#2"):
            self.assertEqual([2], self.numbers("--device", form, "--recording", *ALL), form)

    def test_selectors_add_up_and_an_empty_one_takes_all(self):
        self.assertEqual([1, 3], self.numbers("--device", "1209:1", "--device", "1209:3", "--recording", *ALL))
        self.assertEqual([1, 4], self.numbers("--device=#4", "--device", "1209:1", "--recording", *ALL))
        for form in (":", "0:0", "1209:"):
            self.assertEqual([1, 2, 3, 4], self.numbers("--device", form, "--recording", *ALL), form)

    def test_serial_number_place_and_interface_restrict_the_choice_together(self):
        twins = self.twins()
        self.assertEqual([1], self.numbers("--serial", "A 1", "--recording", *twins))
        self.assertEqual([3], self.numbers("--port", "usb-1-4", "--recording", *twins))
        self.assertEqual([4], self.numbers("--interface", "1", "--recording", *ALL))
        self.assertEqual([2], self.numbers("--device", "1209:", "--port", "usb-1-3", "--serial", "B2",
                                           "--recording", *twins))

    def test_every_command_chooses_alike(self):
        twins = self.twins()
        for words in (["list"], ["tree"], ["dump"], ONCE, ["record", "--speed", "0", "--keep-serial"]):
            for option in (["--serial", "B2"], ["--port", "usb-1-3"], ["--device=#2"]):
                outcome = run(*words, *option, "--recording", *twins)
                self.assertEqual((0, ""), (outcome.status, outcome.err), f"{words} {option} {outcome}")
                self.assertEqual(1, outcome.out.count("Wheel Mouse" if words[0] != "dump" else '"Wheel Mouse"') -
                                 (words[0] == "record"), outcome.out)

    def test_of_a_chosen_interface_the_others_are_not_shown(self):
        listed = self.succeed("list", "--interface", "1", "--recording", *ALL)
        self.assertEqual(["1"], re.findall(r"interface (\d)", listed))
        tree = self.succeed("tree", "--interface", "1", "--recording", *ALL)
        self.assertEqual(["1"], re.findall(r"interface (\d)", tree))
        watched = self.succeed("watch", "--speed", "0", "--interface", "1", "--recording", *ALL)
        self.assertEqual({"1"}, set(re.findall(r"interface (\d)", watched)))
        self.assertNotIn("Mouse", watched)

    def test_what_is_not_there_is_told_in_the_words_of_the_choice(self):
        for words, told in ((["--serial", "X"], "there with serial number X"), (["--port", "1-9"], "there at 1-9"),
                            (["--device", "1209:2", "--serial", "X"], "1209:0002 with serial number X"),
                            (["--device=#5"], "#5"), (["--interface", "9"], "there with interface 9")):
            error = self.refuse(1, "list", *words, "--recording", *ALL)
            self.assertTrue(error.startswith(f"qrxhid: no device is {told}; there are:\n  #1  1209:0001  "), error)
            self.assertEqual(5, len(error.splitlines()))

    def test_several_that_match_are_told_apart_by_what_differs(self):
        error = self.refuse(64, "record", "--device", "1209:2", "--recording", *self.twins())
        self.assertEqual("qrxhid: 3 devices match, and a recording is of one:\n"
                         "  --port usb-1-2  1209:0002  Qrx Demo Wheel Mouse\n"
                         "  --serial B2     1209:0002  Qrx Demo Wheel Mouse\n"
                         "  --port usb-1-4  1209:0002  Qrx Demo Wheel Mouse\n"
                         "Try: qrxhid record --port usb-1-2\n", error)
        error = self.refuse(64, "record", "--device", "1209:", "--recording", MOUSE, KEYBOARD, MOUSE)
        self.assertEqual(["--device=#1", "--device 1209:0001", "--device=#3"],
                         [line[2:22].strip() for line in error.splitlines()[1:4]])

    def test_what_is_suggested_works(self):
        for words in (["--device", "1209:2"], ["--device", ":"]):
            files = [*self.twins(), KEYBOARD]
            for option in re.findall(r"(?m)^  (--\S+ ?\S+)  ", self.refuse(64, "record", *words, "--recording", *files)):
                self.succeed("record", "--speed", "0", *option.split(), "--recording", *files)

    def test_watch_numbers_devices_as_list_does(self):
        self.assertTrue(self.succeed(*ONCE, "--device", "1209:4", "--recording", *ALL).startswith("present  #4  1209:0004"))

    def test_a_number_begins_with_1(self):
        for wrong in ("#", "#0", "#x", "#-1", "#1x", "#99999999999"):
            self.assertIn("not a number of list, from #1 on\nTry: --device #1\n",
                          self.refuse(64, "list", f"--device={wrong}"))

    def test_doctor_knows_devices_that_have_no_number(self):
        self.assertIn("numbers of list do not count", self.refuse(64, "doctor", "#1"))


if __name__ == "__main__":
    main()
