#pragma once

#include "Command.h"
#include "commands/WatchPrinter.h"
#include "devices/DeviceChoice.h"
#include "devices/InputLimits.h"

namespace qrxhid {

struct WatchOptions {
    InputLimits limits;
    WatchStyle style;
    /// Wait for a chosen device that is not there yet.
    bool isPatient = false;
};

/// Arrivals, removals and input reports, until a signal comes, the recordings are played, or enough reports have come.
class WatchCommand : public Command {
public:
    static constexpr CommandText kText = {
        "watch", "Show arrivals, removals and decoded input reports",
        "Without recordings it ends with Ctrl-C, with recordings when all are played.\n"
        "Examples:\n"
        "  qrxhid watch --changes\n"
        "  qrxhid watch --device 046d: --count 10 --json\n"
        "  qrxhid watch --device 04d8:003f --wait\n"
        "  qrxhid watch --recording mouse.hid --speed 0"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DeviceChoice _choice;
    WatchOptions _options;
};

} // namespace qrxhid
