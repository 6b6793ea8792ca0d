#include "text/LiveText.h"

#include <utility>

namespace qrxhid {

namespace {

// Control sequences of ECMA-48, and the mode of VT100 by which a long line is cut and not continued on the next one.
constexpr const char* kEraseToEndOfLine = "\x1b[K";
constexpr const char* kEraseBelow = "\x1b[J";
constexpr const char* kCutLongLines = "\x1b[?7l";
constexpr const char* kContinueLongLines = "\x1b[?7h";

} // namespace

std::string LiveText::returnToBegin() const
{
    // Up by as many lines as were drawn: other output above them stays.
    return _drawn == 0 ? "" : "\x1b[" + std::to_string(_drawn) + "A\r";
}

// In one write: whatever ends the program finds it before or after a drawing.
void LiveText::draw(std::vector<std::string> lines, const Terminal& terminal)
{
    const bool isSameSize = terminal.width == _terminal.width && terminal.height == _terminal.height;
    if (!isSameSize) {
        // Where the old lines are now is the terminal's secret.
        _drawn = 0;
        _terminal = terminal;
    }
    // The cursor stands below the last line.
    const std::size_t room = terminal.height - 1;
    if (lines.size() > room) {
        const std::size_t surplus = lines.size() - room + 1;
        lines.resize(room - 1);
        lines.push_back("... and " + std::to_string(surplus) + " lines more");
    }
    std::string text = returnToBegin() + kCutLongLines;
    // Each line overwrites the earlier one and erases what is left of it. Erasing all first would flicker.
    for (const std::string& line : lines) {
        text += line + kEraseToEndOfLine + "\n";
    }
    text += std::string(kEraseBelow) + kContinueLongLines;
    _out << text << std::flush;
    _drawn = lines.size();
}

void LiveText::erase()
{
    _out << returnToBegin() << kEraseBelow << std::flush;
    _drawn = 0;
}

} // namespace qrxhid
