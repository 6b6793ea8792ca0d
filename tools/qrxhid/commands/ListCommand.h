#pragma once

#include "Command.h"
#include "devices/DeviceChoice.h"

namespace qrxhid {

/// The devices, one line each.
class ListCommand : public Command {
public:
    static constexpr CommandText kText = {"list", "List the HID devices, one line each",
                                          "Examples:\n"
                                          "  qrxhid list\n"
                                          "  qrxhid list --device 046d: --json\n"
                                          "  qrxhid list --recording keyboard.hid mouse.hid"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DeviceChoice _choice;
    bool _isJson = false;
};

} // namespace qrxhid
