#!/usr/bin/env python3
"""Holds what the README shows against the programs and files it comes from.

usage: readme_test.py PROJECT QRXHID [--update]
A block after "<!-- output of: qrxhid ... -->" is what that command prints, run in the project's folder; one after
"<!-- file: PATH -->" is that file. --update writes the blocks anew.
"""
import difflib
import pathlib
import re
import subprocess
import sys

BLOCK = re.compile(r"(<!-- (output of|file): ([^\n]*) -->\n```[a-z]*\n)(.*?)(```\n)", re.DOTALL)


def shown_by(kind, source, project, tool):
    if kind == "file":
        return (project / source).read_text(encoding="utf-8")
    words = source.split()
    assert words[0] == "qrxhid", source
    run = subprocess.run([tool] + words[1:], cwd=project, capture_output=True, text=True, timeout=60)
    if run.returncode != 0:
        raise SystemExit(f"{source}\nended with {run.returncode}:\n{run.stderr}")
    return run.stdout


def main(project, tool, update):
    readme = pathlib.Path(project) / "README.md"
    text = readme.read_text(encoding="utf-8")
    fresh, blocks = BLOCK.subn(
        lambda block: block[1] + shown_by(block[2], block[3], pathlib.Path(project), tool) + block[5], text)
    if update:
        readme.write_text(fresh, encoding="utf-8")
        return 0
    sys.stdout.writelines(difflib.unified_diff(text.splitlines(True), fresh.splitlines(True), "README.md", "today"))
    print(f"{blocks} blocks compared")
    return 0 if fresh == text and blocks >= 3 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], "--update" in sys.argv[3:]))
