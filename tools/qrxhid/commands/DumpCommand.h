#pragma once

#include "Command.h"
#include "devices/DeviceChoice.h"

namespace qrxhid {

/// Each device as the library prints it.
class DumpCommand : public Command {
public:
    static constexpr CommandText kText = {"dump", "Print each device as the library does",
                                          "Examples:\n"
                                          "  qrxhid dump --device 046d:c077\n"
                                          "  qrxhid dump --recording mouse.hid"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DeviceChoice _choice;
};

} // namespace qrxhid
