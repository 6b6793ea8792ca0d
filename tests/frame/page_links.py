#!/usr/bin/env python3
"""Holds the documents to their links: each that names a file relative to its page names one that is there.

usage: page_links.py PLACE...    (pages, and folders of pages)
"""
import pathlib
import re
import sys

LINK = re.compile(r"\]\(([^)\s]+)\)")


def pages_in(place):
    return sorted(place.rglob("*.md")) if place.is_dir() else [place]


def dead_links(page):
    for target in LINK.findall(page.read_text()):
        file = target.partition("#")[0]
        if file and not re.match(r"[a-z]+:", file) and not (page.parent / file).exists():
            yield f"{page}: there is no {file}"


def main(*places):
    pages = [page for place in places for page in pages_in(pathlib.Path(place))]
    faults = [fault for page in pages for fault in dead_links(page)]
    print("\n".join(faults) or f"links of {len(pages)} pages")
    return 1 if faults or not pages else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
