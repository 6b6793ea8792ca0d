#pragma once

#include "text/Notice.h"

#include <ostream>
#include <streambuf>
#include <string>

namespace qrxhid {

/// Passes lines on as shownText has them, to a terminal that is to show what is meant for a file.
class ShownLines : public std::streambuf {
public:
    explicit ShownLines(std::ostream& terminal) : _terminal(terminal) {}
    ~ShownLines() override { _terminal << shownText(_line) << std::flush; }
    ShownLines(const ShownLines&) = delete;
    ShownLines& operator=(const ShownLines&) = delete;

private:
    int_type overflow(int_type character) override
    {
        if (character == '\n') {
            _terminal << shownText(_line) << "\n";
            _line.clear();
        } else if (character != traits_type::eof()) {
            _line += traits_type::to_char_type(character);
        }
        return _terminal ? traits_type::not_eof(character) : traits_type::eof();
    }

    int sync() override { return _terminal.flush() ? 0 : -1; }

    std::ostream& _terminal;
    std::string _line;
};

} // namespace qrxhid
