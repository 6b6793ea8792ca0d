#pragma once

#include "Command.h"
#include "descriptor/DescriptorSource.h"

#include <string>

namespace qrxhid {

/// The report descriptors of interfaces, as bytes and explained.
class DescriptorCommand : public Command {
public:
    static constexpr CommandText kText = {"descriptor",
                                          "Show report descriptors: bytes, C source, or explained item by item",
                                          "Examples:\n"
                                          "  qrxhid descriptor --device 046d:c077 --annotate\n"
                                          "  qrxhid descriptor --recording mouse.hid --format c\n"
                                          "  qrxhid descriptor --descriptor report.bin --annotate"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DescriptorSource _source;
    std::string _format = "hex";
    bool _isAnnotated = false;
    bool _isJson = false;
};

} // namespace qrxhid
