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

#include <algorithm>
#include <vector>

namespace qrxhid {

namespace {

// In the order of help: first what a device is, then what it says and is told. What else one does with it differs with
// the system.
constexpr CommandRow kEverywhere[] = {
    rowOf<ListCommand>(), rowOf<TreeCommand>(),   rowOf<DumpCommand>(),   rowOf<DescriptorCommand>(),
    rowOf<LintCommand>(), rowOf<DecodeCommand>(), rowOf<EncodeCommand>(), rowOf<DiffCommand>(),
    rowOf<PageCommand>(), rowOf<WatchCommand>(),  rowOf<TopCommand>(),    rowOf<RecordCommand>(),
    rowOf<SendCommand>(), rowOf<GetCommand>(),
};

} // namespace

std::span<const CommandRow> commandTable()
{
    static const std::vector<CommandRow> sm_Rows = [] {
        std::vector<CommandRow> rows(std::begin(kEverywhere), std::end(kEverywhere));
        const auto further = systemCommands();
        rows.insert(rows.end(), further.begin(), further.end());
        return rows;
    }();
    return sm_Rows;
}

const CommandRow* findCommand(std::string_view name)
{
    const auto rows = commandTable();
    const auto row = std::ranges::find_if(rows, [name](const CommandRow& one) { return name == one.text.name; });
    return row == rows.end() ? nullptr : &*row;
}

} // namespace qrxhid
