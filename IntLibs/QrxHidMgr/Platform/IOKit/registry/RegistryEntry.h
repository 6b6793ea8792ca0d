#pragma once

#include "CoreFoundation/CFRef.h"
#include "ElementShares.h"
#include "Provider/Provider.h"
#include "RegistryObject.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <vector>

namespace qrx::iokit {

class SharedElements;

/// What the entries of one USB device share.
struct DeviceRecord {
    explicit DeviceRecord(platform::DeviceFacts device);

    const platform::DeviceFacts facts;
    ElementShares elementShares;
    /// Nanoseconds of the monotonic clock.
    const std::uint64_t attachTime;
    /// False from the moment at which the device's end is in the registry; written under the registry's lock.
    std::atomic<bool> isActive{true};
    /// Places in the order of all arrivals and ends; under the registry's lock.
    std::uint64_t arrivalSequence = 0;
    std::uint64_t endSequence = 0;
    /// By the index of the interface, from the first look at its HID driver on. Released after all properties, which
    /// hold the arrays too.
    std::vector<std::shared_ptr<const SharedElements>> elements;
};

/// One entry of the registry: its classes, properties and children.
///
/// It lives as long as anybody holds it, a handle or an iterator, and keeps its properties after the device's end.
/// Properties and what is below a USB interface are made at the first look, so that a device nobody asks about costs
/// little. From any thread, with or without the registry's lock.
class RegistryEntry : public RegistryObject, public std::enable_shared_from_this<RegistryEntry> {
public:
    using List = std::vector<std::shared_ptr<RegistryEntry>>;

    bool conformsTo(std::string_view className) const override;
    bool isActive() const { return _record->isActive; }
    DeviceRecord& record() const { return *_record; }

    /// In registry order. Of an ended device too: the registry decides who may still see them.
    virtual const List& children() = 0;

    /// Borrowed; never changes, its values are shared by everybody who asks.
    CFDictionaryRef properties();

protected:
    /// `classes`: the entry's class and those above it.
    RegistryEntry(std::shared_ptr<DeviceRecord> record, std::span<const std::string_view> classes);

    virtual CFRef<CFDictionaryRef> makeProperties() const = 0;

    const std::shared_ptr<DeviceRecord> _record;

private:
    const std::span<const std::string_view> _classes;
    std::mutex _propertiesMutex;
    CFRef<CFDictionaryRef> _properties;
};

} // namespace qrx::iokit
