#pragma once

#include <string>
#include <vector>

namespace qrx::guest {

/// An ordinary user of the guest ("user").
constexpr unsigned kOrdinaryUser = 1000;

/// What a program that ran to its end has said and how it ended.
struct ToolRun {
    /// Exit status; -1 if a signal ended it, or if it did not end within the rig's patience.
    int status = -1;
    /// Standard output and standard error, as they came.
    std::string text;

    bool operator==(const ToolRun&) const = default;
};
void PrintTo(const ToolRun& run, std::ostream* stream);

/// Runs qrxhid with these words as that user.
ToolRun runTool(std::vector<std::string> words, unsigned userID = 0);

/// Runs a line of shell as root. `qrxhid` is found, and `sudo` is nothing: a command that is shown to a person can be
/// run as it is.
ToolRun runShell(const std::string& line);

} // namespace qrx::guest
