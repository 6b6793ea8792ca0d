#!/usr/bin/env python3
"""Writes manual pages for the headers that come beside the classes of the model, out of the headers themselves.

usage: pages_of_headers.py HEADERS VERSION DATE FOLDER

A header gets a page of its name, which has each declaration with the comment before it; each function and class gets
a page that is this one under another name.
"""
import pathlib
import re
import sys

import roff

NAMES = ("QrxDeviceIdentity", "QrxError", "QrxFunctions", "QrxHandles", "QrxInput", "QrxInputLoss", "QrxOutcome",
         "QrxRecording", "QrxReportDecoder", "QrxReportLayout", "QrxReportType", "QrxRequests", "QrxRunLoop",
         "QrxUsageNames", "QrxVersion", "QrxVirtualDevice")
ENUMERATOR = re.compile(r"\w+(?: = [^,;]*)?,?$")
BEHIND = re.compile(r"(\w+)(?: = [^,]*)?,?\s*///< (.*)")
NAMED = re.compile(r"(?:class|struct|enum class) (?:QRX_EXPORT )?(Qrx\w+)|\b(Qrx\w+)\(")


def joined(lines):
    """A declaration on one line, without what a reader does not call it by."""
    text = " ".join(" ".join(lines).split()).replace("QRX_EXPORT ", "").replace("[[nodiscard]] ", "")
    if ENUMERATOR.match(text):
        return text.rstrip(",")
    text = re.sub(r"^(\w+\(.*\)) : .*$", r"\1", text.rstrip("{").rstrip())
    return re.sub(r"\{ return .*$", "", text).rstrip().rstrip(";") + ";"


def is_whole(lines):
    text = " ".join(lines)
    if ENUMERATOR.match(text):
        return True
    return text.count("(") == text.count(")") and re.search(r"[;{}]\s*(//.*)?$", text) is not None


def declarations(text):
    """(comment, declaration) of everything that has a comment, in order; the file's own comment has no declaration."""
    comment, pending, found = [], [], []
    for line in (line.strip() for line in text.splitlines()):
        if behind := BEHIND.match(line):
            found.append(([behind[2]], behind[1]))
        elif line.startswith("///"):
            comment.append(line[3:].removeprefix(" "))
        elif comment and comment[0].startswith("@file"):
            found.append((comment[1:], ""))
            comment = []
        elif comment and (line or pending) and not line.startswith("//"):
            pending.append(line)
            if is_whole(pending):
                found.append((comment, joined(pending)))
                comment, pending = [], []
    return found


def body_of(comment):
    """Paragraphs filled, indented lines as they are."""
    parts, block = [], []

    def end_block():
        if block and block[0].startswith("    "):
            parts.append(roff.verbatim(block))
        elif block:
            parts.append(roff.paragraph(" ".join(block)))
        block.clear()

    for line in comment:
        line = re.sub(r"@param (\w+)\s+", r"\1: ", line).replace("@code", "").replace("@endcode", "")
        if not line or line.startswith("    ") != bool(block and block[0].startswith("    ")):
            end_block()
        if line:
            block.append(line)
    end_block()
    return "\n.sp\n".join(parts)


def page_of(header, version, date):
    found = declarations(header.read_text(encoding="utf-8"))
    # Without a comment of its own a file is about the class that has its name.
    about = next(comment for comment, declared in found
                 if not declared or re.search(rf"(?:class|struct) {header.stem}\b", declared))
    first = re.split(r"(?<=[.:])(?: |$)", " ".join(about))[0].rstrip(".:")
    names = [match[1] or match[2] for _, declared in found if (match := NAMED.search(declared))]
    names = list(dict.fromkeys(name for name in names if name != header.stem))
    library = "virtual" if header.stem.startswith(("QrxVirtual", "QrxRecord")) else "embedded"
    parts = [roff.heading(header.stem, 3, date, version, "Library Functions"), ".SH NAME",
             f"{', '.join([header.stem, *names])} \\- {roff.escaped(first[0].lower() + first[1:])}",
             ".SH SYNOPSIS", ".nf", f".B #include <QrxHIDManager/{header.name}>", ".sp",
             roff.escaped(f"pkg-config --cflags --libs QrxHIDManager-{library}"), ".fi", ".SH DESCRIPTION"]
    for comment, declared in found:
        parts += [".TP", f".B {roff.escaped(declared)}"] if declared else []
        parts.append(body_of(comment))
    parts += [".SH \"SEE ALSO\"", ".BR QrxHIDManager (7)"]
    return "\n".join(part for part in parts if part) + "\n", names


def main(headers, version, date, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    written = set(NAMES)
    for name in NAMES:
        page, others = page_of(pathlib.Path(headers) / f"{name}.h", version, date)
        (folder / f"{name}.3").write_text(page, encoding="ascii")
        for other in others:
            if other not in written:
                written.add(other)
                (folder / f"{other}.3").write_text(f".so man3/{name}.3\n", encoding="ascii")
    print(f"{len(written)} pages")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
