#include "Log.h"

#include "Text/ShownText.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <string>

#include <unistd.h>

namespace qrx::platform {

namespace {

LogLevel chosenLevel()
{
    const char* choice = std::getenv("QRX_LOG");
    const std::string_view name = choice != nullptr ? choice : "error";
    if (name == "off") {
        return LogLevel::off;
    }
    if (name == "info") {
        return LogLevel::info;
    }
    if (name == "debug") {
        return LogLevel::debug;
    }
    return LogLevel::error;
}

constexpr std::string_view kBegin = "QrxHIDManager: ";

void writeLine(std::string_view line)
{
    // One write, so that lines of several threads do not mix. There is nobody to tell if it fails.
    const int savedErrno = errno;
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    errno = savedErrno;
}

/// The beginning of the line, with '?' for what may not be shown as it is.
void logWithoutMemory(std::string_view text)
{
    std::array<char, 256> line;
    auto end = std::copy(kBegin.begin(), kBegin.end(), line.begin());
    const auto isShownAsItIs = [](char character) { return character >= ' ' && character <= '~'; };
    for (const char character : text.substr(0, line.size() - kBegin.size() - 1)) {
        *end++ = isShownAsItIs(character) ? character : '?';
    }
    *end++ = '\n';
    writeLine({line.begin(), end});
}

} // namespace

bool logs(LogLevel level)
{
    static const LogLevel sm_Chosen = chosenLevel();
    return level != LogLevel::off && level <= sm_Chosen;
}

void log(LogLevel level, std::string_view text) noexcept
{
    if (!logs(level)) {
        return;
    }
    try {
        std::string line(kBegin);
        line.append(shownText(text)).push_back('\n');
        writeLine(line);
    } catch (const std::bad_alloc&) {
        logWithoutMemory(text);
    }
}

} // namespace qrx::platform
