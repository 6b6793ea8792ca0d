"""Real programs, as Debian packages them, on devices that are text files: each page of the guide about such a program
shows commands and what they print, and this is what they print.

usage: programs_test.py [--update]
A block after "<!-- needs: PACKAGE... -->" is a terminal: "$ " begins a command, a backslash at the end of a line
continues it, and what it prints follows. --update writes the blocks anew. QRXHID names the tool. Ends with 77 where a
program is not installed.
"""

import glob
import os
import re
import subprocess
import sys
import unittest

TOOL = os.environ["QRXHID"]
FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "programs")
PAGES = sorted(glob.glob(os.path.join(FOLDER, "../../../docs/guide/hidapi-*.md")))
BLOCK = re.compile(r"(?<=<!-- needs: )([^\n]*)( -->\n```console\n)(.*?)(?=```\n)", re.DOTALL)
COMMAND = re.compile(r"^\$ ((?:[^\n]*\\\n)*[^\n]*)\n", re.MULTILINE)
DEADLINE_SECONDS = 120


def is_installed(package):
    status = subprocess.run(["dpkg-query", "-W", "-f=${Status}", package], capture_output=True, text=True, check=False)
    return status.returncode == 0 and status.stdout.endswith(" installed")


def printed_by(command):
    """All that it prints, in the order in which it comes."""
    path = os.path.dirname(TOOL) + os.pathsep + os.environ["PATH"]
    return subprocess.run(["sh", "-c", "exec 2>&1; " + command], cwd=FOLDER, env={**os.environ, "PATH": path},
                          stdout=subprocess.PIPE, text=True, timeout=DEADLINE_SECONDS, check=False).stdout


def fresh(terminal):
    return "".join(f"$ {command}\n{printed_by(command)}" for command in COMMAND.findall(terminal))


class Programs(unittest.TestCase):
    maxDiff = None

    def check(self, page):
        with open(page, encoding="utf-8") as text:
            blocks = BLOCK.findall(text.read())
        self.assertTrue(blocks, "the page shows no program")
        for packages, _, terminal in blocks:
            missing = [package for package in packages.split() if not is_installed(package)]
            if missing and os.environ.get("CI"):
                self.fail(f"{missing} not installed: run scripts/setup")
            if missing:
                self.skipTest(f"SKIPPED: {missing} not installed")
            self.assertEqual(terminal, fresh(terminal))


if not PAGES:
    sys.exit("there is no page about a program")
for shown in PAGES:
    name = os.path.basename(shown).removesuffix(".md").replace("-", "_")
    setattr(Programs, "test_" + name, lambda self, page=shown: self.check(page))


def update():
    for page in PAGES:
        with open(page, encoding="utf-8") as text:
            today = BLOCK.sub(lambda block: block[1] + block[2] + fresh(block[3]), text.read())
        with open(page, "w", encoding="utf-8") as text:
            text.write(today)


if __name__ == "__main__":
    if "--update" in sys.argv:
        update()
    else:
        result = unittest.main(verbosity=2, exit=False).result
        sys.exit(1 if not result.wasSuccessful() else 77 if result.skipped else 0)
