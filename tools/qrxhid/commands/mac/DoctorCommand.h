#pragma once

#include "Command.h"
#include "devices/DeviceChoice.h"

#include <string>
#include <vector>

namespace qrxhid {

/// What keeps devices from being used, and what would help.
class DoctorCommand : public Command {
public:
    static constexpr CommandText kText = {"doctor",
                                          "Say which devices are there, and whether input monitoring is permitted",
                                          "It opens nothing, and asks the user for the permission with --request "
                                          "alone.\n"
                                          "Examples:\n"
                                          "  qrxhid doctor\n"
                                          "  qrxhid doctor --request\n"
                                          "  qrxhid doctor 04d8:003f --json"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    std::vector<std::string> _words;
    DeviceFilter _filter;
    bool _isRequested = false;
    bool _isJson = false;
};

} // namespace qrxhid
