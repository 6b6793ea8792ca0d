"""Reports as bytes and as values: decode, encode, send and get."""

import json

from qrxhid_support import ToolTest, main, recording, run

KEYBOARD = recording("boot-keyboard")
MOUSE = recording("wheel-mouse")
GAMEPAD = recording("gamepad")
THERMOMETER = recording("thermometer")


class Decode(ToolTest):
    def test_bytes_become_values_with_their_measure(self):
        text = self.succeed("decode", "00", "00", "12", "00", "00", "ff", "--recording", GAMEPAD)
        self.assertTrue(text.startswith("input report of interface 0: 00 00 12 00 00 ff\n    Generic Desktop: X = 0\n"))
        for line in ("    Generic Desktop: Hat Switch = 2 (90 deg)\n", "    Button 1 = 1\n", "    Simulation Controls: Brake = 255\n"):
            self.assertIn(line, text)

    def test_bytes_may_be_written_in_several_ways(self):
        expected = self.succeed("decode", "00", "05", "fb", "00", "--recording", MOUSE)
        for words in (["0005fb00"], ["0005", "FB00"], ["00,", "05,", "fb,", "00"], ["0x00", "0x05", "0xFB", "0x00"]):
            self.assertEqual(expected, self.succeed("decode", *words, "--recording", MOUSE), words)

    def test_number_and_length_tell_which_report_it_is(self):
        for words, told in ((["02", "fd"], "input report 2 of interface 1"),
                            (["04", "e8", "03"], "feature report 4 of interface 0"),
                            (["01", "01"], "input report 1 of interface 1"),
                            (["01"] * 10, "input report 1 of interface 0")):
            self.assertTrue(self.succeed("decode", *words, "--recording", THERMOMETER).startswith(told + ": "), told)

    def test_what_can_be_several_reports_is_asked_about(self):
        error = self.refuse(64, "decode", "01", "--recording", THERMOMETER)
        self.assertEqual("""qrxhid: 2 reports match:
  --interface 0 --type input --report 1
  --interface 1 --type input --report 1
Try: qrxhid decode BYTES --interface 0 --type input --report 1
""", error)
        outcome = run("decode", "01", "--interface", "1", "--recording", THERMOMETER)
        self.assertEqual((0, "qrxhid: the input report 1 of interface 1 has 2 bytes, these are 1\n"),
                         (outcome.status, outcome.err))
        self.assertIn("the device has no such report", self.refuse(64, "decode", "77", "--recording", THERMOMETER))

    def test_json_has_numbers(self):
        found = json.loads(self.succeed("decode", "04e803", "--json", "--recording", THERMOMETER))
        self.assertEqual({"version": 1, "interface": 0, "type": "feature", "reportID": 4, "bytes": "04e803",
                          "values": [{"usagePage": 0xFF00, "usage": 0x31, "name": "Vendor 0xff00: 0x0031", "value": 1000,
                                      "isNull": False}]}, found)

    def test_what_are_no_bytes_is_refused(self):
        self.assertIn('"012": an odd number of digits', self.refuse(64, "decode", "012", "--recording", MOUSE))
        self.assertIn('"zz" is no byte', self.refuse(64, "decode", "00zz", "--recording", MOUSE))
        self.assertIn("no bytes to decode", self.refuse(64, "decode", "0x", "--recording", MOUSE))
        self.assertIn("no bytes to decode", self.refuse(64, "decode", "--recording", MOUSE))

    def test_a_report_is_of_one_device(self):
        self.assertIn("devices match, and a report is of one:",
                      self.refuse(64, "decode", "00", "--recording", MOUSE, KEYBOARD))
        self.assertIn("devices match, and a report is of one:", self.refuse(64, "decode", "00", "--recording", MOUSE, MOUSE))


class DecodeEvents(ToolTest):
    """All input of a recording."""

    def test_each_report_of_a_recording_is_decoded_with_its_time(self):
        lines = [line for line in self.succeed("decode", "--events", MOUSE).splitlines() if not line.startswith("    ")]
        self.assertEqual(["  0.000000  input report of interface 0: 00 05 fb 00",
                          "  0.008000  input report of interface 0: 00 0c f6 00"], lines[:2])
        self.assertEqual(5, len(lines))

    def test_the_values_are_those_of_each_report_alone(self):
        for name in (MOUSE, GAMEPAD, KEYBOARD):
            for line in self.succeed("decode", "--json", "--events", name).splitlines():
                event = json.loads(line)
                alone = json.loads(self.succeed("decode", event["bytes"], "--json", "--type", "input", "--recording", name))
                self.assertEqual(alone["values"], event["values"], name)

    def test_reports_belong_to_the_interface_that_they_came_from(self):
        events = [json.loads(line) for line in self.succeed("decode", "--json", "--events", THERMOMETER).splitlines()]
        self.assertEqual({(0, 10), (1, 2)}, {(one["interface"], len(one["bytes"]) // 2) for one in events})

    def test_another_device_can_be_asked(self):
        own = self.succeed("decode", "--events", MOUSE)
        self.assertEqual(own, self.succeed("decode", "--events", MOUSE, "--recording", MOUSE, GAMEPAD, "--device", "1209:2"))
        other = run("decode", "--events", GAMEPAD, "--recording", THERMOMETER)
        self.assertEqual(1, other.status)
        self.assertRegex(other.err, r"\Aqrxhid: 3 reports of 3 are none that the device declares, or could be several\n\Z")

    def test_bytes_and_a_recording_are_not_mixed(self):
        self.assertIn("cannot be mixed", self.refuse(64, "decode", "00", "--events", MOUSE))
        self.assertIn("there are no bytes", self.refuse(64, "decode", "--recording", MOUSE))

    def test_a_recording_that_cannot_be_read_is_told_once(self):
        for words in ((), ("--recording", MOUSE)):
            err = self.refuse(2, "decode", "--events", "/nonexistent.hid", *words)
            self.assertEqual(1, err.count("/nonexistent.hid"), err)


class Encode(ToolTest):
    def check(self, expected, *words):
        self.assertEqual(expected + "\n", self.succeed("encode", *words))

    def test_values_become_bytes_and_all_else_0(self):
        self.check("01 05 fb 00", "X=5", "y=-5", "Button 1=1", "--recording", MOUSE)
        self.check("01 05 fb 00", "Generic Desktop: X=5", "0x00010031=-5", "BUTTON 1=1", "--recording", MOUSE)
        self.check("02 00 07 00 00 00 00 00", "D=1", "Left Shift=1", "--recording", KEYBOARD)
        self.check("04 e8 03", "0x0031=1000", "--recording", THERMOMETER)
        self.check("01 00 00 07 00 00 00 00 00 00", "0x0010[1]=7", "--recording", THERMOMETER)

    def test_what_is_encoded_is_decoded_again(self):
        words = self.succeed("encode", "X=-127", "Wheel=3", "Button 2=1", "--recording", MOUSE).split()
        text = self.succeed("decode", *words, "--recording", MOUSE)
        for line in ("X = -127", "Wheel = 3", "Button 2 = 1", "Y = 0", "Button 1 = 0"):
            self.assertIn(line + "\n", text)

    def test_a_mistyped_usage_names_the_nearest(self):
        self.assertEqual('qrxhid: no such report has the usage "Weel"\nTry: "Wheel=1"\n',
                         self.refuse(64, "encode", "Weel=1", "--recording", MOUSE))

    def test_what_a_field_cannot_hold_is_refused_with_its_range(self):
        self.assertIn("X=128: outside of -127 .. 127", self.refuse(64, "encode", "X=128", "--recording", MOUSE))
        self.assertIn("Button 1=2: outside of 0 .. 1", self.refuse(64, "encode", "Button 1=2", "--recording", MOUSE))
        self.assertIn("only 0 and 1", self.refuse(64, "encode", "D=2", "--recording", KEYBOARD))
        self.assertIn("0x0010=1: ", self.refuse(64, "encode", "0x0010[4]=1", "--recording", THERMOMETER))

    def test_what_is_no_value_is_refused(self):
        for wrong in ("X", "=5", "X=", "X=five", "X=1.5", "X[a]=1", "X=99999999999999999999"):
            self.assertIn("is no usage and number", self.refuse(64, "encode", wrong, "--recording", MOUSE), wrong)

    def test_usages_of_different_reports_do_not_go_together(self):
        self.assertIn("the device has no such report",
                      self.refuse(64, "encode", "Mute=1", "Dial=1", "--recording", THERMOMETER))

    def test_json_has_the_bytes(self):
        self.assertEqual({"version": 1, "interface": 0, "type": "input", "reportID": 0, "bytes": "00050000"},
                         json.loads(self.succeed("encode", "X=5", "--json", "--recording", MOUSE)))


class SendAndGet(ToolTest):
    def test_bytes_and_values_are_sent_alike(self):
        expected = "sent output report of interface 0: 02\n"
        self.assertEqual(expected, self.succeed("send", "02", "--recording", KEYBOARD))
        self.assertEqual(expected, self.succeed("send", "LED: Caps Lock=1", "--recording", KEYBOARD))
        self.assertEqual("sent feature report 4 of interface 0: 04 e8 03\n",
                         self.succeed("send", "0x0031=1000", "--recording", THERMOMETER))

    def test_json_has_what_was_sent(self):
        sent = json.loads(self.succeed("send", "LED: Caps Lock=1", "--json", "--recording", KEYBOARD))
        self.assertEqual(("output", "02"), (sent["type"], sent["bytes"]))

    def test_a_length_that_the_device_does_not_declare_is_refused_with_the_one_that_it_does(self):
        self.assertIn("the output report 2 of interface 0 has 8 bytes, these are 3",
                      self.refuse(64, "send", "02", "52", "45", "--recording", THERMOMETER))

    def test_what_cannot_be_sent_is_refused(self):
        self.assertIn("input reports come from the device", self.refuse(64, "send", "00", "--type", "input"))
        self.assertIn("cannot be mixed", self.refuse(64, "send", "00", "X=1", "--recording", MOUSE))
        self.assertIn("the device has no such report", self.refuse(64, "send", "00", "--recording", MOUSE))
        self.assertIn("--type x: not input, output or feature", self.refuse(64, "send", "00", "--type", "x"))
        self.assertIn("no device is dead:beef", self.refuse(1, "send", "00", "--device", "dead:beef", "--recording", MOUSE))

    def test_a_refusal_of_the_device_is_told_with_its_reason(self):
        # A recorded device answers with what was sent to it before, and in this process nothing was.
        outcome = run("get", "--report", "4", "--recording", THERMOMETER)
        self.assertEqual((1, ""), (outcome.status, outcome.out))
        self.assertRegex(outcome.err, r"\Aqrxhid: 1209:0004 .*feature report 4 was not received: .*refused.*\n\Z")

    def test_several_reports_that_can_be_asked_for_are_listed(self):
        self.assertIn("--interface 0 --type feature --report 3\n", self.refuse(64, "get", "--recording", THERMOMETER))
        self.assertIn("the device has no such report", self.refuse(64, "get", "--recording", MOUSE))


if __name__ == "__main__":
    main()
