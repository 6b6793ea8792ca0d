#include "HidEntries.h"

#include "Base/Log.h"
#include "HidProperties.h"
#include "PropertyList.h"
#include "SharedElements.h"

#include <IOKit/hid/IOHIDKeys.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

namespace qrx::iokit {

namespace {

constexpr std::array<std::string_view, 4> kDriverClasses{"IOUSBHIDDriver", kIOHIDDeviceKey, "IOService",
                                                         "IORegistryEntry"};
constexpr std::array<std::string_view, 3> kClientClasses{"IOHIDInterface", "IOService", "IORegistryEntry"};

/// Enough to see what is wrong. A hostile descriptor must not fill the log.
constexpr std::size_t kDiagnosisLines = 8;

std::string nameOf(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface)
{
    char text[64];
    std::snprintf(text, sizeof text, "device %04x:%04x", device.vendorID, device.productID);
    return platform::joined({text, device.place.empty() ? "" : " at ", device.place, ", interface ",
                             std::to_string(interface.number), ": report descriptor"});
}

void tellDiagnoses(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface,
                   const hid::Descriptor& descriptor)
{
    if (descriptor.diagnoses.empty() && descriptor.unlistedDiagnoses == 0) {
        return;
    }
    const std::string name = nameOf(device, interface);
    std::size_t told = 0;
    std::size_t untold = descriptor.unlistedDiagnoses;
    for (const hid::Diagnosis& diagnosis : descriptor.diagnoses) {
        if (told == kDiagnosisLines) {
            ++untold;
            continue;
        }
        // Warnings are for those who look for them: nearly every device breaks some rule.
        const auto level = diagnosis.isError ? platform::LogLevel::error : platform::LogLevel::info;
        if (platform::logs(level)) {
            platform::log(level, platform::joined({name, ", byte ", std::to_string(diagnosis.offset), ", ",
                                                   diagnosis.item, ": ", diagnosis.reason}));
            ++told;
        }
    }
    if (untold > 0) {
        platform::log(platform::LogLevel::error,
                      platform::joined({name, ": ", std::to_string(untold), " more faults"}));
    }
}

} // namespace

// Called at the first look at what is below an interface. The descriptor is read, its faults are logged, and the tree
// is turned into properties; afterwards the tree itself is not needed.
std::shared_ptr<HidDriverEntry> makeHidDriverEntry(std::shared_ptr<DeviceRecord> record, std::size_t interfaceIndex)
{
    const platform::InterfaceFacts& facts = record->facts.interfaces[interfaceIndex];
    if (!facts.hid) {
        return nullptr;
    }
    hid::Descriptor descriptor = record->elementShares.read(record->facts, interfaceIndex);
    const hid::ElementTree tree =
        hid::buildElementTree(descriptor, record->elementShares.limitsFor(record->facts, descriptor));
    tellDiagnoses(record->facts, facts, descriptor);
    // The platform publishes no driver for an interface without reports; an application would find a device that can do
    // nothing.
    if (!tree.hasFields) {
        platform::log(platform::LogLevel::error,
                      nameOf(record->facts, facts) + " declares no report: the interface is left out");
        return nullptr;
    }
    // Kept by the device, which releases it after all properties: those hold the array too.
    record->elements[interfaceIndex] = SharedElements::acquire(facts.reportDescriptor, tree);
    return std::make_shared<HidDriverEntry>(std::move(record), interfaceIndex, tree);
}

HidDriverEntry::HidDriverEntry(std::shared_ptr<DeviceRecord> record, std::size_t interfaceIndex,
                               const hid::ElementTree& tree)
    : RegistryEntry(std::move(record), kDriverClasses), _index(interfaceIndex),
      _dictionary(makeHidProperties(_record->facts, facts(), tree, _record->elements[interfaceIndex]->array()))
{
    // Exactly one client: the elements of a driver are listed once for each child that it has.
    _clients.push_back(std::make_shared<HidClientEntry>(_record));
}

CFRef<CFDictionaryRef> HidDriverEntry::makeProperties() const
{
    return _dictionary;
}

std::shared_ptr<const DriverElements> HidDriverEntry::elements()
{
    const std::lock_guard guard(_elementsMutex);
    // Only open devices with queues, or that are asked for values, need them. They are made again when they are asked
    // for, from the bytes, which costs less than keeping them for every device.
    std::shared_ptr<const DriverElements> elements = _elements.lock();
    if (!elements) {
        hid::Descriptor descriptor = hid::parseReportDescriptor(facts().reportDescriptor);
        elements = std::make_shared<const DriverElements>(DriverElements{
            hid::buildElementTree(descriptor, _record->elementShares.limitsFor(_record->facts, descriptor)),
            hid::ReportLayout(descriptor)});
        _elements = elements;
    }
    return elements;
}

HidClientEntry::HidClientEntry(std::shared_ptr<DeviceRecord> record) : RegistryEntry(std::move(record), kClientClasses)
{
}

CFRef<CFDictionaryRef> HidClientEntry::makeProperties() const
{
    const platform::DeviceFacts& device = _record->facts;
    PropertyList list;
    list.text(CFSTR(kIOHIDTransportKey), "USB");
    list.number(CFSTR(kIOHIDVendorIDKey), device.vendorID);
    list.number(CFSTR(kIOHIDProductIDKey), device.productID);
    list.number(CFSTR(kIOHIDVersionNumberKey), device.releaseNumber);
    list.unsignedNumber(CFSTR(kIOHIDLocationIDKey), device.locationID);
    return list.finish();
}

} // namespace qrx::iokit
