#pragma once

#include "devices/ChangeFilter.h"
#include "devices/LossWatch.h"
#include "text/ReportText.h"
#include "text/Terminal.h"

#include "QrxHIDDevice.h"

#include <nlohmann/json_fwd.hpp>

#include <chrono>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace qrxhid {

/// How a watch is shown.
struct WatchStyle {
    /// One JSON object a line.
    bool isJson = false;
    /// Shows only the decoded values that changed.
    bool onlyChanges = false;
    /// The bytes of reports without their decoded values.
    bool isRaw = false;
    /// Seconds since the beginning in front of each event; JSON has them always.
    bool hasTimes = false;
};

/// Writes what happens, as text or as one JSON object a line, and flushes after each happening.
class WatchPrinter {
public:
    WatchPrinter(const WatchStyle& style, std::ostream& out);

    /// `event` is "present", "arrived" or "left"; `number` tells devices with the same IDs apart.
    void writeDevice(const char* event, unsigned int number, const QrxHIDDevice& device);

    void writeReport(unsigned int number, const QrxHIDDevice& device, const std::vector<std::uint8_t>& bytes,
                     int interfaceNumber);

    /// Adds a line after reports that may have been followed by lost ones.
    void writePossibleLoss(unsigned int number, const LossWatch::Loss& loss);

private:
    double secondsPassed() const;
    nlohmann::ordered_json eventJson(const char* event, unsigned int number) const;
    /// "  1.250000  report   #1  "
    std::string eventText(const char* event, unsigned int number, Terminal::Look look) const;

    WatchStyle _style;
    const Terminal _terminal = Terminal::ofStandardOutput();
    std::ostream& _out;
    std::chrono::steady_clock::time_point _start;
    std::map<unsigned int, ChangeFilter> _filters;
    ValuesJson _valuesJson;
};

} // namespace qrxhid
