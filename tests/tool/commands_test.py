"""The command lines as a person types them, on the recordings that the tool brings along."""

import json
import os
import re
import signal
import subprocess
import tempfile

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording, run

KEYBOARD = recording("boot-keyboard")
MOUSE = recording("wheel-mouse")
GAMEPAD = recording("gamepad")
THERMOMETER = recording("thermometer")
ALL = [KEYBOARD, MOUSE, GAMEPAD, THERMOMETER]


class Help(ToolTest):
    def test_it_teaches_with_an_example_of_every_command(self):
        text = self.succeed("--help")
        for command in ("list", "tree", "dump", "watch", "record", "doctor", "rule", "demo"):
            self.assertIn(f"\n  qrxhid {command}", text)
            self.assertIn(f"  qrxhid {command}", self.succeed(command, "--help"))

    def test_help_is_a_word_too(self):
        self.assertEqual(self.succeed("--help"), self.succeed("help"))
        self.assertEqual(self.succeed("tree", "--help"), self.succeed("help", "tree"))
        self.assertIn('"tre" is not a command\nTry: qrxhid tree\n', self.refuse(64, "help", "tre"))

    def test_the_version_is_one_line(self):
        self.assertRegex(self.succeed("--version"), r"\Aqrxhid \d+\.\d+\.\d+\n\Z")
        self.assertEqual(self.succeed("--version"), self.succeed("-V"))


class WrongCommandLines(ToolTest):
    def check(self, expected, *words):
        self.assertEqual(expected, self.refuse(64, *words))

    def test_a_mistyped_command_names_the_nearest(self):
        self.check('qrxhid: "tre" is not a command\nTry: qrxhid tree\n', "tre")
        self.check('qrxhid: "wtach" is not a command\nTry: qrxhid watch\n', "wtach")

    def test_a_word_like_no_command_gets_the_general_form(self):
        form = "qrxhid COMMAND [OPTIONS]; qrxhid help lists the commands"
        self.check(f'qrxhid: "frobnicate" is not a command\nTry: {form}\n', "frobnicate")
        self.check(f"qrxhid: a command is missing\nTry: {form}\n")

    def test_a_mistyped_option_names_the_nearest(self):
        self.check('qrxhid: qrxhid tree has no option "--recordng"\nTry: qrxhid tree --recording\n',
                   "tree", "--recordng", MOUSE)
        self.check('qrxhid: qrxhid list has no option "--speed"\nTry: qrxhid list --help\n', "list", "--speed", "1")

    def test_an_option_before_the_command_is_put_behind_it(self):
        self.check('qrxhid: "--recording" stands before the command\nTry: qrxhid tree --recording\n',
                   "--recording", MOUSE, "tree")

    def test_a_word_too_many_is_named(self):
        self.check('qrxhid: "extra" is not expected here\nTry: qrxhid list --help\n', "list", "extra")

    def test_an_option_without_its_value_is_refused(self):
        self.assertIn("--recording", self.refuse(64, "list", "--recording"))
        self.assertIn("--device", self.refuse(64, "list", "--device"))

    def test_a_device_is_two_hexadecimal_numbers(self):
        self.check('qrxhid: --device "04d8": there is no colon between vendor and product\nTry: --device 04d8:\n',
                   "list", "--device", "04d8")
        for wrong in ("12345:", ":xyz", "0x:1", "1:2:3", "-1:2"):
            error = self.refuse(64, "list", f"--device={wrong}")
            self.assertIn("is not a hexadecimal number up to ffff\nTry: --device 04d8:003f\n", error)

    def test_speed_is_a_number_from_0_and_for_recordings(self):
        for wrong in ("-1", "nan", "inf", "fast", "1x"):
            self.assertIn(f"qrxhid: --speed {wrong}: not a number from 0 on\n",
                          self.refuse(64, "watch", "--recording", MOUSE, f"--speed={wrong}"))
        self.assertIn("--speed is for recordings", self.refuse(64, "watch", "--speed", "2"))

    def test_count_is_a_number_from_1(self):
        for wrong in ("0", "-3", "x", "1.5", "99999999999999999999999"):
            self.assertIn(f"qrxhid: --count {wrong}: not a number from 1 on\n",
                          self.refuse(64, "watch", f"--count={wrong}"))

    def test_waiting_needs_a_real_device_to_wait_for(self):
        self.assertIn("--wait is for", self.refuse(64, "watch", "--wait"))
        self.assertIn("--wait is for", self.refuse(64, "watch", "--wait", "--device", "1:2", "--recording", MOUSE))


class WrongRecordings(ToolTest):
    def write(self, text):
        handle, name = tempfile.mkstemp(suffix=".hid")
        self.addCleanup(os.remove, name)
        with os.fdopen(handle, "w", encoding="utf-8") as file:
            file.write(text)
        return name

    def test_the_line_and_the_reason_are_told_and_the_other_files_are_worked_on(self):
        wrong = self.write("R: 4 05 01 zz 06\nN: x\nI: 3 0001 0002\n")
        for command in (["list"], ["tree"], ["dump"], ["watch", "--speed", "0"],
                        ["record", "--keep-serial", "--speed", "0", "--device", "1209:2"]):
            alone = self.refuse(2, *command, "--recording", wrong)
            self.assertRegex(alone, rf"\A{re.escape(wrong)}:1: [^\n]+\n\Z")
            if command[0] != "dump":
                outcome = run(*command, "--recording", wrong, MOUSE, wrong)
                self.assertEqual((2, alone * 2), (outcome.status, outcome.err))
                self.assertEqual(self.succeed(*command, "--recording", MOUSE).splitlines()[:3],
                                 outcome.out.splitlines()[:3])

    def test_a_recording_without_an_end_or_with_too_much_is_refused_with_its_place(self):
        self.assertEqual("/dev/zero:1: a line of more than 262144 bytes\n",
                         self.refuse(2, "list", "--recording", "/dev/zero"))
        head = "R: 0\nN: n\nI: 3 1209 0001\n"
        self.assertEqual("standard input:4: a line of more than 262144 bytes\n",
                         self.refuse(2, "list", "--recording", "-", text=head + "#" * 1000000))
        many = "".join(f"D: {number}\n{head}" for number in range(257))
        self.assertEqual("standard input:1026: more than 256 interfaces\n",
                         self.refuse(2, "list", "--recording", "-", text=many))

    def test_the_line_is_that_of_the_fault(self):
        lines = ["R: 4 05 01 09 02", "N: x", "I: 3 0001 0002", "E: 000001.000000 1 00", "E: 000000.500000 1 00"]
        wrong = self.write("\n".join(lines) + "\n")
        self.assertTrue(self.refuse(2, "list", "--recording", wrong).startswith(f"{wrong}:5: "))

    def test_a_file_that_is_not_there_is_a_recording_that_does_not_parse(self):
        self.assertRegex(self.refuse(2, "tree", "--recording", "/nowhere/x.hid"), r"\A/nowhere/x\.hid: ?\d*:? ?.+\n\Z")

    def test_a_device_without_fields_is_told_and_the_others_are_shown(self):
        bare = self.write("R: 6 05 01 09 02 a1 01\nN: bare\nP: \nI: 3 0001 0002\n")
        outcome = run("list", "--recording", bare, MOUSE)
        self.assertEqual(1, outcome.status, str(outcome))
        self.assertIn(f"qrxhid: {bare}: no HID device: no input, output or feature field\n", outcome.err)
        self.assertEqual(["1209:0002"], listed(outcome.out))


def listed(text):
    """The IDs in the output of list."""
    return re.findall(r"^#\d+  ([0-9a-f]{4}:[0-9a-f]{4})  ", text, re.M)


class List(ToolTest):
    def test_a_device_is_told_with_its_place_serial_number_and_interfaces(self):
        text = self.succeed("list", "--recording", GAMEPAD, THERMOMETER, MOUSE)
        self.assertEqual(["1209:0003", "1209:0004", "1209:0002"], listed(text))
        self.assertIn("""
#2  1209:0004  Qrx Demo Thermomètre Δ 温度計
    at demo, serial number T-0001
    interface 0: Vendor 0xff00: 0x0001
    interface 1: Consumer: Consumer Control
#3  """, text)

    def test_without_any_device_it_says_where_to_go(self):
        # No device is plugged into the machines that run this; one that has some shows them instead.
        outcome = run("list")
        self.assertEqual(0, outcome.status, str(outcome))
        self.assertEqual("qrxhid: there is no HID device; qrxhid doctor tells why one that is plugged in is not here\n"
                         if outcome.out == "" else "", outcome.err)

    def test_a_command_for_one_device_says_where_to_go_without_any(self):
        if run("list").out != "":
            self.skipTest("this machine has HID devices")
        for command in ("get", "page"):
            self.assertEqual("qrxhid: there is no HID device; qrxhid doctor tells why one that is plugged in is not "
                             "here\n", self.refuse(1, command))

    def test_an_unknown_device_is_told_with_what_is_there(self):
        expected = "qrxhid: no device is dead:*; there are:\n  #1  1209:0002  Qrx Demo Wheel Mouse\n"
        for command in ("list", "tree", "dump", "watch"):
            self.assertEqual(expected, self.refuse(1, command, "--device", "dead:", "--recording", MOUSE))

    def test_of_several_selectors_the_unknown_one_is_told(self):
        error = self.refuse(1, "list", "--device", "1209:2", "--device", "1:2", "--recording", MOUSE)
        self.assertIn("no device is 0001:0002;", error)

    def test_two_alike_are_two(self):
        self.assertEqual(["1209:0002"] * 2, listed(self.succeed("list", "--recording", MOUSE, MOUSE)))

    def test_a_recording_may_come_from_standard_input(self):
        with open(MOUSE, encoding="utf-8") as file:
            self.assertIn("Wheel Mouse", self.succeed("list", "--recording", "-", text=file.read()))
        self.assertRegex(self.refuse(2, "list", "--recording", "-", text="nonsense\n"), r"\Astandard input:1: .+\n\Z")

    def test_json_has_numbers_as_numbers(self):
        devices = json.loads(self.succeed("list", "--json", "--recording", MOUSE, THERMOMETER))["devices"]
        self.assertEqual([(0x1209, 2, "Wheel Mouse", 0x0210), (0x1209, 4)],
                         [(devices[0]["vendorID"], devices[0]["productID"], devices[0]["productName"],
                           devices[0]["releaseNumber"]), (devices[1]["vendorID"], devices[1]["productID"])])
        self.assertEqual([(0, 0xFF00, 1), (1, 0x0C, 1)],
                         [(i["number"], i["primaryUsagePage"], i["primaryUsage"]) for i in devices[1]["interfaces"]])


def fields(elements):
    """The fields of a JSON tree, collections opened."""
    for element in elements:
        if "field" in element:
            yield element["field"]
        else:
            yield from fields(element["collection"]["elements"])


class Tree(ToolTest):
    def test_the_mouse_reads_as_its_descriptor(self):
        self.assertEqual("""1209:0002  Qrx Demo Wheel Mouse, release 2.10
└─ interface 0: Generic Desktop: Mouse
   ├─ input report: 4 bytes
   └─ collection Generic Desktop: Mouse
      └─ collection Generic Desktop: Pointer
         ├─ Button 1 .. 3  input  byte 0  3 x 1 bit   0 .. 1
         ├─ X .. Y         input  byte 1  2 x 8 bits  -127 .. 127  relative
         └─ Wheel          input  byte 3  8 bits      -127 .. 127  relative
""", self.succeed("tree", "--recording", MOUSE))

    def test_an_array_is_one_field_with_the_number_of_its_usages(self):
        text = self.succeed("tree", "--recording", KEYBOARD)
        self.assertRegex(text, r"├─ Keyboard: No event \.\. Application \(102\)\n"
                               r"      │ +input +byte 2 +6 x 8 bits +0 \.\. 101 +array\n")

    def test_units_and_physical_ranges_are_told(self):
        self.assertRegex(self.succeed("tree", "--recording", GAMEPAD),
                         r"├─ Hat Switch +input +byte 2 +4 bits +0 \.\. 7\n      │    = 0 \.\. 315 deg, null state\n")
        self.assertRegex(self.succeed("tree", "--recording", THERMOMETER),
                         r"├─ 0x0010 +input 1 +byte 1 +4 x 16 bits +-32768 \.\. 32767  in 10\^-2 K\n")

    def test_fields_stand_in_the_order_of_their_report(self):
        lines = self.succeed("tree", "--recording", GAMEPAD).splitlines()
        names = ["X .. Y", "Hat Switch", "Button 1 .. 12", "Accelerator"]
        places = [next(i for i, line in enumerate(lines) if name in line) for name in names]
        self.assertEqual(sorted(places), places)

    def test_a_composite_device_is_one_device_with_its_reports(self):
        text = self.succeed("tree", "--recording", THERMOMETER)
        self.assertEqual(1, len(re.findall(r"^1209:0004", text, re.M)))
        self.assertIn("""
├─ interface 0: Vendor 0xff00: 0x0001
│  ├─ input report 1: 10 bytes
│  ├─ output report 2: 8 bytes
│  ├─ feature report 3: 4 bytes
│  ├─ feature report 4: 3 bytes
│  └─ collection Vendor 0xff00: 0x0001
""", text)

    def test_types_of_reports_that_an_interface_has_not_are_not_spoken_of(self):
        dial = self.succeed("tree", "--interface", "1", "--recording", THERMOMETER)
        self.assertEqual({"input"}, set(re.findall(r"input|output|feature", dial)))
        found = json.loads(self.succeed("tree", "--json", "--recording", THERMOMETER))["devices"][0]["interfaces"]
        self.assertEqual([(10, 8, 4), (2, 0, 0)],
                         [tuple(one[kind + "ReportSize"] for kind in ("input", "output", "feature")) for one in found])
        self.assertEqual({"type": "feature", "reportID": 4, "bits": 24, "bytes": 3}, found[0]["reports"][-1])

    def test_it_fits_80_columns(self):
        nested = "05 01 09 02 a1 01 " * 9 + "19 30 29 38 15 81 25 7f 75 08 95 09 81 06 " + "c0 " * 9
        ranges = "06 00 ff 09 01 a1 01 17 00 00 00 80 27 ff ff ff 7f 75 20 95 02 19 01 29 02 b1 62 c0"
        for descriptor in (nested, ranges):
            text = f"R: {len(descriptor.split())} {descriptor}\nN: n\nP:\nI: 3 1209 0001\n"
            shown = self.succeed("tree", "--recording", "-", text=text)
            self.assertGreater(len(shown.splitlines()), 5)
            self.assertEqual([], [line for line in shown.splitlines() if len(line) > 80])
        for name in ALL:
            shown = self.succeed("tree", "--recording", name)
            self.assertEqual([], [line for line in shown.splitlines() if len(line) > 80])

    def test_json_has_the_same_fields(self):
        device = json.loads(self.succeed("tree", "--json", "--recording", THERMOMETER))["devices"][0]
        found = {(f["type"], f["reportID"], f["usages"][0]["first"]): f
                 for f in fields(device["interfaces"][0]["elements"])}
        temperatures = found["input", 1, 0x10]
        self.assertEqual((8, 16, 4, -32768, 32767, 0x10001),
                         tuple(temperatures[key] for key in ("bitOffset", "sizeBits", "count", "logicalMinimum",
                                                             "logicalMaximum", "unit")))
        self.assertEqual((8, 16, 1, 0, 65535),
                         tuple(found["feature", 4, 0x31][key] for key in
                               ("bitOffset", "sizeBits", "count", "logicalMinimum", "logicalMaximum")))


class Dump(ToolTest):
    def test_it_is_the_librarys_own_text_with_a_line_end_for_each_device(self):
        text = self.succeed("dump", "--recording", KEYBOARD, MOUSE)
        self.assertEqual(2, len(re.findall(r'^\{ object id = \d+ VCollectable\.referenceCount = \d+ '
                                           r' "Qrx Demo" "(?:Boot Keyboard|Wheel Mouse)" ?$', text, re.M)), text[:400])
        self.assertEqual(2, text.count("\tReport: {"))
        self.assertTrue(text.endswith("}\n"))
        self.assertIn("HIDCapability.minValue = 4294967169 HIDCapability.maxValue = 127 ", text)


class Watch(ToolTest):
    def test_a_played_recording_is_shown_from_its_presence_to_its_leaving(self):
        self.assertEqual("""present  #1  1209:0002  Qrx Demo Wheel Mouse
report   #1  interface 0: 00 05 fb 00
    Button 1 = 0
    Button 2 = 0
    Button 3 = 0
    Generic Desktop: X = 5
    Generic Desktop: Y = -5
    Generic Desktop: Wheel = 0
""", "".join(self.succeed("watch", "--speed", "0", "--recording", MOUSE).splitlines(True)[:8]))
        self.assertEqual("left     #1  1209:0002  Qrx Demo Wheel Mouse\n",
                         self.succeed("watch", "--speed", "0", "--recording", MOUSE).splitlines(True)[-1])

    def test_every_report_arrives_in_order_at_any_speed(self):
        with open(MOUSE, encoding="utf-8") as file:
            sent = [line.split(None, 3)[3].strip() for line in file if line.startswith("E:")]
        self.assertEqual(5, len(sent))
        for speed in ("0", "1", "50"):
            text = self.succeed("watch", "--speed", speed, "--recording", MOUSE)
            self.assertEqual(sent, re.findall(r"^report   #1  interface 0: (.*)$", text, re.M), speed)

    def test_with_changes_only_what_is_new_is_shown(self):
        text = self.succeed("watch", "--speed", "0", "--changes", "--recording", KEYBOARD)
        self.assertEqual(["Left Shift = 1", "H = 1", "Left Shift = 0", "H = 0", "I = 1", "I = 0", "Caps Lock = 1",
                          "Caps Lock = 0"], re.findall(r"^    Keyboard: (.*)$", text, re.M))

    def test_a_value_out_of_range_of_a_field_with_null_state_is_marked(self):
        self.assertIn("    Generic Desktop: Hat Switch = 8 (null)\n",
                      self.succeed("watch", "--speed", "0", "--count", "1", "--recording", GAMEPAD))

    def test_values_that_one_field_counts_stand_in_one_line(self):
        self.assertIn("    Vendor 0xff00: 0x0010 = 29354 29452 -2 -32768\n",
                      self.succeed("watch", "--speed", "0", "--count", "1", "--recording", THERMOMETER))

    def test_the_events_of_two_interfaces_keep_their_order(self):
        text = self.succeed("watch", "--speed", "0", "--recording", THERMOMETER)
        self.assertEqual(["0: 01", "1: 01", "1: 01", "1: 02", "1: 03", "1: 03", "0: 01"],
                         re.findall(r"^report   #1  interface (\d: ..)", text, re.M))

    def test_it_ends_after_the_count(self):
        text = self.succeed("watch", "--speed", "0", "--count", "3", "--recording", MOUSE)
        self.assertEqual(3, text.count("report   #1"))
        self.assertNotIn("left", text)

    def test_json_lines_tell_the_same(self):
        events = [json.loads(line)
                  for line in self.succeed("watch", "--speed", "0", "--json", "--recording", THERMOMETER).splitlines()]
        self.assertEqual(["present"] + ["report"] * 7 + ["left"], [event["event"] for event in events])
        dial = events[4]
        self.assertEqual((1, 1, "input", 2, "02fd"),
                         (dial["device"], dial["interface"], dial["type"], dial["reportID"], dial["bytes"]))
        self.assertEqual([{"usagePage": 1, "usage": 0x37, "name": "Generic Desktop: Dial", "value": -3,
                           "isNull": False}], dial["values"])
        times = [event["time"] for event in events]
        self.assertEqual(sorted(times), times)

    def test_a_maximum_of_32_bits_without_a_sign_tells_null_values(self):
        descriptor = "06 00 ff 09 01 a1 01 15 00 27 fe ff ff ff 75 20 95 01 09 20 81 42 c0"
        text = (f"R: {len(descriptor.split())} {descriptor}\nN: n\nP:\nI: 3 1209 0001\n"
                "E: 0.0 4 fe ff ff ff\nE: 0.0 4 ff ff ff ff\n")
        self.assertEqual(["4294967294", "4294967295 (null)"],
                         re.findall(r" = (.*)$", self.succeed("watch", "--speed", "0", "--recording", "-", text=text),
                                    re.M))

    def test_usages_beyond_the_elements_that_are_kept_are_shown(self):
        # Arrays and variables of 32,767 usages; the table of elements has room for half of them.
        array = "05 0c 09 01 a1 01 15 00 27 ff ff 00 00 75 10 95 01 19 00 2a ff 7f 81 00 c0"
        variables = "05 0c 09 01 a1 01 15 00 25 01 75 01 96 ff 7f 19 01 2a ff 7f 81 02 c0"
        values = ["00"] * 4095 + ["40"]
        for descriptor, report in ((array, ["00", "70"]), (variables, values)):
            text = (f"R: {len(descriptor.split())} {descriptor}\nN: n\nP:\nI: 3 1209 0001\n"
                    f"E: 0.0 {len(report)} {' '.join(report)}\nE: 0.0 {len(report)} {' '.join(['00'] * len(report))}\n")
            usage = 0x7000 if descriptor == array else 0x7FFF
            self.assertEqual([f"    Consumer: 0x{usage:04x} = 1", f"    Consumer: 0x{usage:04x} = 0"],
                             [line for line in self.succeed("watch", "--speed", "0", "--changes", "--recording", "-",
                                                            text=text).splitlines() if " = " in line])

    def test_values_of_64_bits_are_shown_with_the_sign_that_they_have(self):
        unsigned = "06 00 ff 09 01 a1 01 15 00 25 64 75 40 95 01 09 20 81 02 c0"
        signed = "06 00 ff 09 01 a1 01 15 ff 25 64 75 40 95 01 09 20 81 02 c0"
        array = "06 00 ff 09 01 a1 01 15 ff 25 64 75 40 95 01 19 10 29 12 81 00 c0"
        for descriptor, report, shown in ((unsigned, "ff ff ff ff ff ff ff ff", 2 ** 64 - 1),
                                          (signed, "ff ff ff ff ff ff ff ff", -1),
                                          (signed, "00 00 00 00 00 00 00 80", -2 ** 63),
                                          (array, "ff ff ff ff ff ff ff ff", 1),
                                          (array, "ff ff ff ff ff ff ff 7f", None)):
            text = (f"R: {len(descriptor.split())} {descriptor}\nN: n\nP:\nI: 3 1209 0001\n"
                    f"E: 0.0 8 {report}\n")
            lines = self.succeed("watch", "--speed", "0", "--recording", "-", text=text).splitlines()
            self.assertEqual([] if shown is None else [str(shown)],
                             [line.split(" = ")[1] for line in lines if " = " in line], text)
            found = [json.loads(line) for line in
                     self.succeed("watch", "--speed", "0", "--json", "--recording", "-", text=text).splitlines()]
            self.assertEqual([[] if shown is None else [shown]],
                             [[value["value"] for value in one["values"]] for one in found if one["event"] == "report"])

    def test_raw_shows_the_bytes_alone(self):
        text = self.succeed("watch", "--speed", "0", "--raw", "--count", "2", "--recording", MOUSE)
        self.assertEqual(["report   #1  interface 0: 00 05 fb 00", "report   #1  interface 0: 00 0c f6 00"],
                         text.splitlines()[1:])
        events = [json.loads(line) for line in
                  self.succeed("watch", "--speed", "0", "--raw", "--json", "--recording", MOUSE).splitlines()]
        self.assertEqual({True}, {"bytes" in event and "values" not in event
                                  for event in events if event["event"] == "report"})

    def test_timestamps_are_seconds_that_do_not_run_backwards(self):
        lines = self.succeed("watch", "--speed", "0", "--raw", "--timestamps", "--recording", MOUSE).splitlines()
        times = [re.match(r" *(\d+\.\d{6})  (present|report|left) ", line) for line in lines]
        self.assertNotIn(None, times, lines)
        seconds = [float(time[1]) for time in times]
        self.assertEqual(sorted(seconds), seconds)
        self.assertGreater(len(seconds), 3)

    def test_lines_come_out_while_it_runs_and_a_signal_ends_it_cleanly(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            # At a millionth of its speed the second event is hours away.
            with subprocess.Popen([TOOL, "watch", "--speed", "0.000001", "--recording", MOUSE], stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE) as process:
                self.assertEqual(b"present  #1  1209:0002  Qrx Demo Wheel Mouse\n", process.stdout.readline())
                self.assertEqual(b"report   #1  interface 0: 00 05 fb 00\n", process.stdout.readline())
                process.send_signal(number)
                _, error = process.communicate(timeout=DEADLINE_SECONDS)
                self.assertEqual((0, b""), (process.returncode, error))

    def test_output_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            process = subprocess.run([TOOL, "tree", "--recording", MOUSE], stdout=full, stderr=subprocess.PIPE,
                                     timeout=DEADLINE_SECONDS, check=False)
        self.assertEqual((1, b"qrxhid: the output cannot be written\n"), (process.returncode, process.stderr))


class Demo(ToolTest):
    def test_it_shows_every_step_and_all_checks_hold(self):
        text = self.succeed("demo")
        self.assertEqual(["1. Virtual devices are plugged in: four of our own, three recorded on a Debian kernel",
                          "2. What they say of themselves", "3. Input reports, with the values that changed",
                          "4. Reports to the devices", "5. One device leaves and comes back",
                          "6. All devices leave"], re.findall(r"^\d\. .*$", text, re.M))
        self.assertEqual((5, 3), (text.count("arrived  1209:"), text.count("arrived  0627:")))
        self.assertEqual((5, 3), (text.count("left     1209:"), text.count("left     0627:")))
        self.assertEqual(2, text.count("left     1209:0002"))
        self.assertIn("  interface 0: 00 00 0c 07 00 00 00 00\n      Keyboard: D = 1\n", text)
        self.assertIn("  took output report: 02\n      LED: Num Lock = 0\n      LED: Caps Lock = 1\n", text)
        self.assertIn("  took feature report 4: 04 e8 03\n      Vendor 0xff00: 0x0031 = 1000\n", text)
        self.assertNotIn("FAILED", text)
        self.assertRegex(text, r"\nAll \d\d\d checks hold\.\n\Z")

    def test_it_says_the_same_each_time(self):
        self.assertEqual(self.succeed("demo"), self.succeed("demo"))


if __name__ == "__main__":
    main()
