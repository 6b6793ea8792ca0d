#pragma once

#include "HID/ElementTree.h"
#include "HID/ReportLayout.h"
#include "RegistryEntry.h"

#include <cstddef>
#include <mutex>

namespace qrx::iokit {

/// What queues and element values need of a report descriptor.
struct DriverElements {
    hid::ElementTree tree;
    /// For what an element alone does not tell: which usages an array shows.
    hid::ReportLayout layout;
};

/// The HID driver of a USB interface: carries the elements, and the way to the device.
class HidDriverEntry final : public RegistryEntry {
public:
    HidDriverEntry(std::shared_ptr<DeviceRecord> record, std::size_t interfaceIndex, const hid::ElementTree& tree);

    /// Exactly one client, whoever uses the driver.
    const List& children() override { return _clients; }

    const platform::InterfaceFacts& facts() const { return _record->facts.interfaces[_index]; }

    /// The elements as plain records, for queues and values. Read from the descriptor anew when nobody has them any
    /// more: they are larger than the properties made from them, and few programs need them.
    std::shared_ptr<const DriverElements> elements();

private:
    CFRef<CFDictionaryRef> makeProperties() const override;

    const std::size_t _index;
    List _clients;
    CFRef<CFDictionaryRef> _dictionary;
    std::mutex _elementsMutex;
    std::weak_ptr<const DriverElements> _elements;
};

/// The one client of a HID driver; a leaf.
class HidClientEntry final : public RegistryEntry {
public:
    explicit HidClientEntry(std::shared_ptr<DeviceRecord> record);

    const List& children() override { return _none; }

private:
    CFRef<CFDictionaryRef> makeProperties() const override;

    const List _none;
};

/// The driver of a device's interface; null where no HID driver is bound or the report descriptor declares nothing.
/// Tells the descriptor's faults on standard error.
std::shared_ptr<HidDriverEntry> makeHidDriverEntry(std::shared_ptr<DeviceRecord> record, std::size_t interfaceIndex);

} // namespace qrx::iokit
