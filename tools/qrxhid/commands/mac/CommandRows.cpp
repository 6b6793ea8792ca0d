#include "CommandTable.h"

#include "commands/mac/DoctorCommand.h"

namespace qrxhid {

namespace {

constexpr const char* kNoVirtualDevices = "no device can be made of a recording on macOS";

constexpr AbsentCommand kAbsent[] = {
    {"replay", kNoVirtualDevices},
    {"rule", "macOS has no udev"},
    {"run", kNoVirtualDevices},
    {"demo", kNoVirtualDevices},
};

} // namespace

std::span<const CommandRow> systemCommands()
{
    static constexpr CommandRow kRows[] = {rowOf<DoctorCommand>()};
    return kRows;
}

std::span<const AbsentCommand> absentCommands()
{
    return kAbsent;
}

} // namespace qrxhid
