#pragma once

#include "QrxRecording.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QrxSentReport;

namespace qrxhid {

/// The device of a recording, made by this process: trees find it as they find a real one. Used on one thread, whose
/// run loop plays its input.
class PlayedDevice {
public:
    PlayedDevice() = default;
    /// Unplugs.
    virtual ~PlayedDevice() = default;
    PlayedDevice(const PlayedDevice&) = delete;
    PlayedDevice& operator=(const PlayedDevice&) = delete;

    /// As often as wanted, each time as a new arrival.
    virtual void plug() = 0;
    virtual void unplug() = 0;

    /// False if nobody takes it.
    virtual bool sendInputReport(int interfaceNumber, const std::vector<std::uint8_t>& bytes) = 0;
    /// What was sent to the device since the last call, oldest first.
    virtual std::vector<QrxSentReport> takeSentReports() = 0;

    /// In two steps, so that several devices begin within the same moment: preparing takes time. `speed` is a multiple
    /// of the recorded one.
    virtual void preparePlaying(const QrxRecording& recording) = 0;
    virtual void startPlaying(double speed) = 0;
    /// Whether the last event was sent. Not before preparePlaying().
    virtual bool isPlayed() const = 0;
};

/// Makes the device of a recording, not plugged yet.
using DeviceMaker = std::function<std::unique_ptr<PlayedDevice>(const QrxRecording& recording)>;

/// The devices obey the script of that file; empty for none. From now on this process sees no real devices. Throws
/// QrxRecordingError for a script that cannot be read, and UsageError on macOS, where no such device can be made.
DeviceMaker deviceMaker(const std::string& faults);

/// What the help of --recording adds where no device can be made of a recording; empty elsewhere.
extern const char* const kRecordingRemark;

} // namespace qrxhid
