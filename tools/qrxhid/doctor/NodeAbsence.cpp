#include "doctor/NodeAbsence.h"

#include "doctor/Authorization.h"
#include "doctor/SysfsAttribute.h"

#include "Base/SystemCalls.h"

#include <algorithm>
#include <vector>

namespace qrxhid {

namespace {

using qrx::platform::InterfaceOutline;
using qrx::platform::SysfsDirectory;
using qrx::platform::SystemCalls;
using State = InterfaceFinding::State;

// The driver of the interface. It makes the HID device, which has a driver of its own (hid-generic or one for the
// model).
constexpr const char* kHIDDriver = "usbhid";
/// Programs that take an interface from the kernel (libusb does) show as this driver.
constexpr const char* kProgramsDriver = "usbfs";
/// The kernel's HIDRAW_MAX_DEVICES.
constexpr std::size_t kMostNodes = 64;

// Entries of the class, not nodes in /dev: the kernel counts the former, and a container sees only some of the latter.
std::size_t countReportNodes(const std::string& root)
{
    SysfsDirectory nodes(SystemCalls::kernel());
    std::vector<SysfsDirectory::Entry> entries;
    if (nodes.open(root + "/sys/class/hidraw") == SysfsDirectory::Result::done) {
        nodes.list(entries);
    }
    return static_cast<std::size_t>(
        std::count_if(entries.begin(), entries.end(), [](const auto& entry) { return entry.name[0] != '.'; }));
}

// "sudo echo > file" would open the file as the user who asks; tee opens it as root.
std::string writeCommand(const std::string& text, const std::string& file)
{
    return "echo " + text + " | sudo tee /sys/bus/" + file;
}

std::string kernelLog(const std::string& of)
{
    return "sudo dmesg | grep " + of;
}

/// "/dev/bus/usb/003/007"
std::string deviceFile(const SysfsDirectory& device)
{
    // sysfs writes the numbers without zeros, the device file has three digits.
    const auto threeDigits = [](const std::string& number) {
        return number.size() < 3 ? std::string(3 - number.size(), '0') + number : number;
    };
    return "/dev/bus/usb/" + threeDigits(attributeText(device, "busnum")) + "/" +
           threeDigits(attributeText(device, "devnum"));
}

/// No driver has the interface.
void explainNoDriver(InterfaceFinding& finding, const std::string& root, const std::string& place,
                     const std::string& interface)
{
    // An interface that is kept out has no driver either, and binding one would be refused.
    if (explainKeptOut(finding, root, interface)) {
        return;
    }
    finding.state = State::noDriver;
    SysfsDirectory driver(SystemCalls::kernel());
    if (driver.open(root + "/sys/bus/usb/drivers/" + kHIDDriver) != SysfsDirectory::Result::done) {
        finding.reasons = {"no driver has the interface: the kernel's HID driver is not loaded"};
        finding.nextSteps = {"sudo modprobe usbhid"};
        return;
    }
    finding.reasons = {"no driver has the interface: it was taken from the kernel's HID driver, or the device did not "
                       "answer that one's questions"};
    finding.nextSteps = {kernelLog(place), writeCommand(interface, "usb/drivers/usbhid/bind")};
}

/// A HID device is there, and no driver has it.
void explainNoHIDDriver(InterfaceFinding& finding, const std::string& hidDevice)
{
    finding.reasons = {"no driver has the HID device " + hidDevice +
                       ": the kernel refuses its report descriptor (its log says \"parsing failed\" then), or the "
                       "driver for it is not loaded or was taken from it"};
    finding.nextSteps = {kernelLog(hidDevice), "sudo modprobe $(cat /sys/bus/hid/devices/" + hidDevice + "/modalias)",
                         writeCommand(hidDevice, "hid/drivers/hid-generic/bind")};
}

/// A HID device is there, and it has no report node.
void explainNoNode(InterfaceFinding& finding, const std::string& root, const std::string& driver,
                   const std::string& hidDevice)
{
    finding.state = State::noNode;
    if (driver.empty()) {
        explainNoHIDDriver(finding, hidDevice);
    } else if (countReportNodes(root) >= kMostNodes) {
        // Asked before the driver is blamed: with the table full, every driver fails to make a node.
        finding.reasons = {"all 64 report nodes that the kernel has are taken"};
        finding.nextSteps = {"unplug HID devices that are not needed, then plug this one in again"};
    } else {
        finding.reasons = {"the driver " + driver + " has the HID device and makes no report node of it"};
        finding.nextSteps = {writeCommand(hidDevice, "hid/drivers/" + driver + "/unbind"),
                             writeCommand(hidDevice, "hid/drivers/hid-generic/bind")};
    }
}

// Unbinding comes before binding: an interface has one driver at a time.
void explainOtherDriver(InterfaceFinding& finding, const SysfsDirectory& device, const std::string& driver,
                        const std::string& interface)
{
    finding.state = State::otherDriver;
    if (driver == kProgramsDriver) {
        finding.reasons = {"a program has taken the interface from the kernel (usbfs), as those that use libusb do"};
        finding.nextSteps = {"end that program; this names it: sudo fuser -v " + deviceFile(device)};
    } else {
        finding.reasons = {"the driver " + driver + " has the interface, not " + kHIDDriver};
        finding.nextSteps = {writeCommand(interface, "usb/drivers/" + driver + "/unbind")};
    }
    finding.nextSteps.push_back(writeCommand(interface, "usb/drivers/usbhid/bind"));
}

} // namespace

// From the report node downwards: node, HID device, driver of the interface. The first one that is missing is the
// cause, since each is made by the one below it.
void explainAbsence(InterfaceFinding& finding, const std::string& root, const std::string& place,
                    const InterfaceOutline& outline)
{
    SysfsDirectory device(SystemCalls::kernel());
    device.open(root + "/sys/bus/usb/devices/" + place);
    const std::string driver = device.linkTarget(outline.name + "/driver");
    if (!outline.hidDevice.empty()) {
        explainNoNode(finding, root, device.linkTarget(outline.name + "/" + outline.hidDevice + "/driver"),
                      outline.hidDevice);
    } else if (driver.empty()) {
        explainNoDriver(finding, root, place, outline.name);
    } else if (driver == kHIDDriver) {
        finding.state = State::noHIDDevice;
        finding.reasons = {"the kernel's HID driver has refused what the device says of itself"};
        finding.nextSteps = {kernelLog(place)};
    } else {
        explainOtherDriver(finding, device, driver, outline.name);
    }
}

void explainMissing(InterfaceFinding& finding, const std::string& root, const std::string& enclosure)
{
    finding.state = State::nodeMissing;
    finding.reasons = {"the kernel has this report node, and it is not in /dev" +
                       (enclosure.empty() ? "" : " of " + enclosure)};
    if (!enclosure.empty()) {
        finding.nextSteps = {"give the node to it from outside: " + finding.node};
        return;
    }
    finding.nextSteps = {"unplug the device and plug it in again: the kernel makes the node anew"};
    SysfsDirectory nodes(SystemCalls::kernel());
    nodes.open(root + "/sys/class/hidraw");
    // "245:0" in sysfs; mknod takes two words.
    std::string numbers = attributeText(nodes, finding.node.substr(finding.node.rfind('/') + 1) + "/dev");
    const std::size_t colon = numbers.find(':');
    if (colon != std::string::npos) {
        numbers[colon] = ' ';
        finding.nextSteps.push_back("or where /dev is not the kernel's own: sudo mknod -m 600 " + finding.node + " c " +
                                    numbers);
    }
}

} // namespace qrxhid
