#pragma once

#include "text/Terminal.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace qrxhid {

/// Lines of a terminal that are drawn again and again in their place. No mode of the terminal is changed between two
/// drawings: whenever the program ends, even by force, the terminal is as it was, and the last drawing stays.
class LiveText {
public:
    explicit LiveText(std::ostream& out) : _out(out) {}

    /// Draws in place of the last drawing. Lines are cut at the terminal's edge, and those that it has no room for are
    /// left out and counted. `terminal` is what it is now: after a change of its size the drawing begins anew below.
    void draw(std::vector<std::string> lines, const Terminal& terminal);

    /// Takes the last drawing away, for something else to be written there.
    void erase();

private:
    /// Moves the cursor to where the last drawing began.
    std::string returnToBegin() const;

    std::ostream& _out;
    Terminal _terminal;
    std::size_t _drawn = 0;
};

} // namespace qrxhid
