// A world of virtual devices and one application on them. Real devices are left out, so that figures do not depend on
// what is plugged into the machine.

#include "VirtualWorld.h"

#include <QrxInput.h>
#include <QrxRunLoop.h>

#include <stdexcept>

void CountingDelegate::handleReport(std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int)
{
    ++_delivered;
}

void CountingDelegate::handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>,
                                       int)
{
}

void ExtendedCountingDelegate::handleReport(std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice> device,
                                            int interfaceNumber)
{
    std::error_code error;
    if (_asksTime && QrxGetArrivalTime(*device, interfaceNumber, error) == std::chrono::steady_clock::time_point()) {
        throw std::runtime_error("a report has no time");
    }
    ++_delivered;
}

void ExtendedCountingDelegate::handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>,
                                               mis::swizzler<QrxHIDDevice>, int)
{
}

VirtualWorld::VirtualWorld(std::size_t count, const std::vector<std::uint8_t>& descriptor)
    : VirtualWorld(count, std::vector<std::vector<std::uint8_t>>{descriptor})
{
}

VirtualWorld::VirtualWorld(std::size_t count, const std::vector<std::vector<std::uint8_t>>& descriptors)
{
    QrxVirtualDevice::setRealDevicesEnabled(false);
    QrxVirtualIdentity identity(0x1234, 0);
    identity.setVendorName("ACME").setProductName("Benchmark device").setSerialNumber("0001");
    for (std::size_t i = 0; i < count; ++i) {
        // Devices differ in their product IDs only, so they share a report descriptor as devices of one kind do.
        identity.setProductID(static_cast<std::uint16_t>(i + 1));
        std::vector<QrxVirtualInterface> interfaces;
        for (const std::vector<std::uint8_t>& descriptor : descriptors) {
            interfaces.push_back({static_cast<int>(interfaces.size()), descriptor});
        }
        _devices.push_back(std::make_unique<QrxVirtualDevice>(identity, interfaces));
        _devices.back()->plug();
    }
}

mis::swizzler<QrxDeviceTree> VirtualWorld::populate()
{
    // A new tree each time, since a tree keeps what it has found.
    mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&_treeDelegate);
    tree->populate(0x1234, 0);
    // A figure of fewer devices than asked for would look like a good one.
    if (tree->getHIDDeviceCount() != _devices.size()) {
        throw std::runtime_error("not all devices were found");
    }
    return tree;
}

void VirtualWorld::open(bool all)
{
    _tree = populate();
    // One device open among many shows whether those that are not open cost anything.
    for (unsigned int i = 0; i < (all ? _tree->getHIDDeviceCount() : 1); ++i) {
        const mis::swizzler<QrxHIDDevice> device = _tree->getDeviceAtIndex(i);
        device->setDelegate(new CountingDelegate(_delivered));
        device->open();
    }
}

void VirtualWorld::extend(bool asksTime)
{
    // The one that is replaced is not the device's any more, and small.
    _tree->getDeviceAtIndex(0)->setDelegate(new ExtendedCountingDelegate(_delivered, asksTime));
}

void VirtualWorld::send(const std::vector<std::uint8_t>& report)
{
    if (!_devices.front()->sendInputReport(0, report)) {
        throw std::runtime_error("a report was not taken");
    }
}

void VirtualWorld::sendFromEach(const std::vector<std::uint8_t>& report)
{
    for (const auto& device : _devices) {
        if (!device->sendInputReport(0, report)) {
            throw std::runtime_error("a report was not taken");
        }
    }
}

void VirtualWorld::deliver(std::size_t count)
{
    // Counted by the delegate, so that nothing is measured that does not reach the application.
    const std::size_t wanted = _delivered + count;
    QrxRunLoop loop = QrxRunLoop::getCurrent();
    while (_delivered < wanted) {
        // The time only bounds a failure: reports wait already.
        loop.runOnce(10);
    }
}
