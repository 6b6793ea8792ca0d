#include "text/Terminal.h"

#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

namespace qrxhid {

namespace {

// A window of a few columns would leave nothing of a line; there it wraps.
constexpr std::size_t kLeastWidth = 40;
// Room for a line, one that tells of others, and the cursor.
constexpr std::size_t kLeastHeight = 3;

/// Whether a terminal obeys escape sequences.
bool isDrawable()
{
    const char* const kind = std::getenv("TERM");
    // Without TERM, or as in editors' shells, nobody says that they are obeyed.
    return kind != nullptr && std::string_view(kind) != "dumb";
}

/// As no-color.org has it: whatever the value, but empty means that colours are welcome.
bool mayColor()
{
    const char* const refused = std::getenv("NO_COLOR");
    return (refused == nullptr || *refused == '\0') && isDrawable();
}

/// SGR parameters of ECMA-48.
const char* parametersOf(Terminal::Look look)
{
    switch (look) {
    case Terminal::Look::title:
        return "1";
    case Terminal::Look::good:
        return "32";
    case Terminal::Look::bad:
        return "31";
    case Terminal::Look::warning:
        return "33";
    case Terminal::Look::faint:
        break;
    }
    return "2";
}

} // namespace

// Standard output decides alone: where it goes to a file, colours would be bytes in that file.
Terminal Terminal::ofStandardOutput()
{
    Terminal terminal;
    terminal.isTerminal = isatty(STDOUT_FILENO) != 0;
    if (!terminal.isTerminal) {
        return terminal;
    }
    terminal.canRedraw = isDrawable();
    terminal.hasColor = mayColor();
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
        // Some terminals, and serial lines, give 0.
        terminal.width = size.ws_col >= kLeastWidth ? size.ws_col : kUsualWidth;
        terminal.height = size.ws_row >= kLeastHeight ? size.ws_row : kUsualHeight;
    }
    return terminal;
}

bool Terminal::isStandardErrorDrawable()
{
    return isatty(STDERR_FILENO) != 0 && isDrawable();
}

std::string Terminal::painted(std::string_view text, Look look) const
{
    return hasColor ? "\x1b[" + std::string(parametersOf(look)) + "m" + std::string(text) + "\x1b[0m"
                    : std::string(text);
}

} // namespace qrxhid
