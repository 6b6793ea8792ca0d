#!/usr/bin/env python3
"""Writes a manual page for each command of qrxhid, out of the program's own help and of qrxhid.1.

usage: pages_of_commands.py PROGRAM FOLDER

Name, options, and examples are those of `qrxhid COMMAND --help`; what a command does is said in qrxhid.1 alone, whose
synopsis and description are taken over.
"""
import pathlib
import re
import subprocess
import sys

import roff

PAGE = pathlib.Path(__file__).with_name("qrxhid.1").read_text(encoding="ascii")


def help_of(program, *words):
    return subprocess.run([program, *words, "--help"], check=True, capture_output=True, text=True, timeout=60,
                          env={"COLUMNS": "80", "LC_ALL": "C.UTF-8"}).stdout


def section(name):
    return re.search(rf'^\.SH "?{name}"?\n(.*?)(?=^\.SH |\Z)', PAGE, re.M | re.S)[1]


def synopsis_of(command):
    return re.search(rf"^\.B qrxhid {command}\n(?:.*\n)*?(?=\.br|\Z)", section("SYNOPSIS"), re.M)[0]


def description_of(command):
    return re.search(rf"^\.TP\n\.B {command}\n(.*?)(?=^\.TP\n\.B \w+$|\Z)", section("COMMANDS"), re.M | re.S)[1]


def options_of(text):
    """Pairs of an option with its value's name, and its explanation."""
    lines = text.split("\nOptions:\n")[1].split("\n\n")[0].splitlines()
    options = []
    for line in lines:
        match = re.match(r"  (\S.*?)(?:  +(\S.*))?$", line)
        if match and not line.startswith("   "):
            options.append([match[1], match[2] or ""])
        else:
            options[-1][1] += " " + line.strip()
    return [(name.replace(",--", ", --"), told.strip()) for name, told in options]


def examples_of(text):
    match = re.search(r"^Examples?:\n((?:  .*\n?)+)", text, re.M)
    return [line.strip() for line in match[1].splitlines()] if match else []


def page_of(program, command, summary, heading):
    text = help_of(program, command)
    parts = [heading, ".SH NAME", f"qrxhid\\-{command} \\- {roff.escaped(summary[0].lower() + summary[1:])}",
             ".SH SYNOPSIS", synopsis_of(command).rstrip(), ".SH DESCRIPTION", description_of(command).rstrip(),
             ".SH OPTIONS"]
    for name, told in options_of(text):
        parts += [".TP", f".B {roff.escaped(name)}", roff.paragraph(told)]
    examples = examples_of(text)
    if examples:
        parts += [".SH EXAMPLES", roff.verbatim(examples)]
    parts += [".SH \"SEE ALSO\"", ".BR qrxhid (1),", ".BR qrxhid\\-recording (5)"]
    return "\n".join(parts) + "\n"


def main(program, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    version, date = (re.search(pattern, PAGE)[1] for pattern in (r'"QrxHIDManager ([\d.]+)"', r"(\d{4}-\d\d-\d\d)"))
    commands = re.findall(r"^  (\w+) +(\S.*)$", help_of(program).split("\nSubcommands:\n")[1], re.M)
    for command, summary in commands:
        heading = roff.heading(f"QRXHID\\-{command.upper()}", 1, date, version, "User Commands")
        (folder / f"qrxhid-{command}.1").write_text(page_of(program, command, summary, heading), encoding="ascii")
    print(f"{len(commands)} pages")
    return 0 if commands else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
