#!/usr/bin/env python3
"""Draws docs/architecture.svg from the first indented block of docs/architecture.md.

usage: draw_architecture.py [--check]
With --check nothing is written; fails if the picture is not that of the text.

The block has a box in each line: a name, two blanks, and what it is. A line that is indented further stands inside the
box before it. "|" is an arrow with a text, and a line of dashes the border between what is asked and what answers.
"""
import pathlib
import re
import sys
from xml.sax.saxutils import escape

FOLDER = pathlib.Path(__file__).resolve().parent
TEXT, PICTURE = FOLDER / "architecture.md", FOLDER / "architecture.svg"

WIDTH, MARGIN = 980, 16
ROW, GAP, INSET = 34, 8, 14
# Where what a box is begins, from the left.
DESCRIPTION = 300
STYLE = """
  text { font: 14px system-ui, "DejaVu Sans", sans-serif; fill: #171a1f; }
  .name { font: 600 13px ui-monospace, "DejaVu Sans Mono", monospace; }
  .faint { fill: #4b525e; font-size: 13px; }
  rect { fill: #dbe8fb; stroke: #6f94c9; }
  .ground rect { fill: #ddf2e1; stroke: #68a878; }
  .outside rect { fill: #eceef1; stroke: #979eab; }
  .inner rect { fill: #ffffff; fill-opacity: .6; }
  line, path { stroke: #4b525e; stroke-width: 1.5; fill: none; }
  .border { stroke-dasharray: 7 5; }
  @media (prefers-color-scheme: dark) {
    text { fill: #e8eaee; }
    .faint { fill: #b4bbc7; }
    rect { fill: #1f3350; stroke: #5b7fb5; }
    .ground rect { fill: #1b3d26; stroke: #4f8a5f; }
    .outside rect { fill: #2a2f38; stroke: #6d7684; }
    .inner rect { fill: #000000; fill-opacity: .25; }
    line, path { stroke: #b4bbc7; }
  }
"""


class Box:
    def __init__(self, name, description):
        self.name, self.description, self.inside = name, description, []

    def height(self):
        return ROW + sum(box.height() + GAP for box in self.inside)


def parse(text):
    """The parts of the block, from the top to the bottom: a Box, ("arrow", text) or ("border", text)."""
    block = re.search(r"(?:^    .*\n)+", text, re.M)[0]
    parts = []
    for line in block.splitlines():
        depth, words = (len(line) - len(line.lstrip())) // 4 - 1, re.split(r" {2,}", line.strip())
        if line.lstrip().startswith("|"):
            parts.append(("arrow", line.strip(" |")))
        elif line.lstrip().startswith("---"):
            parts.append(("border", line.strip(" -")))
        elif depth == 0:
            parts.append(Box(words[0], " ".join(words[1:])))
        else:
            parts[-1].inside.append(Box(words[0], " ".join(words[1:])))
    return parts


def draw_box(box, left, top, width):
    yield f'<rect x="{left}" y="{top}" width="{width}" height="{box.height()}" rx="7"/>'
    yield f'<text class="name" x="{left + 12}" y="{top + 22}">{escape(box.name)}</text>'
    yield f'<text class="faint" x="{MARGIN + DESCRIPTION}" y="{top + 22}">{escape(box.description)}</text>'
    top += ROW
    for inner in box.inside:
        yield '<g class="inner">'
        yield from draw_box(inner, left + INSET, top, width - 2 * INSET)
        yield "</g>"
        top += inner.height() + GAP


def draw_arrow(text, top):
    x = MARGIN + 40
    yield f'<path d="M{x} {top}V{top + ROW - 4}M{x - 5} {top + ROW - 11}L{x} {top + ROW - 4}L{x + 5} {top + ROW - 11}"/>'
    yield f'<text class="faint" x="{x + 16}" y="{top + 20}">{escape(text)}</text>'


def draw_border(text, top):
    yield f'<line class="border" x1="{MARGIN}" y1="{top + ROW / 2}" x2="{WIDTH - MARGIN}" y2="{top + ROW / 2}"/>'
    if text:
        yield f'<text class="faint" x="{WIDTH - MARGIN}" y="{top + ROW / 2 - 5}" text-anchor="end">{escape(text)}</text>'


def draw(parts):
    lines, top, borders = [], MARGIN, 0
    for index, part in enumerate(parts):
        if isinstance(part, Box):
            is_outside = index in (0, len(parts) - 1)
            lines.append(f'<g class="{"outside" if is_outside else "ground" if borders else "library"}">')
            lines += draw_box(part, MARGIN, top, WIDTH - 2 * MARGIN)
            lines.append("</g>")
            top += part.height() + GAP
        else:
            kind, text = part
            borders += kind == "border"
            lines += draw_arrow(text, top - GAP) if kind == "arrow" else draw_border(text, top)
            top += ROW
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {top + MARGIN - GAP}" role="img" '
            'aria-label="The layers, from the application to the kernel">')
    return "\n".join(["<!-- made by draw_architecture.py -->", head, f"<style>{STYLE}</style>", *lines, "</svg>", ""])


def main(words):
    picture = draw(parse(TEXT.read_text(encoding="utf-8")))
    if words != ["--check"]:
        PICTURE.write_text(picture, encoding="utf-8")
        return 0
    if PICTURE.read_text(encoding="utf-8") == picture:
        return 0
    print(f"{PICTURE.name} is not what {TEXT.name} says: run docs/draw_architecture.py")
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
