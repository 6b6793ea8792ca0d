#pragma once

#include "Command.h"

#include <memory>
#include <span>
#include <string_view>

namespace qrxhid {

struct CommandRow {
    CommandText text;
    std::unique_ptr<Command> (*make)();
};

/// Every command, in the order of the help.
std::span<const CommandRow> commandTable();

/// Nothing if there is no command of that name.
const CommandRow* findCommand(std::string_view name);

} // namespace qrxhid
