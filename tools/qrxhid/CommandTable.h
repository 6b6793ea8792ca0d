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

template <class SomeCommand>
constexpr CommandRow rowOf()
{
    return {SomeCommand::kText, []() -> std::unique_ptr<Command> { return std::make_unique<SomeCommand>(); }};
}

/// Every command of this system, in the order of the help.
std::span<const CommandRow> commandTable();

/// The commands of commandTable() that only this system has, or that differ between systems.
std::span<const CommandRow> systemCommands();

/// A command that other systems have.
struct AbsentCommand {
    const char* name;
    /// "macOS has no udev"
    const char* reason;
};

std::span<const AbsentCommand> absentCommands();

/// Nothing if there is no command of that name.
const CommandRow* findCommand(std::string_view name);

} // namespace qrxhid
