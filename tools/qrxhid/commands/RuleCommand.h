#pragma once

#include "Command.h"
#include "doctor/UdevRule.h"

#include <optional>
#include <string>

namespace qrxhid {

/// The udev rule file for one kind of device.
class RuleCommand : public Command {
public:
    static constexpr CommandText kText = {
        "rule", "Print a udev rule file that opens one device to whoever sits at the machine",
        "Example:\n"
        "  qrxhid rule 04d8:003f | sudo tee /etc/udev/rules.d/70-qrxhid-04d8-003f.rules"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    std::string _deviceText;
    std::optional<std::string> _interfaceText;
    UdevRule _rule;
};

} // namespace qrxhid
