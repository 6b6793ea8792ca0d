#include "UsbEntries.h"

#include "HidEntries.h"
#include "PropertyList.h"

#include <IOKit/usb/IOUSBLib.h>

#include <array>
#include <string_view>
#include <utility>

namespace qrx::iokit {

namespace {

// The classes of each entry, its own first. A matching dictionary may name any of them.
constexpr std::array<std::string_view, 4> kDeviceClasses{kIOUSBDeviceClassName, "IOUSBNub", "IOService",
                                                         "IORegistryEntry"};
constexpr std::array<std::string_view, 4> kInterfaceClasses{kIOUSBInterfaceClassName, "IOUSBNub", "IOService",
                                                            "IORegistryEntry"};

} // namespace

UsbDeviceEntry::UsbDeviceEntry(platform::DeviceFacts facts)
    : UsbDeviceEntry(std::make_shared<DeviceRecord>(std::move(facts)))
{
}

UsbDeviceEntry::UsbDeviceEntry(std::shared_ptr<DeviceRecord> record) : RegistryEntry(std::move(record), kDeviceClasses)
{
    _interfaces.reserve(_record->facts.interfaces.size());
    for (std::size_t index = 0; index < _record->facts.interfaces.size(); ++index) {
        // All interfaces of the active configuration, HID or not, as the platform lists them.
        _interfaces.push_back(std::make_shared<UsbInterfaceEntry>(_record, index));
    }
}

void UsbDeviceEntry::collect(List& entries, bool withHid)
{
    forEach(withHid, [&entries](const std::shared_ptr<RegistryEntry>& entry) { entries.push_back(entry); });
}

CFRef<CFDictionaryRef> UsbDeviceEntry::makeProperties() const
{
    const platform::DeviceFacts& facts = _record->facts;
    PropertyList list;
    list.number(CFSTR(kUSBVendorID), facts.vendorID);
    list.number(CFSTR(kUSBProductID), facts.productID);
    list.number(CFSTR(kUSBDeviceReleaseNumber), facts.releaseNumber);
    list.number(CFSTR(kUSBDeviceClass), facts.deviceClass);
    list.number(CFSTR(kUSBDeviceSubClass), facts.deviceSubclass);
    list.number(CFSTR(kUSBDeviceProtocol), facts.deviceProtocol);
    list.number(CFSTR("bMaxPacketSize0"), facts.maxPacketSize0);
    list.number(CFSTR("bNumConfigurations"), facts.configurationCount);
    list.text(CFSTR(kUSBVendorString), facts.vendorName);
    // The platform publishes no empty product name, but an empty vendor name.
    if (!facts.productName.value_or("").empty()) {
        list.text(CFSTR(kUSBProductString), facts.productName);
    }
    list.text(CFSTR(kUSBSerialNumberString), facts.serialNumber);
    list.unsignedNumber(CFSTR(kUSBDevicePropertyLocationID), facts.locationID);
    if (facts.portNumber != 0) {
        list.number(CFSTR("PortNum"), facts.portNumber);
    }
    list.number(CFSTR("USB Address"), facts.address);
    list.number(CFSTR("Device Speed"), facts.speed);
    // The time of arrival tells two plug-in periods of one device apart.
    list.longNumber(CFSTR("sessionID"), static_cast<std::int64_t>(_record->attachTime));
    return list.finish();
}

UsbInterfaceEntry::UsbInterfaceEntry(std::shared_ptr<DeviceRecord> record, std::size_t index)
    : RegistryEntry(std::move(record), kInterfaceClasses), _index(index)
{
}

// A lock of its own: making a driver's entry parses a descriptor, and two threads may ask at once.
const RegistryEntry::List& UsbInterfaceEntry::children()
{
    const std::lock_guard guard(_driversMutex);
    if (!_driversMade) {
        _drivers.reserve(1);
        if (auto driver = makeHidDriverEntry(_record, _index)) {
            _drivers.push_back(std::move(driver));
        }
        // Set last: whoever asks after an exception gets another attempt.
        _driversMade = true;
    }
    return _drivers;
}

CFRef<CFDictionaryRef> UsbInterfaceEntry::makeProperties() const
{
    const platform::DeviceFacts& device = _record->facts;
    PropertyList list;
    list.number(CFSTR(kUSBInterfaceNumber), facts().number);
    list.number(CFSTR("bAlternateSetting"), facts().alternateSetting);
    list.number(CFSTR("bNumEndpoints"), facts().endpointCount);
    list.number(CFSTR(kUSBInterfaceClass), facts().interfaceClass);
    list.number(CFSTR(kUSBInterfaceSubClass), facts().interfaceSubclass);
    list.number(CFSTR(kUSBInterfaceProtocol), facts().interfaceProtocol);
    list.number(CFSTR("bConfigurationValue"), device.configurationValue);
    list.number(CFSTR(kUSBVendorID), device.vendorID);
    list.number(CFSTR(kUSBProductID), device.productID);
    list.number(CFSTR(kUSBDeviceReleaseNumber), device.releaseNumber);
    list.unsignedNumber(CFSTR(kUSBDevicePropertyLocationID), device.locationID);
    if (!facts().name.value_or("").empty()) {
        list.text(CFSTR(kUSBInterfaceName), facts().name);
    }
    return list.finish();
}

} // namespace qrx::iokit
