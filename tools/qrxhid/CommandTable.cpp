#include "CommandTable.h"

#include <algorithm>

namespace qrxhid {

const CommandRow* findCommand(std::string_view name)
{
    const auto rows = commandTable();
    const auto row = std::ranges::find_if(rows, [name](const CommandRow& one) { return name == one.text.name; });
    return row == rows.end() ? nullptr : &*row;
}

} // namespace qrxhid
