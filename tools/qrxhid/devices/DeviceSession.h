#pragma once

#include "ExitStatus.h"
#include "devices/DeviceChoice.h"
#include "devices/DeviceFacts.h"
#include "devices/PlayedDevice.h"

#include "QrxDeviceTree.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxHIDDevice.h"
#include "QrxRecording.h"
#include "swizzler"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qrxhid {

using DeviceHandle = mis::swizzler<QrxHIDDevice>;

/// What a person is told where the machine has no device.
constexpr const char* kNoDeviceText =
    "there is no HID device; qrxhid doctor tells why one that is plugged in is not here";

/// No device is what the command line chooses; what() says so, present() lists what is there, one line each.
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

/// A recording as a device.
struct RecordedDevice {
    std::string fileName;
    QrxRecording recording;
    /// Plugged from begin() on.
    std::unique_ptr<PlayedDevice> device;
    /// The device in the tree; empty if it is not chosen, or not a HID device.
    DeviceHandle handle;
};

/// Reads recordings. Those that cannot be read are told on standard error and left out, and `status` becomes
/// kBadRecording.
std::vector<RecordedDevice> readRecordings(const std::vector<std::string>& fileNames, ExitStatus& status);

/// How many events the recordings of those devices have that are in the tree.
std::uint64_t eventCount(const std::vector<RecordedDevice>& recorded);

/// Where a recorded device was plugged in, as its recorder wrote it; empty if it did not.
std::string recordedPlace(const QrxRecording& recording);

/// Throws UnknownDevice, with `lines` as what is there, if something that the filter names is not `present`.
void throwIfAbsent(const DeviceFilter& filter, const std::vector<DeviceFacts>& present,
                   const std::vector<std::string>& lines);

/// A device of the tree, and what it was known by when it came.
struct PresentDevice {
    DeviceHandle handle;
    DeviceFacts facts;
};

/// The devices that a command works on: the real ones, or those of recordings. Belongs to one thread, whose run loop it
/// uses.
class DeviceSession : private QrxDeviceTreeDelegateInterface {
public:
    /// Reads the recordings of the choice. Those that cannot be read are told on standard error and left out; throws
    /// as deviceMaker() if there are recordings.
    explicit DeviceSession(const DeviceChoice& choice);
    /// With recordings that are read already, all of which are chosen.
    explicit DeviceSession(std::vector<RecordedDevice> recorded);
    ~DeviceSession() override;
    DeviceSession(const DeviceSession&) = delete;
    DeviceSession& operator=(const DeviceSession&) = delete;

    /// Before begin(): a chosen device need not be there.
    void mayBeAbsent(bool may) { _mayBeAbsent = may; }

    /// Finds the devices, and says on standard error which recordings are no device. Throws UnknownDevice if one of the
    /// chosen is not there. Once: another call does nothing.
    void begin();

    /// The chosen devices that are there now, in the order of their arrival.
    std::vector<PresentDevice> devices() const;

    /// The one device that is chosen. Throws UsageError, which lists them with the words that tell them apart, if there
    /// are several; an empty handle if there is none, which has been told. `command` is the one to try again, `reason`
    /// says why it must be one.
    PresentDevice onlyDevice(const std::string& command, const std::string& reason) const;

    /// From now on arrivals and removals happen (inside the run loop), and arrivals of chosen devices call `handler`.
    void observe(std::function<void(const PresentDevice&)> handler);

    /// Plugs the device of a recording in, anew if it was unplugged, and runs the loop until it is in the tree.
    void plug(RecordedDevice& recorded);

    /// How many devices the tree lists, chosen or not, after arrivals and removals.
    std::size_t deviceCount() const;

    /// Whether a device has left since devices() was asked last.
    bool hasDepartures() const;

    /// Whether recordings are worked on, readable or not.
    bool isRecorded() const { return _isRecorded; }
    /// In the order of the command line.
    std::vector<RecordedDevice>& recordedDevices() { return _recorded; }

    /// Success if every recording was read and is a device.
    ExitStatus status() const { return _status; }

private:
    void deviceAdded(DeviceHandle device) override;
    void makeTree();
    void plugRecordings();
    void note(const DeviceHandle& device);
    void checkChoice() const;

    DeviceFilter _filter;
    bool _mayBeAbsent = false;
    bool _hasBegun = false;
    bool _isRecorded = false;
    ExitStatus _status = kSuccess;
    std::vector<RecordedDevice> _recorded;
    /// Empty without recordings.
    DeviceMaker _makeDevice;
    /// While one is plugged in: where it was recorded.
    std::string _recordedPlace;
    mis::swizzler<QrxDeviceTree> _tree;
    /// All that have come, those that have left included until the next look.
    mutable std::vector<PresentDevice> _known;
    unsigned int _lastNumber = 0;
    DeviceHandle _lastAdded;
    std::function<void(const PresentDevice&)> _arrivalHandler;
};

} // namespace qrxhid
