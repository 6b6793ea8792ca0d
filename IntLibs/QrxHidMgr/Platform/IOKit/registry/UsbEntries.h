#pragma once

#include "RegistryEntry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace qrx::iokit {

/// A USB device: the root of its entries. Its children are its interfaces, by number.
class UsbDeviceEntry final : public RegistryEntry {
public:
    explicit UsbDeviceEntry(platform::DeviceFacts facts);

    const List& children() override { return _interfaces; }

    /// Calls `visit` with this entry and those below it, in plane pre-order. What is below the interfaces is made only
    /// if `withHid`; once it was made, this takes no memory.
    template <typename Visit>
    void forEach(bool withHid, Visit visit)
    {
        visit(shared_from_this());
        for (const auto& interface : _interfaces) {
            visit(interface);
            if (!withHid) {
                continue;
            }
            for (const auto& driver : interface->children()) {
                visit(driver);
                std::for_each(driver->children().begin(), driver->children().end(), visit);
            }
        }
    }
    /// Appends what forEach visits.
    void collect(List& entries, bool withHid);

private:
    explicit UsbDeviceEntry(std::shared_ptr<DeviceRecord> record);
    CFRef<CFDictionaryRef> makeProperties() const override;

    List _interfaces;
};

/// A USB interface. Its child is the HID driver, where one is bound and its report descriptor declares anything.
class UsbInterfaceEntry final : public RegistryEntry {
public:
    UsbInterfaceEntry(std::shared_ptr<DeviceRecord> record, std::size_t index);

    /// Reads the report descriptor at the first call; its faults are told on standard error then.
    const List& children() override;

private:
    CFRef<CFDictionaryRef> makeProperties() const override;
    const platform::InterfaceFacts& facts() const { return _record->facts.interfaces[_index]; }

    const std::size_t _index;
    std::mutex _driversMutex;
    bool _driversMade = false;
    List _drivers;
};

} // namespace qrx::iokit
