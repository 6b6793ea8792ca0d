#include "text/ProgressLine.h"

#include "text/Terminal.h"

#include <iostream>

namespace qrxhid {

namespace {

constexpr std::string_view kEraseToEndOfLine = "\x1b[K";

} // namespace

ProgressLine::ProgressLine() : _isSeen(Terminal::isStandardErrorDrawable()) {}

ProgressLine::~ProgressLine()
{
    if (_isShown) {
        // Nothing is left of it: what follows on the terminal begins where the line was.
        std::cerr << "\r" << kEraseToEndOfLine << std::flush;
    }
}

// The cursor goes back to the line's begin: a message that comes meanwhile takes the line's place.
void ProgressLine::show(std::string_view text)
{
    if (_isSeen) {
        std::cerr << "\r" << text << kEraseToEndOfLine << "\r" << std::flush;
        _isShown = true;
    }
}

} // namespace qrxhid
