#!/usr/bin/env python3
"""Builds what sysfs, /dev and udev show of USB HID devices, as plain files.

usage: sysfs_tree.py ROOT NODES [--kind panel|desk]
ROOT/sys and ROOT/dev come to hold NODES HID interfaces, two a USB device. Meant to be mounted over /sys and /dev: all
links are relative, as the kernel's are. libudev takes files that are not the kernel's own for sysfs only with
SYSTEMD_DEVICE_VERIFY_SYSFS=0 in its environment.

Kinds of devices:
  panel  an interface of 64-byte vendor reports both ways, one of four media keys
  desk   a boot keyboard, a mouse of three buttons and a wheel
"""
import argparse
import os
import pathlib
import struct

VENDOR_REPORTS = bytes.fromhex(
    "06 00ff 09 01 a1 01"              # vendor page FF00, application collection
    "15 00 26 ff00 75 08 95 40"        # bytes, 64 of them
    "09 01 81 02 09 01 91 02 c0")      # input, output
MEDIA_KEYS = bytes.fromhex(
    "05 0c 09 01 a1 01"                # consumer control
    "15 00 25 01 75 01 95 04"          # four bits
    "09 e9 09 ea 09 e2 09 cd 81 02"    # louder, quieter, mute, play
    "95 04 81 01 c0")                  # padding
KEYBOARD = bytes.fromhex(
    "05 01 09 06 a1 01"                # keyboard
    "05 07 19 e0 29 e7 15 00 25 01 75 01 95 08 81 02"  # modifiers
    "95 01 75 08 81 01"                # reserved
    "95 05 75 01 05 08 19 01 29 05 91 02 95 01 75 03 91 01"  # lights
    "95 06 75 08 15 00 25 65 05 07 19 00 29 65 81 00 c0")    # six keys
MOUSE = bytes.fromhex(
    "05 01 09 02 a1 01 09 01 a1 00"    # mouse, pointer
    "05 09 19 01 29 03 15 00 25 01 95 03 75 01 81 02 95 01 75 05 81 01"  # buttons
    "05 01 09 30 09 31 09 38 15 81 25 7f 75 08 95 03 81 06 c0 c0")       # x, y, wheel

# What each interface has: subclass, protocol, report descriptor, has an interrupt OUT endpoint.
KINDS = {
    "panel": [(0, 0, VENDOR_REPORTS, True), (0, 0, MEDIA_KEYS, False)],
    "desk": [(1, 1, KEYBOARD, False), (1, 2, MOUSE, False)],
}

VENDOR_ID, PRODUCT_ID, RELEASE = 0x1209, 0x0004, 0x0110
MAKER, PRODUCT = "Qrx Works", "Bench Panel"
CONTROLLER = "devices/pci0000:00/0000:00:14.0"
DEVICES_A_BUS = 12
HIDRAW_MAJOR, USB_MAJOR = 240, 189


def write(path, content):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content if isinstance(content, bytes) else content.encode())


def write_all(folder, files):
    for name, content in files.items():
        write(folder / name, content)


def link(path, target):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.symlink_to(os.path.relpath(target, path.parent))


class SysfsTree:
    def __init__(self, root, kind="panel"):
        self.sys = pathlib.Path(root) / "sys"
        self.dev = pathlib.Path(root) / "dev"
        self.interfaces = KINDS[kind]
        self.nodes = 0
        for folder in ("bus/usb/devices", "bus/usb/drivers/usb", "bus/usb/drivers/usbhid", "bus/usb/drivers/hub",
                       "bus/hid/devices", "bus/hid/drivers/hid-generic", "bus/pci/devices", "class/hidraw",
                       "dev/char", CONTROLLER):
            (self.sys / folder).mkdir(parents=True, exist_ok=True)
        self.dev.mkdir(parents=True, exist_ok=True)
        controller = self.sys / CONTROLLER
        write_all(controller, {"uevent": "DRIVER=xhci_hcd\nPCI_CLASS=C0330\nPCI_SLOT_NAME=0000:00:14.0\n",
                               "vendor": "0x1b36\n", "device": "0x000d\n", "class": "0x0c0330\n"})
        link(controller / "subsystem", self.sys / "bus/pci")
        link(self.sys / "bus/pci/devices/0000:00:14.0", controller)

    def add_devices(self, nodes):
        """Devices until there are as many HID interfaces; the last device has one only if the number is odd."""
        index = 0
        while self.nodes < nodes:
            bus, port = 1 + index // DEVICES_A_BUS, 1 + index % DEVICES_A_BUS
            if port == 1:
                self._add_root_hub(bus)
            self._add_device(bus, port, self.interfaces[:nodes - self.nodes])
            index += 1

    def _usb_device(self, path, facts, interfaces):
        """What every usb_device has. `interfaces`: their descriptors, one text of bytes each."""
        bus, address = facts["bus"], facts["address"]
        body = b"".join(interfaces)
        configuration = struct.pack("<BBHBBBBB", 9, 2, 9 + len(body), len(interfaces), 1, 0, 0xA0, 50) + body
        strings = (1, 2, 3)
        device = struct.pack("<BBHBBBBHHHBBBB", 18, 1, 0x0200, facts["class"], 0, facts["protocol"], 64,
                             facts["vendor"], facts["product"], facts["release"], *strings, 1)
        minor = (bus - 1) * 128 + address - 1
        name = f"bus/usb/{bus:03d}/{address:03d}"
        write_all(path, {
            "authorized": "1\n", "avoid_reset_quirk": "0\n", "bConfigurationValue": "1\n",
            "bDeviceClass": f"{facts['class']:02x}\n", "bDeviceProtocol": f"{facts['protocol']:02x}\n",
            "bDeviceSubClass": "00\n", "bMaxPacketSize0": "64\n", "bMaxPower": "100mA\n",
            "bNumConfigurations": "1\n", "bNumInterfaces": f"{len(interfaces):2d}\n",
            "bcdDevice": f"{facts['release']:04x}\n", "bmAttributes": "a0\n", "busnum": f"{bus}\n",
            "configuration": "\n", "descriptors": device + configuration, "dev": f"{USB_MAJOR}:{minor}\n",
            "devnum": f"{address}\n", "devpath": f"{facts['devpath']}\n", "devspec": "(null)\n",
            "idProduct": f"{facts['product']:04x}\n", "idVendor": f"{facts['vendor']:04x}\n", "ltm_capable": "no\n",
            "manufacturer": f"{facts['maker']}\n", "maxchild": f"{facts['children']}\n",
            "product": f"{facts['name']}\n", "quirks": "0x0\n", "removable": "unknown\n", "remove": b"",
            "rx_lanes": "1\n", "serial": f"{facts['serial']}\n", "speed": "480\n", "tx_lanes": "1\n",
            "urbnum": "14\n", "version": " 2.00\n",
            "power/connected_duration": "3600000\n", "power/active_duration": "3600000\n", "power/control": "on\n",
            "power/runtime_status": "active\n", "power/wakeup": "disabled\n", "power/level": "on\n",
            "ep_00/bEndpointAddress": "00\n", "ep_00/wMaxPacketSize": "0040\n", "ep_00/uevent": b"",
            "uevent": f"MAJOR={USB_MAJOR}\nMINOR={minor}\nDEVNAME={name}\nDEVTYPE=usb_device\nDRIVER=usb\n"
                      f"PRODUCT={facts['vendor']:x}/{facts['product']:x}/{facts['release']:x}\n"
                      f"TYPE={facts['class']}/0/{facts['protocol']}\nBUSNUM={bus:03d}\nDEVNUM={address:03d}\n",
        })
        link(path / "subsystem", self.sys / "bus/usb")
        link(path / "driver", self.sys / "bus/usb/drivers/usb")
        link(self.sys / "bus/usb/devices" / path.name, path)
        link(self.sys / f"dev/char/{USB_MAJOR}:{minor}", path)

    def _usb_interface(self, path, descriptor, driver):
        """`descriptor` begins with the interface descriptor."""
        number, _, endpoints, kind, subclass, protocol = descriptor[2:8]
        write_all(path, {
            "authorized": "1\n", "bAlternateSetting": " 0\n", "bInterfaceClass": f"{kind:02x}\n",
            "bInterfaceNumber": f"{number:02x}\n", "bInterfaceProtocol": f"{protocol:02x}\n",
            "bInterfaceSubClass": f"{subclass:02x}\n", "bNumEndpoints": f"{endpoints:02x}\n",
            "supports_autosuspend": "1\n", "modalias": "usb:\n", "power/control": "auto\n",
            "ep_81/bEndpointAddress": "81\n", "ep_81/bInterval": "04\n", "ep_81/direction": "in\n",
            "ep_81/interval": "8ms\n", "ep_81/type": "Interrupt\n", "ep_81/wMaxPacketSize": "0040\n",
            "uevent": f"DEVTYPE=usb_interface\nDRIVER={driver}\nPRODUCT={VENDOR_ID:x}/{PRODUCT_ID:x}/{RELEASE:x}\n"
                      f"TYPE=0/0/0\nINTERFACE={kind}/{subclass}/{protocol}\n",
        })
        link(path / "subsystem", self.sys / "bus/usb")
        link(path / "driver", self.sys / "bus/usb/drivers" / driver)
        link(self.sys / "bus/usb/devices" / path.name, path)

    def _add_root_hub(self, bus):
        path = self.sys / CONTROLLER / f"usb{bus}"
        descriptor = bytes.fromhex("09 04 00 00 01 09 00 00 00 07 05 81 03 04 00 0c")
        self._usb_device(path, {"bus": bus, "address": 1, "class": 9, "protocol": 1, "vendor": 0x1D6B,
                                "product": 2, "release": 0x0601, "devpath": "0", "children": DEVICES_A_BUS,
                                "maker": "Linux xhci-hcd", "name": "xHCI Host Controller",
                                "serial": "0000:00:14.0"}, [descriptor])
        self._usb_interface(path / f"{bus}-0:1.0", descriptor, "hub")

    def _add_device(self, bus, port, interfaces):
        name = f"{bus}-{port}"
        path = self.sys / CONTROLLER / f"usb{bus}" / name
        serial = f"QRX-{bus:02d}{port:02d}"
        descriptors = [self._interface_descriptors(number, *facts) for number, facts in enumerate(interfaces)]
        self._usb_device(path, {"bus": bus, "address": port + 1, "class": 0, "protocol": 0, "vendor": VENDOR_ID,
                                "product": PRODUCT_ID, "release": RELEASE, "devpath": str(port), "children": 0,
                                "maker": MAKER, "name": PRODUCT, "serial": serial}, descriptors)
        for number, (_, _, report_descriptor, _) in enumerate(interfaces):
            interface = path / f"{name}:1.{number}"
            self._usb_interface(interface, descriptors[number], "usbhid")
            phys = f"usb-0000:00:14.0-{port}/input{number}"
            self._add_hid_device(interface, report_descriptor, phys, serial)

    @staticmethod
    def _interface_descriptors(number, subclass, protocol, report_descriptor, has_output):
        interface = bytes([9, 4, number, 0, 2 if has_output else 1, 3, subclass, protocol, 0])
        hid = struct.pack("<BBHBBBH", 9, 0x21, 0x0111, 0, 1, 0x22, len(report_descriptor))
        output = bytes([7, 5, 0x02, 3, 64, 0, 4]) if has_output else b""
        return interface + hid + bytes([7, 5, 0x81, 3, 64, 0, 4]) + output

    def _add_hid_device(self, interface, report_descriptor, phys, serial):
        number = self.nodes
        self.nodes += 1
        path = interface / f"0003:{VENDOR_ID:04X}:{PRODUCT_ID:04X}.{number + 1:04X}"
        write_all(path, {
            "country": "00\n", "modalias": f"hid:b0003g0001v{VENDOR_ID:08X}p{PRODUCT_ID:08X}\n",
            "report_descriptor": report_descriptor, "power/control": "auto\n",
            "uevent": f"DRIVER=hid-generic\nHID_ID=0003:{VENDOR_ID:08X}:{PRODUCT_ID:08X}\nHID_NAME={MAKER} {PRODUCT}\n"
                      f"HID_PHYS={phys}\nHID_UNIQ={serial}\n"
                      f"MODALIAS=hid:b0003g0001v{VENDOR_ID:08X}p{PRODUCT_ID:08X}\n",
        })
        link(path / "subsystem", self.sys / "bus/hid")
        link(path / "driver", self.sys / "bus/hid/drivers/hid-generic")
        link(self.sys / "bus/hid/devices" / path.name, path)
        node = path / "hidraw" / f"hidraw{number}"
        write_all(node, {"dev": f"{HIDRAW_MAJOR}:{number}\n", "power/control": "auto\n",
                         "uevent": f"MAJOR={HIDRAW_MAJOR}\nMINOR={number}\nDEVNAME=hidraw{number}\n"})
        link(node / "device", path)
        link(node / "subsystem", self.sys / "class/hidraw")
        link(self.sys / "class/hidraw" / node.name, node)
        link(self.sys / f"dev/char/{HIDRAW_MAJOR}:{number}", node)
        # Nobody opens it, so it need not be a device.
        write(self.dev / node.name, b"")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("root")
    parser.add_argument("nodes", type=int)
    parser.add_argument("--kind", choices=sorted(KINDS), default="panel")
    arguments = parser.parse_args()
    SysfsTree(arguments.root, arguments.kind).add_devices(arguments.nodes)


if __name__ == "__main__":
    main()
