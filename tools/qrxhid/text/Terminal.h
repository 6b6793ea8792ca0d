#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qrxhid {

/// What standard output is: a terminal with a width and colours, or a file or pipe, which gets neither.
struct Terminal {
    static constexpr std::size_t kUsualWidth = 80;
    static constexpr std::size_t kUsualHeight = 24;

    std::size_t width = kUsualWidth;
    std::size_t height = kUsualHeight;
    bool isTerminal = false;
    /// A terminal that obeys escape sequences.
    bool canRedraw = false;
    /// A terminal that shows colours, and nobody has asked for none (NO_COLOR).
    bool hasColor = false;

    static Terminal ofStandardOutput();
    /// Standard error is a terminal that knows how to erase a line.
    static bool isStandardErrorDrawable();

    enum class Look { title, good, bad, warning, faint };
    /// The text as it is, or between escape sequences that give it this look.
    std::string painted(std::string_view text, Look look) const;
};

} // namespace qrxhid
