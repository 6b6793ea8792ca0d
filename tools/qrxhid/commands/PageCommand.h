#pragma once

#include "Command.h"
#include "devices/DeviceChoice.h"

#include <string>

namespace qrxhid {

/// A device as a page for a browser.
class PageCommand : public Command {
public:
    static constexpr CommandText kText = {
        "page", "Make a page for a browser: fields, bits and descriptor of a device, its input as plots",
        "The page is one file that needs nothing else, neither a network nor this program. Of a device of this machine "
        "it has\n"
        "no input; record some first.\n"
        "Examples:\n"
        "  qrxhid page 046d:c077 --output mouse.html\n"
        "  qrxhid page mouse.hid --output mouse.html"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    bool isToStandardOutput() const { return _output.empty() || _output == "-"; }

    DeviceChoice _choice;
    std::string _word;
    std::string _output;
    bool _keepsSerialNumber = false;
};

} // namespace qrxhid
