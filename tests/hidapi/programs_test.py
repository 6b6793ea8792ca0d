"""Real programs, as Debian packages them, on devices that are text files. Nothing of them is changed.

What a program prints is compared with programs/NAME.txt, its lines that matter alone where it prints others too.
"""

import os
import shutil
import subprocess
import sys
import unittest

TOOL = os.environ["QRXHID"]
FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "programs")
# Debian's interpreter has Debian's modules.
PYTHON = "/usr/bin/python3"
DEADLINE_SECONDS = 120

ASKED = """
import hid
for entry in hid.enumerate(0x16C0, 0x05DF):
    print(entry["manufacturer_string"], entry["product_string"], entry["interface_number"])
device = hid.device()
device.open(0x16C0, 0x05DF)
print(bytes(device.get_feature_report(1, 8)).hex(" "))
print(device.write([0, 0xFF, 1, 0, 0, 0, 0, 0, 0]), bytes(device.read(8, 5000)).hex(" "))
print(device.read(8, 10))
device.close()
"""


def path(name):
    return os.path.join(FOLDER, name)


def has(*words):
    """Whether the program is there, or the module of Debian's Python."""
    if words[0] != "python":
        return shutil.which(words[0]) is not None
    return os.path.exists(PYTHON) and subprocess.run([PYTHON, "-c", f"import {words[1]}"], stderr=subprocess.DEVNULL,
                                                     check=False).returncode == 0


def needs(package, *words):
    if has(*words):
        return lambda test: test
    if os.environ.get("CI"):
        def fail(self):
            self.fail(f"{package} is not installed: run scripts/setup")
        return lambda test: fail
    return unittest.skip(f"SKIPPED: {package} is not installed")


class Programs(unittest.TestCase):
    maxDiff = None

    def run_on(self, device, *program):
        """All that the program prints; the exit status is the test's business."""
        faults = ["--faults", path(device + ".faults")] if os.path.exists(path(device + ".faults")) else []
        return subprocess.run([TOOL, "run", "--recording", path(device + ".hid"), *faults, "--only-virtual", "--",
                               *program], capture_output=True, text=True, timeout=DEADLINE_SECONDS, check=False)

    @needs("usbrelay", "usbrelay")
    def test_usbrelay_lists_and_switches(self):
        result = self.run_on("relay", "usbrelay")
        self.assertEqual((0, ["QRX01_1=0", "QRX01_2=1"]), (result.returncode, result.stdout.split()), result.stderr)
        result = self.run_on("relay", "usbrelay", "QRX01_1=1")
        self.assertEqual(0, result.returncode, result.stderr)

    @needs("python3-hid", "python", "hid")
    def test_a_python_program_asks_and_switches(self):
        result = self.run_on("relay", PYTHON, "-c", ASKED)
        self.assertEqual("www.dcttech.com USBRelay2 0\n51 52 58 30 31 00 00 02\n9 ff 01\n[]\n", result.stdout,
                         result.stderr)

    @needs("python3-elgato-streamdeck", "python", "StreamDeck.DeviceManager")
    def test_a_decks_library_sees_its_keys(self):
        result = self.run_on("deck", PYTHON, path("deck.py"))
        self.assertEqual((0, "Stream Deck Original (V2)\nkey 0 down\nkey 0 up\nkey 14 down\n"),
                         (result.returncode, result.stdout), result.stderr)

    @needs("openocd", "openocd")
    def test_openocd_talks_to_the_probe_and_misses_the_target(self):
        result = self.run_on("probe", "openocd", "-c", "adapter driver cmsis-dap", "-c", "cmsis_dap_backend hid",
                             "-c", "cmsis_dap_vid_pid 0x1209 0x0010", "-c", "transport select swd",
                             "-c", "adapter speed 1000", "-c", "swd newdap chip cpu -expected-id 0x2ba01477",
                             "-c", "dap create chip.dap -chain-position chip.cpu", "-c", "init", "-c", "exit")
        told = [line for line in result.stderr.splitlines() if "CMSIS-DAP" in line or "DP" in line]
        self.assertIn("Info : CMSIS-DAP: SWD supported", told, result.stderr)
        self.assertIn("Info : CMSIS-DAP: FW Version = 2.1.0", told, result.stderr)
        self.assertTrue(any("cannot read IDR" in line for line in told), result.stderr)


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=1))
