"""Report descriptors as the tool shows them: bytes, C source, items in words, bits of reports."""

import json
import os
import subprocess
import tempfile

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording

MOUSE = recording("wheel-mouse")
THERMOMETER = recording("thermometer")


def recorded_descriptor(name, interface=0):
    with open(name, encoding="utf-8") as file:
        lines = [line for line in file if line.startswith("R: ")]
    return bytes.fromhex("".join(lines[interface].split()[2:]))


class Descriptors(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def write(self, content):
        path = os.path.join(self.folder, "report.bin")
        with open(path, "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        return path

    def hex_of(self, *words):
        lines = self.succeed("descriptor", *words).splitlines()
        return bytes.fromhex("".join(line for line in lines if not line.startswith("#")))

    def test_hexadecimal_lines_are_the_bytes(self):
        self.assertEqual(recorded_descriptor(MOUSE), self.hex_of("--recording", MOUSE))
        self.assertEqual(recorded_descriptor(THERMOMETER, 1), self.hex_of("--recording", THERMOMETER, "--interface", "1"))

    def test_binary_output_is_the_bytes_of_one(self):
        words = [TOOL, "descriptor", "--format", "binary", "--recording", THERMOMETER]
        one = subprocess.run([*words, "--interface", "1"], capture_output=True, check=False, timeout=DEADLINE_SECONDS)
        self.assertEqual((0, recorded_descriptor(THERMOMETER, 1), b""), (one.returncode, one.stdout, one.stderr))
        self.assertRegex(self.refuse(64, *words[1:]), r"\Aqrxhid: 2 report descriptors match, .*\n  --interface 0  1209.*\n"
                                                      r"  --interface 1  1209.*\nTry: qrxhid descriptor ")

    def test_c_source_compiles_to_the_bytes(self):
        source = self.succeed("descriptor", "--format", "c", "--recording", THERMOMETER)
        path = os.path.join(self.folder, "x.c")
        with open(path, "w", encoding="utf-8") as file:
            file.write(source + "#include <stdio.h>\nint main(void) { return fwrite(report_descriptor_1, 1, "
                                "sizeof report_descriptor_1, stdout) + fwrite(report_descriptor_0, 1, "
                                "sizeof report_descriptor_0, stdout) == 0; }\n")
        program = os.path.join(self.folder, "x")
        subprocess.run(["cc", "-o", program, path], check=True, timeout=DEADLINE_SECONDS)
        made = subprocess.run([program], capture_output=True, check=True, timeout=DEADLINE_SECONDS).stdout
        self.assertEqual(recorded_descriptor(THERMOMETER, 1) + recorded_descriptor(THERMOMETER, 0), made)

    def test_a_file_may_be_bytes_or_their_text(self):
        expected = recorded_descriptor(MOUSE)
        array = self.succeed("descriptor", "--format", "c", "--recording", MOUSE)
        array = array[array.index("{") + 1:array.index("}")]
        for content in (expected, expected.hex(" "), array, "// face\n" + array + "/* 05 */"):
            self.assertEqual(expected, self.hex_of("--descriptor", self.write(content)))
        # What is no list of bytes is taken as it is.
        self.assertEqual(b"05 01 zz", self.hex_of("--descriptor", self.write("05 01 zz")))

    def test_each_item_is_told_with_place_bytes_nesting_and_meaning(self):
        lines = self.succeed("descriptor", "--annotate", "--recording", MOUSE).splitlines()
        self.assertEqual(["1209:0002  Qrx Demo Wheel Mouse, interface 0, 52 bytes",
                          "0     05 01           Usage Page (Generic Desktop)",
                          "2     09 02           Usage (Mouse)",
                          "4     a1 01           Collection (Application)",
                          "6     09 01             Usage (Pointer)",
                          "8     a1 00             Collection (Physical)",
                          "10    05 09               Usage Page (Button)"], lines[:7])
        self.assertIn("24    81 02               Input (Data, Variable, Absolute)", lines)
        self.assertIn("40    15 81               Logical Minimum (-127)", lines)
        self.assertIn("51    c0              End Collection", lines)

    def test_the_bits_of_each_report_are_drawn(self):
        text = self.succeed("descriptor", "--annotate", "--recording", MOUSE)
        self.assertTrue(text.endswith("""
input report: 4 bytes
  byte        7 6 5 4 3 2 1 0
  0           - - - - - A A A   A  3 x 1 bit, Button 1 .. 3, 0 .. 1
  1 .. 2      B B B B B B B B   B  2 x 8 bits, Generic Desktop: X .. Y, -127 .. 127, relative
  3           C C C C C C C C   C  8 bits, Generic Desktop: Wheel, -127 .. 127, relative
"""), text)
        numbered = self.succeed("descriptor", "--annotate", "--interface", "1", "--recording", THERMOMETER)
        self.assertIn("""
input report 1: 2 bytes
  byte        7 6 5 4 3 2 1 0
  0           # # # # # # # #   #  report number 1
  1           - - - - C B A A   A  2 x 1 bit, Consumer: Volume Increment .. Volume Decrement, 0 .. 1
                                B  1 bit, Consumer: Mute, 0 .. 1
                                C  1 bit, Consumer: Play/Pause, 0 .. 1
""", numbered)

    def test_whatever_the_bytes_are_all_of_them_are_shown(self):
        for content in (b"", b"\x05", b"\xfe\x05\x10\x01", b"\xc0" * 9, bytes(range(256)), b"\xa1\x01" * 99):
            path = self.write(content)
            self.assertEqual(content, self.hex_of("--descriptor", path))
            document = json.loads(self.succeed("descriptor", "--json", "--descriptor", path))["descriptors"][0]
            self.assertEqual(content.hex(), "".join(item["bytes"] for item in document["items"]))
            self.succeed("descriptor", "--annotate", "--descriptor", path)

    def test_a_descriptor_that_makes_no_device_is_shown_too(self):
        bare = "R: 6 05 01 09 02 a1 01\nN: bare\nP:\nI: 3 0001 0002\n"
        self.assertIn("05 01 09 02 a1 01", self.succeed("descriptor", "--recording", "-", text=bare))

    def test_wrong_command_lines_are_refused(self):
        self.assertIn("--format d: not hex, c or binary", self.refuse(64, "descriptor", "--format", "d"))
        self.assertIn("--descriptor is a descriptor without a device",
                      self.refuse(64, "descriptor", "--descriptor", "x", "--recording", MOUSE))
        self.assertRegex(self.refuse(2, "descriptor", "--descriptor", "/nowhere/x"), r"qrxhid: /nowhere/x cannot be read: .+\n")


if __name__ == "__main__":
    main()
