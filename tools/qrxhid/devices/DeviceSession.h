#pragma once

#include "devices/DeviceChoice.h"

#include "QrxDeviceTree.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxHIDDevice.h"
#include "QrxRecording.h"
#include "QrxVirtualDevice.h"
#include "swizzler"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qrxhid {

using DeviceHandle = mis::swizzler<QrxHIDDevice>;

/// No device is what --device names; what() says so, present() lists what is there, one line each.
class UnknownDevice : public std::runtime_error {
public:
    UnknownDevice(const std::string& reason, std::vector<std::string> present)
        : std::runtime_error(reason), _present(std::move(present))
    {
    }
    const std::vector<std::string>& present() const noexcept { return _present; }

private:
    std::vector<std::string> _present;
};

/// A recording as a virtual device.
struct RecordedDevice {
    std::string fileName;
    QrxRecording recording;
    /// Plugged from begin() on, unless the recording is not selected.
    std::unique_ptr<QrxVirtualDevice> device;
    /// The device in the tree; empty if it is not selected, or not a HID device.
    DeviceHandle handle;
};

/// The devices that a command works on: the real ones, or those of recordings. Belongs to one thread, whose run loop it
/// uses.
class DeviceSession : private QrxDeviceTreeDelegateInterface {
public:
    /// Reads all recordings. Throws QrxRecordingError before anything else has happened.
    explicit DeviceSession(const DeviceChoice& choice);
    /// With recordings that are read already.
    explicit DeviceSession(std::vector<RecordedDevice> recorded);
    ~DeviceSession() override;
    DeviceSession(const DeviceSession&) = delete;
    DeviceSession& operator=(const DeviceSession&) = delete;

    /// Before begin(): a selected device need not be there.
    void mayBeAbsent(bool may) { _mayBeAbsent = may; }

    /// Finds the devices. Throws UnknownDevice if one of the selected is not there.
    void begin();

    /// The devices that are there now, in the order of their arrival.
    std::vector<DeviceHandle> devices() const;

    /// From now on arrivals and removals happen (inside the run loop), and arrivals call `handler`.
    void observe(std::function<void(const DeviceHandle&)> handler);

    /// Plugs the device of a recording in, anew if it was unplugged, and runs the loop until it is in the tree.
    void plug(RecordedDevice& recorded);

    /// How many devices the tree lists, after arrivals and removals.
    std::size_t deviceCount() const;

    /// In the order of the command line.
    std::vector<RecordedDevice>& recordedDevices() { return _recorded; }

    /// Says on standard error which of the selected recordings gave no device; false if there is one.
    bool reportUnusableRecordings() const;

private:
    void deviceAdded(DeviceHandle device) override;
    void makeTree();
    void plugRecordings();
    bool isSelected(const RecordedDevice& recorded) const;
    void checkSelectors() const;

    std::vector<DeviceSelector> _selectors;
    bool _mayBeAbsent = false;
    std::vector<RecordedDevice> _recorded;
    mis::swizzler<QrxDeviceTree> _tree;
    DeviceHandle _lastAdded;
    std::function<void(const DeviceHandle&)> _arrivalHandler;
};

} // namespace qrxhid
