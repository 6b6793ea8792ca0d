#include "CommandTable.h"

#include "commands/DecodeCommand.h"
#include "commands/DescriptorCommand.h"
#include "commands/DiffCommand.h"
#include "commands/DumpCommand.h"
#include "commands/EncodeCommand.h"
#include "commands/GetCommand.h"
#include "commands/LintCommand.h"
#include "commands/ListCommand.h"
#include "commands/PageCommand.h"
#include "commands/RecordCommand.h"
#include "commands/SendCommand.h"
#include "commands/TopCommand.h"
#include "commands/TreeCommand.h"
#include "commands/WatchCommand.h"
#include "commands/mac/DoctorCommand.h"

namespace qrxhid {

namespace {

// In the order of help: first what a device is, then what it says, then what one does about it.
constexpr CommandRow kCommands[] = {
    rowOf<ListCommand>(), rowOf<TreeCommand>(),   rowOf<DumpCommand>(),   rowOf<DescriptorCommand>(),
    rowOf<LintCommand>(), rowOf<DecodeCommand>(), rowOf<EncodeCommand>(), rowOf<DiffCommand>(),
    rowOf<PageCommand>(), rowOf<WatchCommand>(),  rowOf<TopCommand>(),    rowOf<RecordCommand>(),
    rowOf<SendCommand>(), rowOf<GetCommand>(),    rowOf<DoctorCommand>(),
};

constexpr const char* kNoVirtualDevices = "no device can be made of a recording on macOS";

constexpr AbsentCommand kAbsent[] = {
    {"replay", kNoVirtualDevices},
    {"rule", "macOS has no udev"},
    {"run", kNoVirtualDevices},
    {"demo", kNoVirtualDevices},
};

} // namespace

std::span<const CommandRow> commandTable()
{
    return kCommands;
}

std::span<const AbsentCommand> absentCommands()
{
    return kAbsent;
}

} // namespace qrxhid
