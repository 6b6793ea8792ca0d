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

namespace qrxhid {

namespace {

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

std::span<const AbsentCommand> absentCommands()
{
    return {};
}

} // namespace qrxhid
