#include "Log.h"

#include "Text/ShownText.h"
#include "WrittenLines.h"

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
    // An unknown word counts as "error": a mistyped level must not hide what a person has to act on.
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

// Lets a caller see whether a call has reported its failure already, so that one failure does not make two lines.
// Counted by thread, since lines of other threads are about other calls.
thread_local std::uint64_t sm_WrittenLines = 0;

void writeLine(std::string_view line)
{
    // One write, so that lines of several threads do not mix. A failure is ignored: there is no other place to report
    // it. errno is kept, because callers log between a system call and their use of errno.
    const int savedErrno = errno;
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    errno = savedErrno;
    ++sm_WrittenLines;
}

/// Used when memory has run out: the beginning of the line, in a fixed buffer, with '?' for every byte that is not
/// printable ASCII.
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

std::uint64_t writtenLines() noexcept
{
    return sm_WrittenLines;
}

bool logs(LogLevel level)
{
    // Read once, at the first line: reading the environment is not safe while another thread sets it. A change of
    // QRX_LOG in a running program has no effect.
    static const LogLevel sm_Chosen = chosenLevel();
    return level != LogLevel::off && level <= sm_Chosen;
}

std::string joined(std::initializer_list<std::string_view> parts)
{
    std::string text;
    for (const std::string_view part : parts) {
        text += part;
    }
    return text;
}

void log(LogLevel level, std::string_view text) noexcept
{
    if (!logs(level)) {
        return;
    }
    try {
        std::string line(kBegin);
        // Names of devices are part of many lines. They are foreign bytes, and standard error is often a terminal.
        line.append(shownText(text)).push_back('\n');
        writeLine(line);
    } catch (const std::bad_alloc&) {
        logWithoutMemory(text);
    }
}

} // namespace qrx::platform
