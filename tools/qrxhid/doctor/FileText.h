#pragma once

#include <optional>
#include <string>

namespace qrxhid {

/// The text of a file of a few kilobytes, at most a megabyte of it; no value if it cannot be read. Never waits: a pipe
/// that nobody writes to is empty or cannot be read.
std::optional<std::string> fileText(const std::string& path);

} // namespace qrxhid
