#pragma once

#include "Command.h"
#include "descriptor/ReportSearch.h"

#include <string>
#include <vector>

namespace qrxhid {

/// The bytes of a report that says given values.
class EncodeCommand : public Command {
public:
    static constexpr CommandText kText = {"encode", "Make the bytes of a report from values by usage",
                                          "The values stand before the options; a usage is named as tree names it, "
                                          "with its page or without. What is not\n"
                                          "named is 0.\n"
                                          "Examples:\n"
                                          "  qrxhid encode X=5 Y=-5 \"Button 1=1\" --recording mouse.hid\n"
                                          "  qrxhid encode \"LED: Caps Lock=1\" --device 046d:c31c --type output"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DescriptorSource _source;
    ReportOptions _options;
    std::vector<std::string> _words;
    bool _isJson = false;
};

} // namespace qrxhid
