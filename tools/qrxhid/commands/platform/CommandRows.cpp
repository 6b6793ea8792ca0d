#include "CommandTable.h"

#include "commands/DemoCommand.h"
#include "commands/DoctorCommand.h"
#include "commands/ReplayCommand.h"
#include "commands/RuleCommand.h"
#include "commands/RunCommand.h"

namespace qrxhid {

std::span<const CommandRow> systemCommands()
{
    static constexpr CommandRow kRows[] = {
        rowOf<ReplayCommand>(), rowOf<DoctorCommand>(), rowOf<RuleCommand>(), rowOf<RunCommand>(), rowOf<DemoCommand>(),
    };
    return kRows;
}

std::span<const AbsentCommand> absentCommands()
{
    return {};
}

} // namespace qrxhid
