#pragma once

#include "devices/DeviceFilter.h"

#include <string>
#include <vector>

namespace qrxhid {

class OptionSet;

/// The options by which a command is told which devices to work on: real ones or recordings, and which of them.
class DeviceChoice {
public:
    /// For a command that makes devices of recordings.
    void declareOptions(OptionSet& options);
    /// For a command that only reads recordings: without --faults, since there is no device that could misbehave.
    void declareOptionsOfReader(OptionSet& options);
    /// Throws UsageError.
    void checkOptions();

    /// As if the command line had named them: before checkOptions().
    void addRecordings(const std::vector<std::string>& files)
    {
        _recordings.insert(_recordings.end(), files.begin(), files.end());
    }

    /// As if the command line had named this device without an option; instead of checkOptions(). Throws UsageError.
    void chooseDevice(const std::string& word);

    /// Whether a word without an option names a recording: there is such a file, or it names no device.
    static bool isRecording(const std::string& word);

    /// Files; none means the real devices.
    const std::vector<std::string>& recordings() const { return _recordings; }
    bool hasRecordings() const { return !_recordings.empty(); }
    /// A script for the devices of the recordings; empty for none.
    const std::string& faults() const { return _faults; }
    const DeviceFilter& filter() const { return _filter; }

private:
    void declare(OptionSet& options, const std::string& remark);
    void checkFaults() const;

    std::vector<std::string> _recordings;
    std::string _faults;
    DeviceFilter _filter;
};

} // namespace qrxhid
