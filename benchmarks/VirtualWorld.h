#pragma once

#include <QrxDeviceTree.h>
#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>
#include <QrxHIDDeviceEventInterface.h>
#include <QrxVirtualDevice.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// Counts the reports that it is given.
class CountingDelegate final : public QrxHIDDeviceDelegateInterface {
public:
    explicit CountingDelegate(std::size_t& delivered) : _delivered(delivered) {}

    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override;
    void handleSetReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                         mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override;

private:
    std::size_t& _delivered;
};

/// The same, with the extension, and asking each report for its time if `asksTime`.
class ExtendedCountingDelegate final : public QrxHIDDeviceDelegateInterface, public QrxHIDDeviceEventInterface {
public:
    ExtendedCountingDelegate(std::size_t& delivered, bool asksTime) : _delivered(delivered), _asksTime(asksTime) {}

    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override;
    void handleSetReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                         mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override;

private:
    std::size_t& _delivered;
    const bool _asksTime;
};

/// Takes arrivals without a word.
class SilentTreeDelegate final : public QrxDeviceTreeDelegateInterface {
public:
    void deviceAdded(mis::swizzler<QrxHIDDevice>) override {}
};

/// `count` virtual devices of one descriptor, plugged.
class VirtualWorld {
public:
    VirtualWorld(std::size_t count, const std::vector<std::uint8_t>& descriptor);
    /// With an interface for each descriptor.
    VirtualWorld(std::size_t count, const std::vector<std::vector<std::uint8_t>>& descriptors);

    /// A new tree with all devices of this world in it.
    mis::swizzler<QrxDeviceTree> populate();
    /// Populates once and opens the first device, or all.
    void open(bool all);
    /// From now on the first device has the other delegate.
    void extend(bool asksTime);
    void send(const std::vector<std::uint8_t>& report);
    void sendFromEach(const std::vector<std::uint8_t>& report);
    /// Runs the loop until `count` further reports have reached the delegates.
    void deliver(std::size_t count);

private:
    SilentTreeDelegate _treeDelegate;
    std::vector<std::unique_ptr<QrxVirtualDevice>> _devices;
    mis::swizzler<QrxDeviceTree> _tree;
    std::size_t _delivered = 0;
};
