#pragma once

#include "Command.h"
#include "devices/DeviceChoice.h"
#include "devices/InputLimits.h"

#include <string>
#include <vector>

namespace qrxhid {

struct ReplayOptions {
    InputLimits limits;
    /// Play when a program has opened the devices.
    bool waitsForReader = false;
    /// Keep the devices when all is played.
    bool stays = false;
    bool isJson = false;
};

/// Recordings as devices of the kernel, which every program of the machine sees.
class ReplayCommand : public Command {
public:
    static constexpr CommandText kText = {
        "replay", "Make recordings devices of the kernel, and play their input",
        "With --uhid each interface becomes a HID device of the kernel, as hid-replay has it: its drivers, and every\n"
        "program of the machine, take it for a device. A recorded keyboard types, and a recorded mouse clicks, for\n"
        "whoever sits there. That takes access to /dev/uhid, which root has.\n"
        "The other commands play a recording inside their own process with --recording, for which nobody needs\n"
        "anything.\n"
        "Examples:\n"
        "  qrxhid replay --uhid mouse.hid\n"
        "  qrxhid replay --uhid keyboard.hid --when-open --speed 2"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    std::vector<std::string> _files;
    DeviceChoice _choice;
    bool _isForKernel = false;
    ReplayOptions _options;
};

} // namespace qrxhid
