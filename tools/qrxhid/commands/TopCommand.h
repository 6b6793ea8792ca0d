#pragma once

#include "Command.h"
#include "devices/DeviceChoice.h"
#include "devices/InputLimits.h"

#include <optional>
#include <string>

namespace qrxhid {

struct TopOptions {
    InputLimits limits;
    /// Between two updates.
    double seconds = 1;
    bool isJson = false;
};

/// How much input comes, and how evenly: per interface, until a signal comes, the recordings are played, or the limits
/// are reached.
class TopCommand : public Command {
public:
    static constexpr CommandText kText = {
        "top", "Show rates, intervals, jitter and losses of input, live",
        "An interval is the time between two reports, jitter its standard deviation; a report's time is that at which\n"
        "it was read. It ends with Ctrl-C, with recordings when all are played, and then shows the figures of the\n"
        "whole time. A terminal is drawn anew each time; a pipe gets lines.\n"
        "Examples:\n"
        "  qrxhid top\n"
        "  qrxhid top --device 046d:c077 --every 0.5\n"
        "  qrxhid top --time 10 --json"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DeviceChoice _choice;
    TopOptions _options;
    std::optional<std::string> _secondsText;
};

} // namespace qrxhid
