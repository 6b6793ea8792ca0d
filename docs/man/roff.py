"""Text as the input of man(7) pages."""
import re


def escaped(text):
    """One line of text: nothing in it is a request or an escape."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    text = "".join(c if ord(c) < 128 else f"\\[u{ord(c):04X}]" for c in text)
    return "\\&" + text if text[:1] in (".", "'") else text


def paragraph(text):
    """Filled text, a sentence a line."""
    sentences = re.split(r"(?<=[.;:]) (?=[A-Z\"\\])", " ".join(text.split()))
    return "\n".join(escaped(sentence) for sentence in sentences)


def verbatim(lines):
    return "\n".join([".nf", *(escaped(line) or "\\&" for line in lines), ".fi"])


def heading(name, section, date, version, volume):
    return f'.TH {name} {section} {date} "QrxHIDManager {version}" "{volume}"'
