#include "devices/Playback.h"

#include <algorithm>

namespace qrxhid {

Playback::Playback(std::vector<RecordedDevice>& devices)
{
    for (RecordedDevice& device : devices) {
        if (!device.handle) {
            continue;
        }
        _devices.push_back(&device);
        for (std::size_t i = 0; i < device.recording.getEvents().size(); ++i) {
            _steps.push_back({device.recording.getEvents()[i].getTimeUs(), &device, i});
        }
    }
    // All devices share one clock here. Stable: events of one moment stay in the order of the recording.
    std::ranges::stable_sort(_steps, {}, &Step::timeUs);
}

void Playback::startAtPace(double speed)
{
    for (RecordedDevice* device : _devices) {
        device->device->preparePlaying(device->recording);
    }
    for (RecordedDevice* device : _devices) {
        device->device->startPlaying(speed);
    }
}

bool Playback::isFinished() const
{
    return std::ranges::all_of(_devices, [](const RecordedDevice* device) { return device->device->isPlayed(); });
}

// One at a time, so that whoever plays can look at what came of it before the next one follows.
bool Playback::sendNext()
{
    if (_nextStep == _steps.size()) {
        return false;
    }
    const Step& step = _steps[_nextStep++];
    const QrxRecordedEvent& event = step.device->recording.getEvents()[step.event];
    const int interfaceNumber = step.device->recording.getInterfaces()[event.getInterfaceIndex()].getNumber();
    step.device->device->sendInputReport(interfaceNumber, event.getBytes());
    return true;
}

} // namespace qrxhid
