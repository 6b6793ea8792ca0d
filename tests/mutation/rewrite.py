"""Writes the sources so that one program holds all changes, and drops those that do not compile."""

import re

from rules import Finder
from scan import Source

BEGIN, END = "\ue000", "\ue001"
MARK = re.compile(f"{BEGIN}(\\d+);|{END}")


class File:
    """A source of the library: its text, its changes, and where each stands in what was last written."""

    def __init__(self, path, text):
        self.path, self.text = path, text
        self.places = Finder(Source(text)).find()
        self.spans = []
        self._name_places()

    def _name_places(self):
        """A key says the change in words, so that it outlives edits elsewhere in the file."""
        lines = self.text.split("\n")
        seen = {}
        for index, place in enumerate(self.places):
            place.path, place.index = self.path, index
            place.line = self.text.count("\n", 0, place.start) + 1
            key = f"{self.path} | {place.rule} | {lines[place.line - 1].strip()} | {place.before} -> {place.after}"
            seen[key] = seen.get(key, 0) + 1
            place.key = key if seen[key] == 1 else f"{key} | {seen[key]}"

    def written(self, include):
        """The text with its changes; lines keep their numbers."""
        if not self.places:
            return self.text
        ordered = sorted(enumerate(self.places), key=lambda item: (item[1].start, -item[1].end, item[0]))
        marked = self._render([place for _, place in ordered], 0, len(self.text))
        self.spans = []
        clean, open_places, last, length = [], [], 0, 0
        for mark in MARK.finditer(marked):
            clean.append(marked[last:mark.start()])
            length += len(clean[-1])
            last = mark.end()
            if mark.group(1):
                open_places.append((int(mark.group(1)), length))
            else:
                number, begin = open_places.pop()
                self.spans.append((begin, length, number))
        clean.append(marked[last:])
        text = "".join(clean)
        self._starts = [0] + [at + 1 for at, char in enumerate(text) if char == "\n"]
        quiet = "#pragma GCC system_header\n" if self.path.endswith(".h") else ""
        return f'{quiet}#include "{include}"\n#line 1 "{self.path}"\n{text}'

    def _render(self, places, start, end):
        pieces, at, index = [], start, 0
        while index < len(places):
            place = places[index]
            inner = []
            index += 1
            while index < len(places) and places[index].start < place.end:
                if places[index].end <= place.end:
                    inner.append(places[index])
                index += 1
            pieces.append(self.text[at:place.start])
            text = place.write(place.number, self._render(inner, place.start, place.end))
            pieces.append(f"{BEGIN}{place.number};{text}{END}")
            at = place.end
        pieces.append(self.text[at:end])
        return "".join(pieces)

    def blamed(self, line, column):
        """The numbers of the changes that an error at this place is due to: the innermost, else all of the line."""
        if line > len(self._starts):
            return set()
        offset = self._starts[line - 1] + column - 1
        around = [(end - begin, number) for begin, end, number in self.spans if begin <= offset < end]
        if around:
            return {min(around)[1]}
        line_end = self._starts[line] if line < len(self._starts) else offset + 1
        return {number for begin, end, number in self.spans if begin < line_end and end > self._starts[line - 1]}

    def drop(self, numbers):
        self.places = [place for place in self.places if place.number not in numbers]


PLACE = r"^(?:\S*/)?(IntLibs/\S+?):(\d+):(\d+):"
ERROR = re.compile(PLACE + " (?:fatal )?error:", re.MULTILINE)
# An error in a header of the standard library is due to who uses it.
USER = re.compile(PLACE + " +required from here", re.MULTILINE)


def blamed_by(output, files):
    """From a compiler's output: what to drop, by path."""
    for pattern in (ERROR, USER):
        blamed = {}
        for path, line, column in set(pattern.findall(output)):
            numbers = files[path].blamed(int(line), int(column)) if path in files else set()
            if numbers:
                blamed.setdefault(path, set()).update(numbers)
        if blamed:
            return blamed
    return {}
