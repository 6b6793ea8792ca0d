#include "devices/DeviceChoice.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "devices/PlayedDevice.h"

#include <filesystem>

namespace qrxhid {

void DeviceChoice::declareOptions(OptionSet& options)
{
    declare(options, kRecordingRemark);
    options.addOption("--faults", _faults, "Let the recorded devices answer and misbehave by the rules of this file",
                      "FILE");
}

void DeviceChoice::declareOptionsOfReader(OptionSet& options)
{
    declare(options, "");
}

void DeviceChoice::declare(OptionSet& options, const std::string& remark)
{
    options.addOption("--recording", _recordings,
                      "Work on recorded devices (text of hid-recorder) instead of the real ones; - reads standard "
                      "input" +
                          remark,
                      "FILE");
    _filter.declareOptions(options);
}

bool DeviceChoice::isRecording(const std::string& word)
{
    std::error_code unreadable;
    // A file of that name comes first: it may be called like a device. What has neither ":" nor "#" can only be a file,
    // so that a mistyped name is told as a file that is not there.
    return word == "-" || std::filesystem::exists(word, unreadable) || word.find_first_of(":#") == std::string::npos;
}

void DeviceChoice::checkOptions()
{
    _filter.checkOptions();
    checkFaults();
}

void DeviceChoice::chooseDevice(const std::string& word)
{
    _filter.checkOptions({&word, 1});
    checkFaults();
}

void DeviceChoice::checkFaults() const
{
    if (!_faults.empty() && !hasRecordings()) {
        throw UsageError("--faults is for the devices of recordings",
                         "qrxhid watch --recording FILE --faults " + _faults);
    }
}

} // namespace qrxhid
