#include "CommandTable.h"

#include "commands/DecodeCommand.h"
#include "commands/DemoCommand.h"
#include "commands/DescriptorCommand.h"
#include "commands/DiffCommand.h"
#include "commands/DoctorCommand.h"
#include "commands/DumpCommand.h"
#include "commands/EncodeCommand.h"
#include "commands/GetCommand.h"
#include "commands/LintCommand.h"
#include "commands/ListCommand.h"
#include "commands/PageCommand.h"
#include "commands/RecordCommand.h"
#include "commands/ReplayCommand.h"
#include "commands/RuleCommand.h"
#include "commands/RunCommand.h"
#include "commands/SendCommand.h"
#include "commands/TopCommand.h"
#include "commands/TreeCommand.h"
#include "commands/WatchCommand.h"

#include <algorithm>

namespace qrxhid {

namespace {

template <class SomeCommand>
constexpr CommandRow rowOf()
{
    return {SomeCommand::kText, []() -> std::unique_ptr<Command> { return std::make_unique<SomeCommand>(); }};
}

// In the order of help: first what a device is, then what it says, then what one does about it.
constexpr CommandRow kCommands[] = {
    rowOf<ListCommand>(),   rowOf<TreeCommand>(),   rowOf<DumpCommand>(),   rowOf<DescriptorCommand>(),
    rowOf<LintCommand>(),   rowOf<DecodeCommand>(), rowOf<EncodeCommand>(), rowOf<DiffCommand>(),
    rowOf<PageCommand>(),   rowOf<WatchCommand>(),  rowOf<TopCommand>(),    rowOf<RecordCommand>(),
    rowOf<ReplayCommand>(), rowOf<SendCommand>(),   rowOf<GetCommand>(),    rowOf<DoctorCommand>(),
    rowOf<RuleCommand>(),   rowOf<RunCommand>(),    rowOf<DemoCommand>(),
};

} // namespace

std::span<const CommandRow> commandTable()
{
    return kCommands;
}

const CommandRow* findCommand(std::string_view name)
{
    const auto* row = std::ranges::find_if(kCommands, [name](const CommandRow& one) { return name == one.text.name; });
    return row == std::end(kCommands) ? nullptr : row;
}

} // namespace qrxhid
