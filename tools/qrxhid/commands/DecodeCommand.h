#pragma once

#include "Command.h"
#include "descriptor/ReportSearch.h"

#include <optional>
#include <string>
#include <vector>

namespace qrxhid {

/// The values of a report that is given as bytes, or of all that a recording has.
class DecodeCommand : public Command {
public:
    static constexpr CommandText kText = {
        "decode", "Say what the bytes of a report mean",
        "The bytes stand before the options. A report's number comes first where reports are numbered. The input of a\n"
        "recording is decoded by its own descriptor, or that of the chosen device or recording.\n"
        "Examples:\n"
        "  qrxhid decode 00 05 fb 00 --recording mouse.hid\n"
        "  qrxhid decode 02ff --device 04d8:003f --type output\n"
        "  qrxhid decode --events mouse.hid"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    ExitStatus decodeEvents(std::ostream& out, std::vector<DeclaredReport> reports) const;

    DescriptorSource _source;
    ReportOptions _options;
    std::vector<std::string> _words;
    std::optional<std::string> _eventFile;
    std::vector<std::uint8_t> _bytes;
    bool _isJson = false;
};

} // namespace qrxhid
