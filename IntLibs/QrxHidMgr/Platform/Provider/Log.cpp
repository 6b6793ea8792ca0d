#include "Log.h"

#include "ShownText.h"

#include <cerrno>
#include <cstdlib>
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

} // namespace

bool logs(LogLevel level)
{
    static const LogLevel sm_Chosen = chosenLevel();
    return level != LogLevel::off && level <= sm_Chosen;
}

void log(LogLevel level, std::string_view text)
{
    if (!logs(level)) {
        return;
    }
    std::string line = "QrxHIDManager: ";
    line.append(shownText(text)).push_back('\n');
    // One write, so that lines of several threads do not mix. There is nobody to tell if it fails.
    const int savedErrno = errno;
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    errno = savedErrno;
}

} // namespace qrx::platform
