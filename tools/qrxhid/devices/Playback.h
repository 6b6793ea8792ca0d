#pragma once

#include "devices/DeviceSession.h"

#include <cstdint>
#include <vector>

namespace qrxhid {

/// Plays the recordings of a session's devices side by side: at a pace on the run loop, or event by event.
class Playback {
public:
    /// `devices` must stay as they are while it lives. Devices that are not in the tree are left out.
    explicit Playback(std::vector<RecordedDevice>& devices);

    /// Begins, at `speed` times the recorded one.
    void startAtPace(double speed);
    /// Whether all devices have sent their last event.
    bool isFinished() const;

    /// Sends the next event of all recordings in the order of their times; false if there is none left.
    bool sendNext();

private:
    struct Step {
        std::uint64_t timeUs;
        RecordedDevice* device;
        std::size_t event;
    };

    std::vector<RecordedDevice*> _devices;
    std::vector<Step> _steps;
    std::size_t _nextStep = 0;
};

} // namespace qrxhid
