#pragma once

#include "HID/ElementTree.h"
#include "HID/ReportLayout.h"
#include "QrxHIDCapability.h"
#include "QrxHIDDevice.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace qrx {

/// What the additions make of the report descriptor of an interface. The interface keeps it, so it is made once; used
/// on the device's thread.
class InterfaceLayout {
public:
    /// Null for a device that the library did not find itself, without a HID interface of that number, or where the
    /// platform does not publish the descriptor.
    static std::shared_ptr<const InterfaceLayout> of(const QrxHIDDevice& device, int interfaceNumber);

    InterfaceLayout(std::span<const std::uint8_t> reportDescriptor, const QrxHIDDevice& device, int interfaceNumber);

    const std::shared_ptr<const hid::ReportLayout>& reports() const { return _reports; }

    /// The element of the device's tree that stands for a value: of several values of one usage the head, for a usage
    /// that an array shows the usage's own. Empty where the platform's elements are not those that we make of the
    /// descriptor.
    QrxHIDCapabilityPtr elementOf(const hid::ReportValue& value) const;

private:
    /// The elements of one field of the layout, by the position of their usage.
    using FieldElements = std::vector<QrxHIDCapabilityPtr>;

    std::shared_ptr<const hid::ReportLayout> _reports;
    /// By index in ReportLayout::fields.
    std::vector<FieldElements> _elements;
};

} // namespace qrx
