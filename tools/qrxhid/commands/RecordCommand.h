#pragma once

#include "Command.h"
#include "devices/DeviceChoice.h"
#include "devices/InputLimits.h"

#include <string>

namespace qrxhid {

struct RecordOptions {
    InputLimits limits;
    bool keepsSerialNumber = false;
    /// A file; empty or "-" is standard output.
    std::string output;
};

/// Writes a device and its input as a recording.
class RecordCommand : public Command {
public:
    static constexpr CommandText kText = {"record", "Write a device's interfaces and input as a recording",
                                          "It ends with Ctrl-C, when the device leaves, or after a count or time. "
                                          "Whenever it ends, what is written is a\n"
                                          "recording that hid-replay and this program take.\n"
                                          "Examples:\n"
                                          "  qrxhid record --device 046d:c077 --output mouse.hid\n"
                                          "  qrxhid record --device 04d8:003f --count 100 --time 10"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    bool isRefused() const;

    DeviceChoice _choice;
    RecordOptions _options;
};

} // namespace qrxhid
