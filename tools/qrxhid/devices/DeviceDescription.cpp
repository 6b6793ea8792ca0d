#include "devices/DeviceDescription.h"

#include "PropertyHandle.h"
#include "PropertyReading.h"
#include "QrxHIDDeviceImpl.h"
#include "RegistryHandle.h"

#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDKeys.h>
#include <IOKit/usb/IOUSBLib.h>

#include <optional>

namespace qrxhid {

namespace {

/// By its value, since macOS 12 gave it another name.
constexpr mach_port_t kDefaultPort = 0;

PropertyHandle property(io_registry_entry_t entry, CFStringRef key)
{
    return PropertyHandle(IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0));
}

std::string textOf(io_registry_entry_t entry, CFStringRef key)
{
    const PropertyHandle value = property(entry, key);
    if (!value || CFGetTypeID(value.get()) != CFStringGetTypeID()) {
        return {};
    }
    const auto string = static_cast<CFStringRef>(value.get());
    // A UTF-16 unit takes at most three bytes of UTF-8.
    constexpr CFIndex kMostBytesOfUnit = 3;
    std::string text(static_cast<std::size_t>(CFStringGetLength(string) * kMostBytesOfUnit + 1), '\0');
    if (!CFStringGetCString(string, text.data(), static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8)) {
        return {};
    }
    // The terminator; a string of a device that contains the character 0 ends there as well.
    text.resize(text.find('\0'));
    return text;
}

std::uint8_t byteOf(io_registry_entry_t entry, CFStringRef key)
{
    return static_cast<std::uint8_t>(qrx::properties::liveNumber(entry, key));
}

std::optional<std::vector<std::uint8_t>> descriptorOf(io_registry_entry_t driver)
{
    const PropertyHandle value = property(driver, CFSTR(kIOHIDReportDescriptorKey));
    if (!value || CFGetTypeID(value.get()) != CFDataGetTypeID()) {
        return std::nullopt;
    }
    const auto data = static_cast<CFDataRef>(value.get());
    const std::uint8_t* bytes = CFDataGetBytePtr(data);
    return std::vector<std::uint8_t>(bytes, bytes + CFDataGetLength(data));
}

/// Calls `take` with each entry directly below.
template <typename Take>
void forEachChild(io_registry_entry_t entry, Take take)
{
    RegistryHandle children;
    IORegistryEntryGetChildIterator(entry, "IOService", children.out());
    while (const RegistryHandle child{IOIteratorNext(children.get())}) {
        take(child.get());
    }
}

void addInterface(QrxRecording& recording, io_registry_entry_t interface)
{
    if (!IOObjectConformsTo(interface, kIOUSBInterfaceClassName)) {
        return;
    }
    forEachChild(interface, [&recording, interface](io_registry_entry_t driver) {
        // An interface without a HID driver has no descriptor here, and a recording has no place for one.
        if (const auto descriptor = descriptorOf(driver)) {
            QrxRecordedInterface recorded;
            recorded.setNumber(byteOf(interface, CFSTR(kUSBInterfaceNumber)));
            recorded.setReportDescriptor(*descriptor);
            // A name of the registry that no header of macOS has a macro for.
            recorded.setName(textOf(interface, CFSTR("USB Interface Name")));
            recorded.setSubclass(byteOf(interface, CFSTR(kUSBInterfaceSubClass)));
            recorded.setProtocol(byteOf(interface, CFSTR(kUSBInterfaceProtocol)));
            recording.getInterfaces().push_back(std::move(recorded));
        }
    });
}

void describeIdentity(QrxRecording& recording, const QrxHIDDevice& device)
{
    recording.setVendorID(static_cast<std::uint16_t>(device.getVendorID()));
    recording.setProductID(static_cast<std::uint16_t>(device.getProductID()));
    recording.setReleaseNumber(static_cast<std::uint16_t>(device.getReleaseNumber()));
    recording.setDeviceClass(static_cast<std::uint8_t>(device.getClass()));
    recording.setDeviceSubclass(static_cast<std::uint8_t>(device.getSubclass()));
    recording.setDeviceProtocol(static_cast<std::uint8_t>(device.getProtocol()));
}

void describeEntry(QrxRecording& recording, io_registry_entry_t entry)
{
    recording.setVendorName(textOf(entry, CFSTR(kUSBVendorString)));
    recording.setProductName(textOf(entry, CFSTR(kUSBProductString)));
    recording.setSerialNumber(textOf(entry, CFSTR(kUSBSerialNumberString)));
    forEachChild(entry, [&recording](io_registry_entry_t child) { addInterface(recording, child); });
}

} // namespace

// By the registry entries rather than the model: of an interface's class and name the model says nothing.
QrxRecording describeDevice(const QrxHIDDevice& device)
{
    QrxRecording recording;
    describeIdentity(recording, device);
    // The backend's class alone knows its entry. A device of another backend keeps its IDs and gets no names.
    const auto* known = dynamic_cast<const _QrxHIDDeviceImpl*>(&device);
    RegistryHandle entries;
    // The matching dictionary is consumed by the call.
    IOServiceGetMatchingServices(kDefaultPort, IOServiceMatching(kIOUSBDeviceClassName), entries.out());
    while (const RegistryHandle entry{IOIteratorNext(entries.get())}) {
        if (known != nullptr && *known == entry.get()) {
            describeEntry(recording, entry.get());
            break;
        }
    }
    return recording;
}

} // namespace qrxhid
