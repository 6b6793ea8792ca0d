#include "HidProperties.h"

#include "ElementProperties.h"
#include "PropertyList.h"

#include <IOKit/hid/IOHIDKeys.h>

#include <utility>
#include <vector>

namespace qrx::iokit {

namespace {

/// In microseconds. The endpoint descriptor has the real interval; no program reads it from here, so a usual value is
/// published.
constexpr std::int32_t kReportInterval = 8000;

CFRef<CFTypeRef> makeUsagePair(const hid::UsagePair& pair)
{
    PropertyList list;
    list.unsignedNumber(CFSTR(kIOHIDDeviceUsageKey), pair.usage);
    list.unsignedNumber(CFSTR(kIOHIDDeviceUsagePageKey), pair.usagePage);
    return asObject(list.finish());
}

CFRef<CFTypeRef> makeUsagePairs(const hid::ElementTree& tree)
{
    std::vector<CFRef<CFTypeRef>> pairs;
    for (const hid::UsagePair& pair : tree.usagePairs) {
        pairs.push_back(makeUsagePair(pair));
    }
    // Matching by usage needs at least one pair, also for a descriptor without collections.
    if (pairs.empty()) {
        pairs.push_back(makeUsagePair(tree.primaryUsage));
    }
    return asObject(makeArray(pairs));
}

void addIdentity(PropertyList& list, const platform::DeviceFacts& device, const platform::InterfaceFacts& interface)
{
    list.text(CFSTR(kIOHIDTransportKey), "USB");
    list.number(CFSTR(kIOHIDVendorIDKey), device.vendorID);
    list.number(CFSTR(kIOHIDProductIDKey), device.productID);
    list.number(CFSTR(kIOHIDVersionNumberKey), device.releaseNumber);
    list.text(CFSTR(kIOHIDManufacturerKey), device.vendorName);
    list.text(CFSTR(kIOHIDProductKey), device.productName);
    list.text(CFSTR(kIOHIDSerialNumberKey), device.serialNumber);
    list.unsignedNumber(CFSTR(kIOHIDLocationIDKey), device.locationID);
    if (interface.countryCode) {
        list.number(CFSTR(kIOHIDCountryCodeKey), *interface.countryCode);
    }
    list.number(CFSTR("BootProtocol"), interface.interfaceProtocol);
    list.text(CFSTR("IOClass"), "IOUSBHIDDriver");
    list.text(CFSTR("IOProviderClass"), "IOUSBInterface");
}

} // namespace

CFRef<CFDictionaryRef> makeHidProperties(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface,
                                         const hid::ElementTree& tree, CFArrayRef elements)
{
    PropertyList list;
    addIdentity(list, device, interface);
    list.unsignedNumber(CFSTR(kIOHIDPrimaryUsagePageKey), tree.primaryUsage.usagePage);
    list.unsignedNumber(CFSTR(kIOHIDPrimaryUsageKey), tree.primaryUsage.usage);
    list.object(CFSTR(kIOHIDDeviceUsagePairsKey), makeUsagePairs(tree));
    list.number(CFSTR(kIOHIDReportIntervalKey), kReportInterval);
    list.unsignedNumber(CFSTR(kIOHIDMaxInputReportSizeKey), tree.maxInputReportSize);
    list.unsignedNumber(CFSTR(kIOHIDMaxOutputReportSizeKey), tree.maxOutputReportSize);
    list.unsignedNumber(CFSTR(kIOHIDMaxFeatureReportSizeKey), tree.maxFeatureReportSize);
    const auto& bytes = interface.reportDescriptor;
    list.object(
        CFSTR(kIOHIDReportDescriptorKey),
        CFRef<CFTypeRef>::adopt(CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()))));
    list.object(CFSTR(kIOHIDElementKey), CFRef<CFTypeRef>::retain(elements));
    // What a queue of whole reports is made of, and what the model's reports take their sizes from.
    list.object(CFSTR("InputReportElements"), asObject(makeReportHandlers(tree)));
    return list.finish();
}

} // namespace qrx::iokit
