#pragma once

#include "Command.h"
#include "devices/DeviceFilter.h"
#include "doctor/User.h"

#include <optional>
#include <string>
#include <vector>

namespace qrxhid {

/// What keeps devices from being used, and what would help.
class DoctorCommand : public Command {
public:
    static constexpr CommandText kText = {"doctor",
                                          "Say for each device whether it can be used, and if not, why and what to do",
                                          "It reads and opens nothing. --as asks for the user that a service runs as; "
                                          "with --json the answer\n"
                                          "is whole enough to be attached to a report.\n"
                                          "Examples:\n"
                                          "  qrxhid doctor\n"
                                          "  qrxhid doctor 04d8:003f --interface 1 --as www-data\n"
                                          "  qrxhid doctor --json"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    std::vector<std::string> _words;
    DeviceFilter _filter;
    bool _isJson = false;
    /// For tests: what all paths begin with.
    std::string _systemRoot;
    std::optional<std::string> _userText;
    std::optional<User> _user;
};

} // namespace qrxhid
