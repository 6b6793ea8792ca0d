#include "doctor/Authorization.h"

#include "doctor/SysfsAttribute.h"

#include "Base/SystemCalls.h"
#include "Linux/sysfs/UsbDescriptors.h"

#include <algorithm>
#include <span>

namespace qrxhid {

namespace {

using qrx::platform::SysfsDirectory;
using qrx::platform::SystemCalls;
using qrx::platform::UsbDescriptors;

constexpr const char* kDevices = "/sys/bus/usb/devices/";

bool isKeptOut(const SysfsDirectory& directory)
{
    return attributeText(directory, "authorized") == "0";
}

std::string reasonFor(const char* what)
{
    return std::string("the kernel keeps the ") + what +
           " out (its attribute authorized is 0): the administrator wants it so, or a guard such as USBGuard";
}

std::string letIn(const std::string& name)
{
    return std::string("echo 1 | sudo tee ") + kDevices + name + "/authorized";
}

// A device that is kept out has no configuration, so sysfs shows no interfaces: what it would be stands in the
// descriptors that the kernel has read before.
std::optional<UsbDescriptors> readDescriptors(const SysfsDirectory& device)
{
    std::string bytes;
    device.read("descriptors", bytes, qrx::platform::kUsbDescriptorsLimit);
    return qrx::platform::parseUsbDescriptors({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

// Every configuration counts: which one it will get is not decided while it is kept out.
bool announcesHID(const UsbDescriptors& usb)
{
    return std::ranges::any_of(usb.configurations, &UsbDescriptors::Configuration::hasHID);
}

} // namespace

std::optional<DeviceFinding> findKeptOut(const std::string& root, const std::string& place)
{
    SysfsDirectory device(SystemCalls::kernel());
    if (device.open(root + kDevices + place) != SysfsDirectory::Result::done || !isKeptOut(device)) {
        return std::nullopt;
    }
    const std::optional<UsbDescriptors> usb = readDescriptors(device);
    if (!usb || !announcesHID(*usb)) {
        return std::nullopt;
    }
    DeviceFinding finding;
    finding.ids = {usb->vendorID, usb->productID};
    // The kernel reads strings before it asks whether the device is authorized, so they are there.
    finding.productName = attributeText(device, "product");
    finding.serialNumber = attributeText(device, "serial");
    finding.place = place;
    finding.reasons = {reasonFor("device")};
    finding.nextSteps = {letIn(place)};
    return finding;
}

// Letting an interface in does not look for a driver, unlike letting a device in; drivers_probe does.
bool explainKeptOut(InterfaceFinding& finding, const std::string& root, const std::string& interface)
{
    SysfsDirectory folder(SystemCalls::kernel());
    if (folder.open(root + kDevices + interface) != SysfsDirectory::Result::done || !isKeptOut(folder)) {
        return false;
    }
    finding.state = InterfaceFinding::State::noDriver;
    finding.reasons = {reasonFor("interface")};
    finding.nextSteps = {letIn(interface), "echo " + interface + " | sudo tee /sys/bus/usb/drivers_probe"};
    return true;
}

} // namespace qrxhid
