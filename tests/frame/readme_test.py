#!/usr/bin/env python3
"""Holds what the README and the guide show against the programs and files it comes from.

usage: readme_test.py PROJECT QRXHID EXAMPLES [--update]
A block after "<!-- output of: qrxhid ... -->" is what that command prints, run in the project's folder; one after
"<!-- output of: examples/NAME -->" what that program of the folder EXAMPLES prints; one after "<!-- file: PATH -->" is
that file. --update writes the blocks anew.
"""
import difflib
import pathlib
import re
import signal
import subprocess
import sys

BLOCK = re.compile(r"(<!-- (output of|file): ([^\n]*) -->\n```[a-z]*\n)(.*?)(```\n)", re.DOTALL)

# What a shell runs in the background ignores SIGINT, and so would the programs started here: they inherit that, but not
# a handler.
signal.signal(signal.SIGINT, signal.default_int_handler)


def shown_by(kind, source, project, tool, examples):
    if kind == "file":
        return (project / source).read_text(encoding="utf-8")
    words = source.split()
    if words[0] == "qrxhid":
        words[0] = tool
    else:
        folder, name = words[0].split("/")
        assert folder == "examples", source
        words[0] = pathlib.Path(examples) / name
    run = subprocess.run(words, cwd=project, capture_output=True, text=True, timeout=60)
    if run.returncode != 0:
        raise SystemExit(f"{source}\nended with {run.returncode}:\n{run.stderr}")
    return run.stdout


def main(project, tool, examples, update):
    project = pathlib.Path(project)
    compared, changed = 0, 0
    for document in [project / "README.md", *sorted((project / "docs").rglob("*.md"))]:
        text = document.read_text(encoding="utf-8")
        fresh, blocks = BLOCK.subn(
            lambda block: block[1] + shown_by(block[2], block[3], project, tool, examples) + block[5], text)
        compared += blocks
        if update:
            document.write_text(fresh, encoding="utf-8")
        elif fresh != text:
            changed += 1
            name = str(document.relative_to(project))
            sys.stdout.writelines(difflib.unified_diff(text.splitlines(True), fresh.splitlines(True), name, "today"))
    print(f"{compared} blocks compared")
    return 0 if changed == 0 and compared >= 3 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], sys.argv[3], "--update" in sys.argv[4:]))
