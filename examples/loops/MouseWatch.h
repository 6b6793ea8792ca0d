#pragma once

#include <QrxDeviceTree.h>
#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxVirtualDevice.h>

#include <functional>

/// What the loop examples have in common: an application that watches for mice and prints how they move. The mouse is a
/// virtual one, so that the examples run anywhere; it is plugged at the start, moves five times, and is pulled. Nothing
/// here knows which loop delivers all that.
class MouseWatch final : private QrxDeviceTreeDelegateInterface {
public:
    /// `finished` is called when the mouse has been pulled and all its movements were seen.
    explicit MouseWatch(std::function<void()> finished);
    ~MouseWatch() override;

    /// 0 if everything was seen that should be.
    int exitStatus() const;

private:
    void deviceAdded(mis::swizzler<QrxHIDDevice> device) override;
    void moved();

    std::function<void()> _finished;
    QrxRecording _recording;
    QrxVirtualDevice _mouse;
    QrxRecordingPlayer _player;
    mis::swizzler<QrxDeviceTree> _tree;
    mis::swizzler<QrxHIDDevice> _device;
    std::size_t _movements = 0;
};
