#pragma once

#include "Command.h"
#include "descriptor/ReportSearch.h"

#include <string>
#include <vector>

namespace qrxhid {

/// Sends an output or feature report to a device.
class SendCommand : public Command {
public:
    static constexpr CommandText kText = {
        "send", "Send an output or feature report to a device",
        "The report stands before the options: its bytes, its number first where reports are numbered, or values by\n"
        "usage as encode takes them.\n"
        "Examples:\n"
        "  qrxhid send \"LED: Caps Lock=1\" --device 046d:c31c\n"
        "  qrxhid send 04 e8 03 --device 04d8:003f --type feature"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    /// The report and its bytes, as the words say.
    DeclaredReport readWords(const std::vector<InterfaceDescriptor>& descriptors,
                             std::vector<std::uint8_t>& bytes) const;

    DeviceChoice _choice;
    ReportOptions _options;
    std::vector<std::string> _words;
    bool _isJson = false;
};

} // namespace qrxhid
