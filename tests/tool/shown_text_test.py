"""What a device, a file or the command line chose reaches a person in visible escapes alone, whatever the command."""

import json
import os
import pty
import subprocess
import tempfile
import tty
import unicodedata

from qrxhid_support import DEADLINE_SECONDS, TOOL, ToolTest, main, recording, run

# One of each class: C0, DEL, C1, direction, line separator, private use, and a line of its own.
NAME = "Mo\x1b[2Jus\x7fe\x9b31m\u202eabc\u2028\ue000x"
SHOWN = r"Mo\x1b[2Jus\x7fe\u{9b}31m\u{202e}abc\u{2028}\u{e000}x"
KEYBOARD = recording("boot-keyboard")


def is_safe(text):
    """Line ends and what the model indents with are the tool's own."""
    return all(c in "\n\t" or unicodedata.category(c) not in ("Cc", "Cf", "Co", "Cn", "Cs", "Zl", "Zp") for c in text)


def read_terminal(master):
    """Nothing once the other end is closed, which Linux tells by an error."""
    try:
        return os.read(master, 65536)
    except OSError:
        return b""


class ShownText(ToolTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def write(self, text, name="device.hid"):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())
        return path

    def hostile(self):
        """A keyboard with hostile names."""
        with open(KEYBOARD, encoding="utf-8") as file:
            lines = [line for line in file if not line.startswith("#@ ")]
        return self.write(f"#@ vendor-name: {NAME}\n#@ product-name: {NAME}\n#@ serial-number: {NAME}\n" + "".join(lines))

    def check(self, text, shown=SHOWN):
        self.assertTrue(is_safe(text), ascii(text))
        self.assertIn(shown, text)

    def test_the_check_itself_knows_what_is_not_safe(self):
        for character in NAME:
            self.assertEqual(character.isascii() and character.isprintable() or character in "\t", is_safe(character),
                             ascii(character))

    def test_no_command_shows_a_name_as_it_is(self):
        for words in (["list"], ["tree"], ["dump"], ["watch", "--speed", "0"]):
            self.check(self.succeed(*words, "--recording", self.hostile()))

    def test_a_device_that_is_not_meant_is_listed_safely(self):
        error = self.refuse(1, "tree", "--device", "dead:beef", "--recording", self.hostile())
        self.check(error)
        self.assertEqual(2, len(error.splitlines()), error)

    def test_dump_is_the_librarys_text_but_for_the_names(self):
        def without_ids(text):
            return [word for word in text.split() if not word.isdigit()]
        plain = without_ids(self.succeed("dump", "--recording", KEYBOARD))
        hostile = self.succeed("dump", "--recording", self.hostile())
        self.assertIn(f' "{SHOWN}" "{SHOWN}"', hostile)
        self.assertEqual(plain, without_ids(hostile.replace(f'"{SHOWN}" "{SHOWN}"', '"Qrx Demo" "Boot Keyboard"')))

    def test_a_recording_is_exact_unless_a_terminal_shows_it(self):
        words = [TOOL, "record", "--keep-serial", "--speed", "0", "--recording", self.hostile()]
        exact = self.succeed(*words[1:])
        self.assertIn("\x1b[2J", exact)
        master, slave = pty.openpty()
        try:
            tty.setraw(slave)
            with subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=slave, stderr=slave) as process:
                os.close(slave)
                text = b"".join(iter(lambda: read_terminal(master), b"")).decode()
                self.assertEqual(0, process.wait(DEADLINE_SECONDS))
        finally:
            os.close(master)
        self.check(text)
        self.assertEqual(len(exact.split("\n")), len(text.split("\n")), text)

    def test_json_is_exact_and_harmless(self):
        for words in (["list"], ["tree"], ["watch", "--speed", "0", "--count", "1"]):
            text = self.succeed(*words, "--json", "--recording", self.hostile())
            self.assertTrue(is_safe(text) and text.isascii(), ascii(text))
            first = json.loads(text if words[0] != "watch" else text.splitlines()[0])
            device = first["devices"][0] if words[0] != "watch" else first
            self.assertEqual((NAME, NAME), (device["vendorName"], device["productName"]))

    def test_what_does_not_parse_is_told_safely(self):
        wrong = {
            "R: 4 05 \x1b[31m 06\n": r"\x1b[31m",
            "N: x\nI: 3 \u202e001 0002\n": r"\u{202e}001",
            "#@ release: \x9b\n": r"\u{9b}",
        }
        for text, shown in wrong.items():
            error = self.refuse(2, "list", "--recording", self.write(text))
            self.check(error, shown)
            self.assertEqual(1, len(error.splitlines()), error)
        error = self.refuse(2, "list", "--recording", self.write(b"R: 4 05 \x9b\xff 06\n"))
        self.check(error, r"\x9b\xff")

    def test_names_of_files_are_told_safely(self):
        name = "a\n\x1b[2Jqrxhid: all is well"
        for words in (["list", "--recording", os.path.join(self.folder, name)],
                      ["list", "--recording", self.write("R: 4 05\n", name)],
                      ["list", "--recording", self.write("R: 2 05 01\nN: no report\nI: 3 0001 0002\n", name)],
                      ["record", "--recording", KEYBOARD, "--output", os.path.join(self.folder, "no", name)]):
            outcome = run(*words)
            self.assertNotEqual(0, outcome.status)
            self.check(outcome.err, r"a\x0a\x1b[2Jqrxhid: all is well")
            self.assertNotRegex(outcome.err, r"(?m)^qrxhid: all is well")

    def test_the_command_line_is_told_safely(self):
        for words in (["\x1b[2J\n"], ["list", "\x1b[2J\n"], ["list", "--\x1b[2J\n"], ["list", "--device", "\x1b[2J\n"],
                      ["watch", "--count", "\x1b[2J\n"], ["rule", "1:\x1b[2J\n"]):
            error = self.refuse(64, *words)
            self.check(error, r"\x1b[2J")
            self.assertEqual(2, len(error.splitlines()), error)

    def test_the_librarys_own_lines_are_safe(self):
        # A field without a size: the interface is left out, and the library says so.
        recorded = self.write("#@ product-name: x\nR: 6 05 01 09 02 a1 01\nN: x\nI: 3 0001 0002\n")
        outcome = run("list", "--recording", recorded)
        self.assertIn("QrxHIDManager: device 0001:0002", outcome.err)
        self.assertTrue(is_safe(outcome.err), ascii(outcome.err))


if __name__ == "__main__":
    main()
