#include "commands/RuleCommand.h"

#include "OptionSet.h"
#include "OptionValues.h"
#include "UsageError.h"
#include "devices/DeviceSelector.h"

namespace qrxhid {

namespace {

/// Everybody's keyboard is a HID device: no rule opens more than what somebody has asked for by name.
DeviceIdentity parseRuleDevice(const std::string& text)
{
    const std::optional<DeviceIdentity> device = parseIdentity(text);
    if (!device) {
        throw UsageError("a rule for " + DeviceSelector::parse(text, "").text() +
                             " would open more than one kind of device, and with them keyboards that passwords are "
                             "typed on; a rule names both IDs",
                         "qrxhid list, then qrxhid rule VID:PID");
    }
    return *device;
}

} // namespace

void RuleCommand::declareOptions(OptionSet& options)
{
    options.addRequiredWord("device", _deviceText, "The device's IDs, hexadecimal", "VID:PID");
    options.addOption("--interface", _interfaceText, "Only this interface of the device", "N");
}

void RuleCommand::checkOptions()
{
    _rule.device = parseRuleDevice(_deviceText);
    if (_interfaceText) {
        _rule.interfaceNumber = parseInterface(*_interfaceText);
    }
}

ExitStatus RuleCommand::run(std::ostream& out)
{
    // Printed and not installed: what goes to /etc is to be read by a person first, and needs root.
    out << _rule.text();
    return kSuccess;
}

} // namespace qrxhid
