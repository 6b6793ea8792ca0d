#pragma once

#include "Command.h"
#include "devices/DeviceChoice.h"

namespace qrxhid {

/// Each device's interfaces, elements and reports.
class TreeCommand : public Command {
public:
    static constexpr CommandText kText = {"tree", "Show each device's interfaces, elements and reports",
                                          "Examples:\n"
                                          "  qrxhid tree --device 046d:c077\n"
                                          "  qrxhid tree --recording mouse.hid --json"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DeviceChoice _choice;
    bool _isJson = false;
};

} // namespace qrxhid
