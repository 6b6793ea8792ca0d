#include "devices/DeviceSession.h"

#include "text/DeviceText.h"
#include "text/Notice.h"

#include "QrxRunLoop.h"

#include <algorithm>
#include <iostream>
#include <utility>

namespace qrxhid {

namespace {

QrxRecording readRecording(const std::string& fileName)
{
    return fileName == "-" ? QrxRecording::read(std::cin, "standard input") : QrxRecording::readFile(fileName);
}

std::vector<DeviceHandle> devicesOf(QrxDeviceTree& tree)
{
    std::vector<DeviceHandle> devices;
    for (unsigned int i = 0; i < tree.getHIDDeviceCount(); ++i) {
        devices.push_back(tree.getDeviceAtIndex(i));
    }
    return devices;
}

UnknownDevice unknownDevice(const DeviceSelector& selector)
{
    const mis::swizzler<QrxDeviceTree> all = QrxDeviceTree::NewInstance();
    all->populate(idPairs({}));
    std::vector<std::string> titles;
    for (const DeviceHandle& device : devicesOf(*all)) {
        titles.push_back(deviceTitle(*device));
    }
    return UnknownDevice(
        "no device is " + selector.text() + "; " + (titles.empty() ? "no HID device is there" : "there are:"), titles);
}

} // namespace

DeviceSession::DeviceSession(const DeviceChoice& choice) : _selectors(choice.selectors())
{
    for (const std::string& fileName : choice.recordings()) {
        _recorded.push_back({fileName, readRecording(fileName), nullptr, {}});
    }
    makeTree();
}

DeviceSession::DeviceSession(std::vector<RecordedDevice> recorded) : _recorded(std::move(recorded))
{
    makeTree();
}

void DeviceSession::makeTree()
{
    if (!_recorded.empty()) {
        QrxVirtualDevice::setRealDevicesEnabled(false);
    }
    _tree = QrxDeviceTree::NewInstance();
    _tree->setDelegate(this);
}

DeviceSession::~DeviceSession()
{
    _tree->setDelegate(nullptr);
}

void DeviceSession::begin()
{
    if (_recorded.empty()) {
        _tree->populate(idPairs(_selectors));
    } else {
        plugRecordings();
    }
    if (!_mayBeAbsent) {
        checkSelectors();
    }
}

void DeviceSession::plugRecordings()
{
    _tree->observe(idPairs(_selectors));
    for (RecordedDevice& recorded : _recorded) {
        plug(recorded);
    }
}

// One at a time: so it is known which recording a device comes from, however alike they are.
void DeviceSession::plug(RecordedDevice& recorded)
{
    if (recorded.device == nullptr) {
        recorded.device = std::make_unique<QrxVirtualDevice>(recorded.recording);
    }
    recorded.device->plug();
    while (QrxRunLoop::current().runOnce(0) == QrxRunLoop::Outcome::handled) {
    }
    recorded.handle = std::exchange(_lastAdded, DeviceHandle());
}

bool DeviceSession::isSelected(const RecordedDevice& recorded) const
{
    return _selectors.empty() || std::ranges::any_of(_selectors, [&recorded](const DeviceSelector& selector) {
               return selector.matches({recorded.recording.vendorID, recorded.recording.productID});
           });
}

void DeviceSession::checkSelectors() const
{
    const std::vector<DeviceHandle> found = devices();
    for (const DeviceSelector& selector : _selectors) {
        const bool isThere = std::ranges::any_of(
            found, [&selector](const DeviceHandle& device) { return selector.matches(identityOf(*device)); });
        if (!isThere) {
            throw unknownDevice(selector);
        }
    }
}

std::vector<DeviceHandle> DeviceSession::devices() const
{
    return devicesOf(*_tree);
}

std::size_t DeviceSession::deviceCount() const
{
    return _tree->getHIDDeviceCount();
}

void DeviceSession::observe(std::function<void(const DeviceHandle&)> handler)
{
    _arrivalHandler = std::move(handler);
    if (_recorded.empty()) {
        _tree->observe(idPairs(_selectors));
    }
}

void DeviceSession::deviceAdded(DeviceHandle device)
{
    _lastAdded = device;
    if (_arrivalHandler) {
        _arrivalHandler(device);
    }
}

bool DeviceSession::reportUnusableRecordings() const
{
    bool allUsable = true;
    for (const RecordedDevice& recorded : _recorded) {
        if (isSelected(recorded) && !recorded.handle) {
            notice(recorded.fileName + ": no HID device: no input, output or feature field");
            allUsable = false;
        }
    }
    return allUsable;
}

} // namespace qrxhid
