"""What the tool says of access to devices: the rule that it writes, and what it finds out about a machine.

The machines are folders with the files of sysfs, /dev and udev that matter. The doctor is asked as the user 4711, who
is in no group and owns nothing, so the answer is the same for whoever runs the test.
"""

import json
import os
import pwd
import struct
import tempfile

from qrxhid_support import ToolTest, main, run

USER = "4711"
RULE = 'KERNEL=="hidraw*", ATTRS{idVendor}=="04d8", ATTRS{idProduct}=="003f", TAG+="uaccess"\n'
ADVICE = [
    "qrxhid rule 04d8:003f | sudo tee /etc/udev/rules.d/70-qrxhid-04d8-003f.rules",
    "sudo udevadm control --reload",
    "sudo udevadm trigger --subsystem-match=hidraw",
]


def lines_of(rule_file):
    return "".join(line for line in rule_file.splitlines(True) if not line.startswith("#"))


class Rule(ToolTest):
    def test_a_device_is_one_line_in_lower_case(self):
        for form in ("04d8:003f", "04D8:003F", "0x4d8/3f"):
            self.assertEqual(RULE, lines_of(self.succeed("rule", form)), form)

    def test_an_interface_is_matched_on_a_line_of_its_own(self):
        self.assertEqual(
            'KERNEL=="hidraw*", ATTRS{idVendor}=="04d8", ATTRS{idProduct}=="003f", '
            'ENV{.qrxhid_device}="04d8:003f"\n'
            'KERNEL=="hidraw*", ENV{.qrxhid_device}=="04d8:003f", ATTRS{bInterfaceNumber}=="0b", TAG+="uaccess"\n',
            lines_of(self.succeed("rule", "04d8:003f", "--interface", "11")))

    def test_the_file_says_where_it_belongs_and_how_it_takes_effect(self):
        text = self.succeed("rule", "04d8:003f")
        for word in ("/etc/udev/rules.d/70-qrxhid-04d8-003f.rules", *ADVICE[1:]):
            self.assertIn(word, text)
        self.assertIn("/70-qrxhid-04d8-003f-0.rules", self.succeed("rule", "04d8:003f", "--interface", "0"))

    def test_more_than_one_kind_of_device_is_refused(self):
        for form in (":", "0:0", "04d8:", "04d8:0", ":003f", "*:*", "04d8:*"):
            self.assertIn("would open more than one kind of device", self.refuse(64, "rule", form))

    def test_an_id_of_0_is_named_by_four_digits(self):
        for form, vendor, product in (("04d8:0000", "04d8", "0000"), ("0000:003f", "0000", "003f"),
                                      ("0000:0000", "0000", "0000"), ("0x0000/3f", "0000", "003f")):
            self.assertEqual(RULE.replace("04d8", vendor).replace("003f", product),
                             lines_of(self.succeed("rule", form)), form)

    def test_what_is_no_device_or_no_interface_is_refused(self):
        self.refuse(64, "rule")
        self.refuse(64, "rule", "04d8:003f", "04d8:0040")
        self.assertIn('"04d8g:1": "04d8g" is not a hexadecimal number', self.refuse(64, "rule", "04d8g:1"))
        for wrong in ("256", "-1", "x"):
            self.assertIn("not a number from 0 to 255", self.refuse(64, "rule", "1:2", f"--interface={wrong}"))


class Machine:
    """A folder that looks like a machine; udevd runs on it."""

    def __init__(self, root):
        self.root = root
        self.write("run/udev/control", "")
        os.makedirs(self.path("sys/bus/usb/devices"))

    def path(self, name):
        return os.path.join(self.root, name)

    def write(self, name, text):
        path = self.path(name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())

    def plug(self, place="1-2", vendor="04d8", product="003f"):
        device = f"sys/bus/usb/devices/{place}/"
        for name, text in {"idVendor": vendor, "idProduct": product, "bcdDevice": "0100", "bDeviceClass": "00",
                           "bDeviceSubClass": "00", "bDeviceProtocol": "00", "bMaxPacketSize0": "8",
                           "bNumConfigurations": "1", "product": "Button Box", "devnum": "5",
                           "speed": "12"}.items():
            self.write(device + name, text + "\n")

    def add_interface(self, number=0, place="1-2", driver="usbhid", hid=True, hid_driver="hid-generic", hidraw=None):
        """`hidraw` is the number of its report node, None for none."""
        name = f"{place}:1.{number}"
        folder = f"sys/bus/usb/devices/{place}/{name}"
        for file, text in {"bInterfaceNumber": f"{number:02x}", "bInterfaceClass": "03", "bInterfaceSubClass": "00",
                           "bInterfaceProtocol": "00", "bAlternateSetting": " 0", "bNumEndpoints": "01"}.items():
            self.write(f"{folder}/{file}", text + "\n")
        os.symlink(f"{place}/{name}", self.path(f"sys/bus/usb/devices/{name}"))
        if driver:
            os.symlink(f"../../../drivers/{driver}", self.path(folder + "/driver"))
        if hid:
            device = f"{folder}/0003:04D8:003F.{number:04X}"
            self.write(device + "/report_descriptor", bytes.fromhex("0600ff0901a1010902150026ff007508950181 02c0"))
            if hid_driver:
                os.symlink(f"../../../../drivers/{hid_driver}", self.path(device + "/driver"))
            if hidraw is not None:
                self.write(f"{device}/hidraw/hidraw{hidraw}/dev", f"245:{hidraw}\n")
                os.makedirs(self.path("sys/class/hidraw"), exist_ok=True)
                os.symlink(f"../../../{device}/hidraw/hidraw{hidraw}", self.path(f"sys/class/hidraw/hidraw{hidraw}"))

    def keep_out(self, name, interface_class=3):
        """A device ("1-2"), which then shows no interfaces and announces one of that class, or an interface of it."""
        self.write(f"sys/bus/usb/devices/{name}/authorized", "0\n")
        if ":" not in name:
            device = bytes.fromhex("12010002000000 08 d804 3f00 0001 01 02 00 01")
            interface = bytes([9, 4, 0, 0, 1, interface_class, 0, 0, 0])
            configuration = bytes([9, 2, 9 + len(interface), 0, 1, 1, 0, 0x80, 50])
            self.write(f"sys/bus/usb/devices/{name}/descriptors", device + configuration + interface)

    def add_node(self, hidraw=0, mode=0o600):
        self.write(f"dev/hidraw{hidraw}", "")
        os.chmod(self.path(f"dev/hidraw{hidraw}"), mode)

    def add_button_box(self, mode=0o600):
        self.plug()
        self.add_interface(hidraw=0)
        self.add_node(mode=mode)


class DoctorTest(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.machine = Machine(folder.name)

    def ask(self, status, *devices):
        """The machine's findings; the tool must end with this status."""
        outcome = run("doctor", "--sysroot", self.machine.root, "--as", USER, "--json", *devices)
        self.assertEqual(status, outcome.status, str(outcome))
        return json.loads(outcome.out)

    def ask_one(self, status, state):
        """The only interface of the only device."""
        devices = self.ask(status)["devices"]
        self.assertEqual(1, len(devices), devices)
        self.assertEqual(1, len(devices[0]["interfaces"]), devices)
        interface = devices[0]["interfaces"][0]
        self.assertEqual(state, interface["state"], interface)
        self.assertEqual(state == "usable", devices[0]["isUsable"])
        return interface


class Doctor(DoctorTest):
    def test_a_node_that_anybody_may_read_and_write_is_usable(self):
        self.machine.add_button_box(mode=0o666)
        outcome = run("doctor", "--sysroot", self.machine.root, "--as", USER, "04d8:003f")
        self.assertEqual((0, "04d8:003f  Button Box  at 1-2: usable\n  interface 0: usable, /dev/hidraw0\n", ""),
                         (outcome.status, outcome.out, outcome.err))

    def test_a_denied_node_is_told_with_mode_owner_reason_and_next_step(self):
        self.machine.add_button_box()
        outcome = run("doctor", "--sysroot", self.machine.root, "--as", USER)
        self.assertEqual((4, ""), (outcome.status, outcome.err))
        lines = outcome.out.splitlines()
        self.assertEqual(["04d8:003f  Button Box  at 1-2: not usable", "  interface 0: denied, /dev/hidraw0"], lines[:2])
        self.assertRegex(lines[2], r"\A    the node may not be opened: mode 0600, owner .+, group .+; asked for 4711\Z")
        self.assertEqual(["    no udev rule names 04d8:003f"] + ["    next: " + step for step in ADVICE], lines[3:])

    def test_for_the_owner_of_the_node_the_owners_bits_count(self):
        self.machine.add_button_box(mode=0o600)
        owner = str(os.stat(self.machine.path("dev/hidraw0")).st_uid)
        self.assertIn(": usable\n", self.succeed("doctor", "--sysroot", self.machine.root, "--as", owner))

    def list_access(self, *entries):
        """Gives the node an access list: tag, permissions, ID."""
        data = struct.pack("<I", 2) + b"".join(struct.pack("<HHI", *entry) for entry in entries)
        try:
            os.setxattr(self.machine.path("dev/hidraw0"), "system.posix_acl_access", data)
        except OSError as error:
            self.skipTest(f"this file system has no access lists: {error}")

    def test_an_access_list_counts_for_the_user_whom_it_names(self):
        self.machine.add_button_box(mode=0o600)
        owner, user, group, others, mask, no_id = 1, 2, 4, 0x20, 0x10, 0xFFFFFFFF
        self.ask_one(4, "denied")
        self.list_access((owner, 6, no_id), (user, 6, int(USER)), (group, 0, no_id), (mask, 6, no_id),
                         (others, 0, no_id))
        self.ask_one(0, "usable")
        self.list_access((owner, 6, no_id), (user, 6, int(USER)), (group, 0, no_id), (mask, 4, no_id),
                         (others, 0, no_id))
        self.ask_one(4, "read-only")
        self.list_access((owner, 6, no_id), (user, 0, int(USER)), (group, 6, no_id), (mask, 6, no_id),
                         (others, 6, no_id))
        self.ask_one(4, "denied")

    def test_groups_count_for_a_user_who_has_a_name(self):
        user = pwd.getpwnam("nobody")
        self.machine.add_button_box(mode=0o660)
        try:
            os.chown(self.machine.path("dev/hidraw0"), 0, user.pw_gid)
        except PermissionError:
            self.skipTest("files can be given to a group by root only")
        words = ("doctor", "--sysroot", self.machine.root, "--as")
        self.assertIn(": usable\n", self.succeed(*words, "nobody"))
        self.assertIn(": usable\n", self.succeed(*words, str(user.pw_uid)))
        os.chmod(self.machine.path("dev/hidraw0"), 0o606)
        outcome = run(*words, "nobody")
        self.assertEqual(4, outcome.status)
        self.assertIn(f"; asked for nobody ({user.pw_uid})\n", outcome.out)

    def test_a_user_whom_nobody_knows_is_refused(self):
        for word in ("nosuchuser", "", "-1", "4711x", "99999999999"):
            self.assertIn("--as", self.refuse(64, "doctor", "--as", word))

    def test_the_document_says_who_asked_and_what_it_comes_from(self):
        self.machine.add_button_box()
        document = self.ask(4)
        self.assertEqual("4711", document["user"])
        self.assertEqual(self.succeed("--version").strip(), document["program"])
        self.assertRegex(document["kernel"], r"^\w+ \S+ \S+$")

    def test_one_interface_is_judged_alone(self):
        self.machine.plug()
        self.machine.add_interface(hidraw=0)
        self.machine.add_node(mode=0o666)
        self.assertEqual("usable", self.ask(0, "--interface", "0")["devices"][0]["interfaces"][0]["state"])
        outcome = run("doctor", "--sysroot", self.machine.root, "--interface", "7")
        self.assertEqual((3, "qrxhid: no USB HID device is there with interface 7\n"), (outcome.status, outcome.err))

    def test_without_the_option_the_kernel_decides_for_the_user_who_asks(self):
        self.machine.add_button_box(mode=0o600)
        self.succeed("doctor", "--sysroot", self.machine.root)
        os.chmod(self.machine.path("dev/hidraw0"), 0)
        expected = 0 if os.access(self.machine.path("dev/hidraw0"), os.R_OK | os.W_OK) else 4
        self.assertEqual(expected, run("doctor", "--sysroot", self.machine.root).status)

    def test_a_node_that_can_only_be_read_is_told_apart(self):
        self.machine.add_button_box(mode=0o604)
        self.assertIn("nothing can be sent", self.ask_one(4, "read-only")["reasons"][0])

    def test_a_node_that_is_not_in_dev_is_no_matter_of_permission(self):
        self.machine.plug()
        self.machine.add_interface(hidraw=0)
        interface = self.ask_one(1, "node-missing")
        self.assertEqual("/dev/hidraw0", interface["node"])
        self.assertEqual(["unplug the device and plug it in again: the kernel makes the node anew",
                          "or where /dev is not the kernel's own: sudo mknod -m 600 /dev/hidraw0 c 245 0"],
                         interface["nextSteps"])

    def test_a_driver_that_makes_no_report_node_is_named(self):
        self.machine.plug()
        self.machine.add_interface(hid_driver="hid-odd")
        interface = self.ask_one(1, "no-node")
        self.assertEqual("", interface["node"])
        self.assertEqual(["the driver hid-odd has the HID device and makes no report node of it"],
                         interface["reasons"])
        self.assertEqual("echo 0003:04D8:003F.0000 | sudo tee /sys/bus/hid/drivers/hid-odd/unbind",
                         interface["nextSteps"][0])

    def test_a_hid_device_without_driver_is_no_matter_of_the_number_of_nodes(self):
        self.machine.plug()
        self.machine.add_interface(hid_driver=None)
        for number in range(64):
            self.machine.write(f"sys/class/hidraw/hidraw{number}/dev", "")
        self.assertTrue(self.ask_one(1, "no-node")["reasons"][0].startswith(
            "no driver has the HID device 0003:04D8:003F.0000: "))

    def test_when_all_report_nodes_are_taken_that_is_the_reason(self):
        self.machine.plug()
        self.machine.add_interface()
        for number in range(63):
            self.machine.write(f"sys/class/hidraw/hidraw{number}/dev", "")
        self.assertIn("makes no report node", self.ask_one(1, "no-node")["reasons"][0])
        self.machine.write("sys/class/hidraw/hidraw63/dev", "")
        self.assertEqual(["all 64 report nodes that the kernel has are taken"], self.ask_one(1, "no-node")["reasons"])

    def test_a_refused_descriptor_is_told(self):
        self.machine.plug()
        self.machine.add_interface(hid=False)
        self.assertIn("refused", self.ask_one(1, "no-hid-device")["reasons"][0])

    def test_an_interface_without_driver_is_told_with_the_way_to_bind_it(self):
        self.machine.plug()
        self.machine.add_interface(driver=None, hid=False)
        self.assertEqual(["sudo modprobe usbhid"], self.ask_one(1, "no-driver")["nextSteps"])
        os.makedirs(self.machine.path("sys/bus/usb/drivers/usbhid"))
        self.assertIn("echo 1-2:1.0 | sudo tee /sys/bus/usb/drivers/usbhid/bind",
                      self.ask_one(1, "no-driver")["nextSteps"])

    def test_a_device_that_is_kept_out_is_told_with_the_way_to_let_it_in(self):
        self.machine.plug()
        self.machine.keep_out("1-2")
        outcome = run("doctor", "--sysroot", self.machine.root, "--as", USER, "04d8:003f")
        self.assertEqual((1, "04d8:003f  Button Box  at 1-2: not usable\n"
                             "  the kernel keeps the device out (its attribute authorized is 0): the administrator wants "
                             "it so, or a guard such as USBGuard\n"
                             "  next: echo 1 | sudo tee /sys/bus/usb/devices/1-2/authorized\n", ""),
                         (outcome.status, outcome.out, outcome.err))
        device = self.ask(1)["devices"][0]
        self.assertEqual(["echo 1 | sudo tee /sys/bus/usb/devices/1-2/authorized"], device["nextSteps"])
        self.assertEqual([], device["interfaces"])
        self.assertEqual(3, run("doctor", "--sysroot", self.machine.root, "04d8:0040").status)

    def test_a_device_that_is_kept_out_is_told_of_only_if_it_announces_hid(self):
        self.machine.plug()
        self.machine.keep_out("1-2", interface_class=8)
        self.assertEqual([], self.ask(3)["devices"])
        self.machine.write("sys/bus/usb/devices/1-2/descriptors", b"")
        self.assertEqual([], self.ask(3)["devices"])

    def test_an_interface_that_is_kept_out_is_told_with_the_way_to_let_it_in(self):
        self.machine.plug()
        self.machine.add_interface(driver=None, hid=False)
        self.machine.keep_out("1-2:1.0")
        interface = self.ask_one(1, "no-driver")
        self.assertIn("keeps the interface out", interface["reasons"][0])
        self.assertEqual(["echo 1 | sudo tee /sys/bus/usb/devices/1-2:1.0/authorized",
                          "echo 1-2:1.0 | sudo tee /sys/bus/usb/drivers_probe"], interface["nextSteps"])

    def test_another_driver_is_named(self):
        self.machine.plug()
        self.machine.add_interface(driver="wacom", hid=False)
        interface = self.ask_one(1, "other-driver")
        self.assertEqual(["the driver wacom has the interface, not usbhid"], interface["reasons"])
        self.assertEqual("echo 1-2:1.0 | sudo tee /sys/bus/usb/drivers/wacom/unbind", interface["nextSteps"][0])

    def test_a_program_that_has_taken_the_interface_is_looked_for_by_the_devices_file(self):
        self.machine.plug()
        self.machine.write("sys/bus/usb/devices/1-2/busnum", "1\n")
        self.machine.add_interface(driver="usbfs", hid=False)
        interface = self.ask_one(1, "other-driver")
        self.assertIn("a program has taken the interface", interface["reasons"][0])
        self.assertEqual(["end that program; this names it: sudo fuser -v /dev/bus/usb/001/005",
                          "echo 1-2:1.0 | sudo tee /sys/bus/usb/drivers/usbhid/bind"], interface["nextSteps"])

    def test_a_device_is_usable_in_part_when_one_of_its_interfaces_is(self):
        self.machine.add_button_box(mode=0o666)
        self.machine.add_interface(number=1, hidraw=1)
        self.machine.add_node(hidraw=1)
        outcome = run("doctor", "--sysroot", self.machine.root, "--as", USER)
        self.assertEqual(4, outcome.status, str(outcome))
        self.assertTrue(outcome.out.startswith("04d8:003f  Button Box  at 1-2: usable in part\n"), outcome.out)

    def test_trouble_of_another_kind_outweighs_permission(self):
        self.machine.add_button_box()
        self.machine.plug(place="1-3", product="0040")
        self.machine.add_interface(place="1-3", driver=None, hid=False)
        self.assertEqual(2, len(self.ask(1)["devices"]))
        self.assertEqual(1, len(self.ask(4, "04d8:003f")["devices"]))
        self.assertEqual(1, len(self.ask(1, "04d8:0040")["devices"]))

    def test_a_device_that_is_not_there_is_told(self):
        self.machine.add_button_box(mode=0o666)
        outcome = run("doctor", "--sysroot", self.machine.root, "--as", USER, "04d8:003f", "dead:beef")
        self.assertEqual((3, "qrxhid: no USB HID device is dead:beef\n"), (outcome.status, outcome.err))
        self.assertIn("04d8:003f  Button Box  at 1-2: usable\n", outcome.out)

    def test_a_machine_without_devices_has_none(self):
        document = self.ask(3)
        self.assertEqual((1, [], []), (document["version"], document["remarks"], document["devices"]))

    def test_a_device_whose_id_is_0_is_named_and_never_by_a_pattern(self):
        for vendor, product in (("04d8", "0000"), ("0000", "003f"), ("0000", "0000")):
            self.machine.plug(vendor=vendor, product=product)
            if not os.path.exists(self.machine.path("dev/hidraw0")):
                self.machine.add_interface(hidraw=0)
                self.machine.add_node()
            outcome = run("doctor", "--sysroot", self.machine.root, "--as", USER)
            self.assertEqual(4, outcome.status, str(outcome))
            ids = f"{vendor}:{product}"
            lines = outcome.out.splitlines()
            self.assertEqual(f"{ids}  Button Box  at 1-2: not usable", lines[0])
            self.assertEqual(f"    no udev rule names {ids}", lines[3])
            self.assertEqual(f"    next: qrxhid rule {ids} | sudo tee "
                             f"/etc/udev/rules.d/70-qrxhid-{vendor}-{product}.rules", lines[4])
            self.assertNotIn("*", outcome.out)
            self.machine.write("etc/udev/rules.d/70-box.rules", self.succeed("rule", ids))
            self.assertRegex(self.ask_one(4, "denied")["reasons"][1], r"70-box\.rules:\d+ is right")
            os.remove(self.machine.path("etc/udev/rules.d/70-box.rules"))

    def test_a_pipe_in_place_of_a_file_keeps_nobody_waiting(self):
        self.machine.add_button_box()
        files = ["sys/bus/usb/devices/1-2/product", "sys/class/hidraw/hidraw0/dev", "run/udev/data/c245:0",
                 "etc/udev/rules.d/70-box.rules"]
        for file in files:
            path = self.machine.path(file)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            if os.path.exists(path):
                os.remove(path)
            os.mkfifo(path)
            self.ask_one(4, "denied")
            # And if somebody holds it open for writing, and writes nothing.
            writer = os.open(path, os.O_RDWR | os.O_NONBLOCK)
            self.ask_one(4, "denied")
            os.close(writer)

    def test_a_name_cannot_steer_the_terminal(self):
        self.machine.add_button_box(mode=0o666)
        self.machine.write("sys/bus/usb/devices/1-2/product", "\x1b[2JBox\n")
        self.assertNotIn("\x1b", self.succeed("doctor", "--sysroot", self.machine.root, "--as", USER))


class Rules(DoctorTest):
    def setUp(self):
        super().setUp()
        self.machine.add_button_box()

    def reasons(self):
        """What is said of rules: all but the first reason, which is the node's mode."""
        return self.ask_one(4, "denied")["reasons"][1:]

    def check(self, rule, fault, name="70-box.rules"):
        self.machine.write(f"etc/udev/rules.d/{name}", rule)
        self.assertEqual(1, len(self.reasons()), self.reasons())
        self.assertTrue(self.reasons()[0].startswith(f"the rule /etc/udev/rules.d/{name}:1 {fault}"), self.reasons())

    def test_the_rule_that_the_tool_writes_is_found_to_be_right(self):
        self.check(RULE, "is right, and udevd has not applied it")
        self.assertEqual(ADVICE[1:], self.ask_one(4, "denied")["nextSteps"])

    def test_what_udevd_has_made_of_a_right_rule_is_told(self):
        self.machine.write("run/udev/data/c245:0", "I:1\nE:X=uaccess\nG:seat\nV:1\n")
        self.check(RULE, "is right, and udevd has not applied it to this node yet")
        self.assertEqual(ADVICE[1:], self.ask_one(4, "denied")["nextSteps"])
        self.machine.write("run/udev/data/c245:0", "I:1\nG:seat\nG:uaccess\nV:1\n")
        self.check(RULE, "is right, and udevd has tagged the node: it is for who sits at the machine, and you do not")
        self.assertTrue(self.ask_one(4, "denied")["nextSteps"][0].startswith("log in at the machine itself"))

    def test_a_tag_from_73_on_is_too_late(self):
        for name in ("73-box.rules", "99-box.rules", "box.rules"):
            self.check(RULE, "comes too late", name)
            self.assertEqual(ADVICE, self.ask_one(4, "denied")["nextSteps"])
            os.remove(self.machine.path(f"etc/udev/rules.d/{name}"))
        self.check(RULE, "is right", "72-box.rules")

    def test_a_mode_is_never_too_late(self):
        self.check(RULE.replace('TAG+="uaccess"', 'MODE="0660", GROUP="plugdev"'), "is right", "99-box.rules")

    def test_the_usual_mistakes_are_told(self):
        self.check(RULE.replace("003f", "003F"), "writes the IDs in capitals")
        self.check(RULE.replace("ATTRS", "ATTR"), "asks the node itself for the IDs")
        self.check(RULE.replace('KERNEL=="hidraw*"', 'SUBSYSTEM=="usb"'), "is for the USB device")

    def test_rules_of_all_folders_are_read_and_the_first_file_of_a_name_counts(self):
        for folder in ("run/udev/rules.d", "usr/lib/udev/rules.d", "lib/udev/rules.d"):
            self.machine.write(f"{folder}/71-all.rules", RULE)
            self.machine.write(f"{folder}/72-{folder[:3]}.rules", RULE)
        self.assertEqual(["/run/udev/rules.d/71-all.rules:1", "/lib/udev/rules.d/72-lib.rules:1",
                          "/run/udev/rules.d/72-run.rules:1", "/usr/lib/udev/rules.d/72-usr.rules:1"],
                         [reason.split()[2] for reason in self.reasons()])

    def test_other_devices_comments_and_rules_that_give_nothing_are_passed_over(self):
        self.machine.write("etc/udev/rules.d/70-box.rules",
                           RULE.replace("003f", "0040") + "# " + RULE + RULE.replace("TAG", "ENV{X}") +
                           RULE.replace('"003f"', '"003f1"') + RULE.replace('=="003f"', '!="003f"'))
        self.machine.write("etc/udev/rules.d/70-box.rules.save", RULE)
        self.assertEqual(["no udev rule names 04d8:003f"], self.reasons())

    def test_a_rule_may_go_on_in_the_next_line(self):
        self.machine.write("etc/udev/rules.d/70-box.rules", "# Box\n\n" + RULE.replace(", TAG", ", \\\n  # tag\n TAG"))
        self.assertEqual(["/etc/udev/rules.d/70-box.rules:3"], [reason.split()[2] for reason in self.reasons()])

    def test_a_rule_for_another_interface_does_not_count(self):
        self.machine.write("etc/udev/rules.d/70-box.rules", self.succeed("rule", "04d8:003f", "--interface", "1"))
        self.assertEqual(["no udev rule names 04d8:003f"], self.reasons())
        self.machine.write("etc/udev/rules.d/70-box.rules", self.succeed("rule", "04d8:003f", "--interface", "0"))
        self.assertRegex(self.reasons()[0], r"\Athe rule /etc/udev/rules\.d/70-box\.rules:\d+ is right")

    def test_long_values_and_lines_are_read(self):
        long_value = f'ENV{{X}}=="{"x" * 50000}", '
        self.check(long_value * 10 + RULE, "is right")

    def test_a_quote_in_a_value_does_not_end_it(self):
        self.check('ENV{X}=="\\", ATTRS{idVendor}==\\"", ' + RULE, "is right")

    def test_a_file_without_sense_is_read_in_no_time_and_found_to_hold_nothing(self):
        for text in (b"A{" * 400000, b'A{}="' * 200000, b"\\\n" * 400000, b"A=" * 400000, b"\0" * 800000,
                     b"\xff\x00\n" * 200000, b'"' * 800000, b"A" * 800000):
            self.machine.write("etc/udev/rules.d/70-box.rules", text)
            self.assertEqual(["no udev rule names 04d8:003f"], self.reasons(), text[:8])
        path = self.machine.path("etc/udev/rules.d/70-box.rules")
        for target in ("/dev/zero", path, "/nowhere", self.machine.root):
            os.remove(path)
            os.symlink(target, path)
            self.assertEqual(["no udev rule names 04d8:003f"], self.reasons(), target)

    def test_without_udevd_no_rule_helps(self):
        self.machine.write("etc/udev/rules.d/70-box.rules", RULE)
        os.remove(self.machine.path("run/udev/control"))
        self.assertEqual(["udevd does not run here (there is no /run/udev/control): no rule is applied"],
                         self.reasons())
        self.assertEqual(["udevd does not run here: devices belong to root, and arrivals are noticed by other means"],
                         self.ask(4)["remarks"])


class Sandboxes(DoctorTest):
    def test_each_mark_of_an_enclosure_is_known(self):
        for file, name in ((".flatpak-info", "a Flatpak sandbox"), ("run/.containerenv", "a Podman container"),
                           (".dockerenv", "a Docker container"), ("run/systemd/container", "a container")):
            self.machine.write(file, "")
            self.assertEqual([f"this is {name}: it may hide devices, and refuse to open nodes whose mode allows it"],
                             self.ask(3)["remarks"])
            os.remove(self.machine.path(file))

    def test_where_usb_is_hidden_that_is_the_reason_for_no_device(self):
        os.rmdir(self.machine.path("sys/bus/usb/devices"))
        os.rmdir(self.machine.path("sys/bus/usb"))
        self.assertEqual(["the kernel's list of USB devices (/sys/bus/usb) is not to be seen here"],
                         self.ask(3)["remarks"])

    def test_a_node_that_the_sandbox_hides_comes_from_outside(self):
        self.machine.plug()
        self.machine.add_interface(hidraw=0)
        self.machine.write(".flatpak-info", "")
        interface = self.ask_one(1, "node-missing")
        self.assertEqual(["the kernel has this report node, and it is not in /dev of a Flatpak sandbox"],
                         interface["reasons"])
        self.assertEqual(["give the node to it from outside: /dev/hidraw0"], interface["nextSteps"])


if __name__ == "__main__":
    main()
