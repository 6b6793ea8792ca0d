"""The story of one hostile device, through every command that shows a device.

Its first interface has a 64-bit array with a negative minimum, whose report indexes far out of the array. The others
declare as many reports and usages as a descriptor may, each in a descriptor of its own, among faults. Its names clear
the screen and forge lines. No command may crash, show what the device chose as it is, or take more time or memory than
a device may cost.
"""

import json
import resource
import subprocess
import unicodedata

from qrxhid_support import TOOL, ToolTest, main

INTERFACES = 32
# Many times what the largest device takes in an unoptimised build, and far below the minutes and the gigabytes of a
# device that costs without bound.
CPU_SECONDS = 60
MEMORY_BYTES = 1 << 30
NAME = "Mo\x1b[2Jus\x9b31m\u202eabc\ue000"
ARRAY = "06 00 ff 09 01 a1 01 15 ff 25 64 75 40 95 01 19 10 29 12 81 00 c0"


def largest_descriptor(variant):
    """All 255 report numbers, an inverted range and a stray Pop among them, and 16,000 usages of an array."""
    items = ["06 00 ff 09 01 a1 01 15 00 25 01 75 01", f"65 {variant:02x}", "b4 19 09 29 08"]
    items += [f"85 {number:02x} 95 08 19 01 29 08 81 02" for number in range(1, 256)]
    items.append("75 10 95 02 26 80 3e 19 01 2a 80 3e 81 00 c0")
    return " ".join(items)


def is_safe(text):
    return all(c in "\n\t" or unicodedata.category(c) not in ("Cc", "Cf", "Co", "Cn", "Cs", "Zl", "Zp") for c in text)


def hostile_recording():
    lines = [f"#@ vendor-name: {NAME}", f"#@ product-name: {NAME}", f"#@ serial-number: {NAME}"]
    for number in range(INTERFACES):
        descriptor = ARRAY if number == 0 else largest_descriptor(number)
        lines += [f"D: {number}", f"R: {len(descriptor.split())} {descriptor}", f"N: {NAME}", "P: 1", "I: 3 1209 0001"]
    for count in range(4):
        lines += ["D: 0", f"E: {count}.0 8 ff ff ff ff ff ff ff 7f", f"E: {count}.1 8 00 00 00 00 00 00 00 80"]
        lines += ["D: 1", f"E: {count}.2 2 01 ff", f"E: {count}.3 1 ff", f"E: {count}.4 6 ff ff ff ff ff ff"]
    return "\n".join(lines) + "\n"


def limit_resources():
    resource.setrlimit(resource.RLIMIT_CPU, (CPU_SECONDS, CPU_SECONDS))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class HostileDevice(ToolTest):
    def tell(self, *words):
        """The run's output; it must end well within the limits and show nothing of the device as it is."""
        process = subprocess.run([TOOL, *words, "--recording", "-"], input=hostile_recording().encode(),
                                 capture_output=True, check=False, preexec_fn=limit_resources)
        out, err = process.stdout.decode(), process.stderr.decode()
        self.assertEqual(0, process.returncode, f"{words}: {err[-2000:]}")
        self.assertTrue(is_safe(out), words)
        self.assertTrue(is_safe(err), words)
        # A name with a line end would begin a line of its own.
        self.assertFalse([line for line in err.splitlines() if not line.startswith(("QrxHIDManager: ", "qrxhid: "))], err)
        return out

    def test_every_command_that_shows_devices_survives_it(self):
        self.assertIn(r"Mo\x1b[2Jus", self.tell("list"))
        self.assertIn("report 255", self.tell("tree"))
        self.assertIn("HIDReport.reportSize", self.tell("dump"))
        self.tell("list", "--json")

    def test_its_reports_are_decoded_without_harm(self):
        for line in self.tell("watch", "--speed", "0", "--json").splitlines():
            json.loads(line)
        self.tell("watch", "--speed", "0")

    def test_it_takes_no_more_memory_than_a_device_may_cost(self):
        self.tell("tree")
        peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024
        self.assertLess(peak, MEMORY_BYTES)


if __name__ == "__main__":
    main()
