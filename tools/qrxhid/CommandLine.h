#pragma once

#include "Command.h"

#include <memory>
#include <string>
#include <vector>

namespace qrxhid {

struct CommandRow;

/// What the command line asks for: a command that is ready to run, or a text (help, version) to show and be done.
struct CommandLine {
    /// Empty where a text is asked for.
    std::unique_ptr<Command> command;
    std::string text;

    /// Throws UsageError.
    static CommandLine parse(int count, const char* const* words);

    /// "--device", "--json", ...: the options that may stand behind the command, but for hidden ones.
    static std::vector<std::string> optionsOf(const CommandRow& row);
};

} // namespace qrxhid
