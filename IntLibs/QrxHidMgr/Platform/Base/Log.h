#pragma once

/// Lines for people, on standard error. The environment variable QRX_LOG (off, error, info, debug) chooses how much;
/// without it, or with another word in it, errors are shown: what a person must act on. From any thread.

#include <initializer_list>
#include <string>
#include <string_view>

namespace qrx::platform {

enum class LogLevel { off, error, info, debug };

/// True if a line of this level is shown; to be asked before a costly text is made.
bool logs(LogLevel level);

/// Writes "QrxHIDManager: " and the text as shownText has it, as one line and in one piece. Where there is no memory
/// for that, the line's beginning. Exported for the library of virtual devices, which is made with this one.
[[gnu::visibility("default")]] void log(LogLevel level, std::string_view text) noexcept;

/// The parts of a text, one after the other: less code at the place of use than a chain of sums.
std::string joined(std::initializer_list<std::string_view> parts);

} // namespace qrx::platform
