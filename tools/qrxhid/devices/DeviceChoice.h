#pragma once

#include "devices/DeviceSelector.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace qrxhid {

/// The options by which a command is told which devices to work on.
class DeviceChoice {
public:
    void declareOptions(CLI::App& app);
    /// Throws UsageError.
    void checkOptions();

    /// Files; none means the real devices.
    const std::vector<std::string>& recordings() const { return _recordings; }
    /// None means all.
    const std::vector<DeviceSelector>& selectors() const { return _selectors; }
    bool hasRecordings() const { return !_recordings.empty(); }
    bool isEverything() const { return _selectors.empty(); }

private:
    std::vector<std::string> _recordings;
    std::vector<std::string> _deviceTexts;
    std::vector<DeviceSelector> _selectors;
};

} // namespace qrxhid
