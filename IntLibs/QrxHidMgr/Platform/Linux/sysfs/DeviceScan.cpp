// The walk of the device tree in sysfs. One folder, /sys/bus/usb/devices, lists all devices and interfaces of the bus
// by name ("1-4.2", "1-4.2:1.0"); one more, /sys/class/hidraw, has a link for each report node, whose target names
// interface, HID device and node. These two listings find nearly everything. For a device that is new, one file with
// its USB descriptors (cached by the kernel, so the device is not disturbed), its strings and the report descriptors
// are read, each once.
//
// Anything may vanish between two steps, and anything may be missing because it has not appeared yet: the kernel sets a
// device up piece by piece. So four things can go wrong with every reading. What is gone is left out. What is missing
// makes the device incomplete. What failed for lack of descriptors or memory is read again later, because the lack is
// ours and not the device's. Any other failure is told apart from "gone", so that no device is taken off for an error
// of reading.

#include "DeviceScan.h"

#include "Linux/hidraw/HidrawNode.h"
#include "SysfsText.h"
#include "UsbAttributes.h"
#include "UsbNames.h"

#include <algorithm>
#include <map>

namespace qrx::platform {

namespace {

/// The USB driver that makes HID devices; those of other buses have others.
constexpr std::string_view kHIDDriver = "usbhid";
/// The kernel refuses longer report descriptors (HID_MAX_DESCRIPTOR_SIZE).
constexpr std::size_t kReportDescriptorLimit = 4096;

using Entries = std::vector<SysfsDirectory::Entry>;
using FileResult = SysfsDirectory::Result;

DeviceScan::Result resultOf(FileResult result)
{
    switch (result) {
    case FileResult::done:
        return DeviceScan::Result::complete;
    case FileResult::gone:
        return DeviceScan::Result::gone;
    case FileResult::scarce:
        return DeviceScan::Result::scarce;
    case FileResult::failed:
        break;
    }
    return DeviceScan::Result::failed;
}

/// Whether the file may exist, but could not be read.
bool isUnknown(FileResult result)
{
    return result == FileResult::failed || result == FileResult::scarce;
}

std::span<const std::uint8_t> bytesOf(const std::string& text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// By configuration and number, so that "1-1:1.10" comes after "1-1:1.9".
bool comesBefore(const std::string& left, const std::string& right)
{
    const auto a = usbInterfaceName(left);
    const auto b = usbInterfaceName(right);
    return std::pair(a->configuration, a->number) < std::pair(b->configuration, b->number);
}

/// Keeps the names in order. A device has at most some dozens.
void addInterface(std::vector<std::string>& names, const std::string& name)
{
    names.insert(std::upper_bound(names.begin(), names.end(), name, comesBefore), name);
}

} // namespace

/// The state of reading one device.
struct DeviceScan::Reading {
    Reading(SystemCalls& calls, const ListedDevice& listedDevice, ScannedDevice& result)
        : directory(calls), listed(listedDevice), scanned(result)
    {
    }

    SysfsDirectory directory;
    const ListedDevice& listed;
    ScannedDevice& scanned;
    UsbDescriptors usb;
    /// The active one; null before any interface is there, and where the descriptors could not be read.
    const UsbDescriptors::Configuration* configuration = nullptr;
    std::vector<std::shared_ptr<HidrawNode>> nodes;
    bool isComplete = true;
    /// Something that is there could not be read.
    bool hasFailed = false;
    /// The reason was a lack of descriptors or memory.
    bool isScarce = false;

    void note(FileResult result)
    {
        hasFailed = hasFailed || isUnknown(result);
        isScarce = isScarce || result == FileResult::scarce;
    }
};

DeviceScan::DeviceScan(SystemCalls& calls, const std::string& sysfsRoot, std::string deviceRoot, NodeReadiness& nodes)
    : _calls(calls), _busPath(sysfsRoot + "/bus/usb/devices"), _nodesPath(sysfsRoot + "/class/hidraw"),
      _deviceRoot(std::move(deviceRoot)), _nodes(nodes)
{
}

bool DeviceScan::list(std::vector<ListedDevice>& devices)
{
    devices.clear();
    SysfsDirectory bus(_calls);
    const FileResult opened = bus.open(_busPath);
    // No such folder: the machine, or the container, has no USB.
    if (opened == FileResult::gone) {
        return true;
    }
    Entries entries;
    if (opened != FileResult::done || bus.list(entries) != FileResult::done) {
        return false;
    }
    const auto nodes = std::make_shared<ReportNodes>();
    if (nodes->read(_calls, _nodesPath) != FileResult::done) {
        return false;
    }
    std::map<std::string, ListedDevice, std::less<>> byName;
    for (const auto& entry : entries) {
        if (usbPlace(entry.name)) {
            auto& device = byName[entry.name];
            device.name = entry.name;
            device.inode = entry.inode;
        } else if (const auto interface = usbInterfaceName(entry.name)) {
            // The interface may be listed before its device; a device that is not listed at all leaves an entry without
            // a name.
            addInterface(byName[std::string(interface->device)].interfaces, entry.name);
        }
    }
    for (auto& [name, device] : byName) {
        if (!device.name.empty()) {
            device.nodes = nodes;
            devices.push_back(std::move(device));
        }
    }
    sort(devices, bus);
    return true;
}

/// In sysfs, inode numbers grow with time, so their order is the order of arrival. In a copy of such a tree they have
/// no meaning; the order of the places is used there.
void DeviceScan::sort(std::vector<ListedDevice>& devices, const SysfsDirectory& bus)
{
    if (devices.size() < 2) {
        return;
    }
    if (!_isSysfs) {
        _isSysfs = bus.isSysfs();
    }
    // Pairs are sorted because std::sort for them is instantiated already. Devices with equal keys stay in the order of
    // their names.
    std::vector<std::pair<std::uint64_t, std::size_t>> order;
    for (std::size_t place = 0; place < devices.size(); ++place) {
        const ListedDevice& device = devices[place];
        order.emplace_back(*_isSysfs ? device.inode : usbPlace(device.name)->locationID, place);
    }
    std::sort(order.begin(), order.end());
    std::vector<ListedDevice> sorted;
    sorted.reserve(devices.size());
    for (const auto& [key, place] : order) {
        sorted.push_back(std::move(devices[place]));
    }
    devices = std::move(sorted);
}

DeviceScan::Result DeviceScan::list(const std::string& name, ListedDevice& device)
{
    device = {name, 0, {}, {}};
    SysfsDirectory directory(_calls);
    Entries entries;
    FileResult result = directory.open(pathOf(name));
    if (result == FileResult::done) {
        result = directory.list(entries);
    }
    if (result != FileResult::done) {
        return resultOf(result);
    }
    for (const auto& entry : entries) {
        const auto interface = usbInterfaceName(entry.name);
        if (interface && interface->device == name) {
            addInterface(device.interfaces, entry.name);
        }
    }
    const auto nodes = std::make_shared<ReportNodes>();
    result = nodes->read(_calls, _nodesPath);
    device.nodes = nodes;
    return resultOf(result);
}

DeviceScan::Comparison DeviceScan::compare(const ListedDevice& device, const DeviceOutline& known)
{
    const auto isSameName = [](const std::string& name, const InterfaceOutline& one) { return name == one.name; };
    // An interface that came or went, with another configuration for instance, makes another device.
    if (!std::equal(device.interfaces.begin(), device.interfaces.end(), known.begin(), known.end(), isSameName)) {
        return Comparison::different;
    }
    for (const InterfaceOutline& old : known) {
        if (!old.isOfHID) {
            continue;
        }
        InterfaceOutline now;
        now.name = old.name;
        now.isOfHID = true;
        // The link of a report node gives all that is compared. Without a node the interface's own folder is read.
        if (!takeNode(device, now)) {
            SysfsDirectory folder(_calls);
            const FileResult result = readFolder(folder, folder.open(pathOf(device.name) + "/" + old.name), now);
            if (isUnknown(result)) {
                return result == FileResult::scarce ? Comparison::scarce : Comparison::unknown;
            }
            // A link could not be read: the interface may have a node that is not known.
            if (!now.hidDevice.empty() && !device.nodes->isWhole()) {
                return Comparison::unknown;
            }
        }
        if (now != old) {
            return Comparison::different;
        }
    }
    return Comparison::same;
}

std::optional<std::chrono::milliseconds> DeviceScan::age(const std::string& name)
{
    SysfsDirectory directory(_calls);
    std::string text;
    if (directory.open(pathOf(name)) != FileResult::done ||
        // In milliseconds, and present only on kernels with power management of USB.
        directory.read("power/connected_duration", text) != FileResult::done) {
        return std::nullopt;
    }
    const auto milliseconds = decimalNumber(text, UINT32_MAX);
    return milliseconds ? std::optional(std::chrono::milliseconds(*milliseconds)) : std::nullopt;
}

DeviceScan::Result DeviceScan::read(const ListedDevice& device, ScannedDevice& scanned)
{
    scanned = {};
    Reading reading(_calls, device, scanned);
    const Result result = read(reading);
    return reading.isScarce ? Result::scarce : result;
}

DeviceScan::Result DeviceScan::read(Reading& reading)
{
    const ListedDevice& device = reading.listed;
    const FileResult opened = reading.directory.open(pathOf(device.name));
    if (opened != FileResult::done) {
        return resultOf(opened);
    }
    const Result usb = readUsbFacts(reading);
    if (usb != Result::complete) {
        return usb;
    }
    // An interface that cannot be read does not stop the others: their facts are published if nothing better comes.
    for (const std::string& name : device.interfaces) {
        if (!readInterface(reading, name)) {
            reading.isComplete = false;
        }
    }
    if (!isOfHID(reading)) {
        return Result::notHID;
    }
    // The kernel makes the interfaces one after the other; the descriptors say how many there will be.
    if (reading.configuration != nullptr && device.interfaces.size() < reading.configuration->interfaceCount()) {
        reading.isComplete = false;
    }
    readDeviceFacts(reading);
    if (reading.hasFailed) {
        return Result::failed;
    }
    return reading.isComplete ? Result::complete : Result::incomplete;
}

/// True also before the HID interface exists, if the descriptors announce one: then the device is waited for.
bool DeviceScan::isOfHID(const Reading& reading)
{
    const auto& outline = reading.scanned.outline;
    if (std::any_of(outline.begin(), outline.end(), [](const InterfaceOutline& one) { return one.isOfHID; })) {
        return true;
    }
    const auto* configuration = reading.configuration;
    return configuration != nullptr && configuration->hasHID();
}

DeviceScan::Result DeviceScan::readUsbFacts(Reading& reading)
{
    std::string bytes;
    auto usb = readText(reading, "descriptors", bytes, kUsbDescriptorsLimit) ? parseUsbDescriptors(bytesOf(bytes))
                                                                             : std::nullopt;
    if (!usb) {
        // The file with the descriptors could not be read or is not valid. Separate attributes have most of the same
        // facts.
        usb.emplace();
        if (!readDeviceAttributes(reading.directory, *usb)) {
            return reading.hasFailed ? Result::failed : Result::gone;
        }
    }
    reading.usb = std::move(*usb);
    if (!reading.listed.interfaces.empty()) {
        // An interface's name carries the active configuration's value.
        const std::uint8_t value = usbInterfaceName(reading.listed.interfaces.front())->configuration;
        reading.scanned.facts.configurationValue = value;
        reading.configuration = reading.usb.configuration(value);
    }
    return Result::complete;
}

/// False if the interface is not there in full.
bool DeviceScan::readInterface(Reading& reading, const std::string& name)
{
    const auto parts = usbInterfaceName(name);
    if (parts->configuration != reading.scanned.facts.configurationValue) {
        return false; // a change of the configuration is going on
    }
    const UsbDescriptors::Interface setting = chooseSetting(reading, name);
    InterfaceFacts facts;
    facts.number = parts->number;
    facts.alternateSetting = setting.alternateSetting;
    facts.endpointCount = setting.endpointCount;
    facts.interfaceClass = setting.interfaceClass;
    facts.interfaceSubclass = setting.interfaceSubclass;
    facts.interfaceProtocol = setting.interfaceProtocol;
    InterfaceOutline outline;
    outline.name = name;
    const bool hasNode = takeNode(reading.listed, outline);
    // A HID driver can be told to take interfaces of other classes as well.
    outline.isOfHID =
        hasNode || setting.interfaceClass == kHIDClass || reading.directory.linkTarget(name + "/driver") == kHIDDriver;
    bool isWhole = true;
    if (outline.isOfHID) {
        FileResult result = FileResult::done;
        if (!hasNode) {
            SysfsDirectory folder(_calls);
            result = readFolder(folder, folder.open(reading.directory, name), outline);
        }
        if (result == FileResult::gone) {
            return false;
        }
        reading.note(result);
        readHIDFacts(reading, outline, facts);
        facts.countryCode = facts.hid != nullptr ? setting.countryCode : std::nullopt;
        isWhole = result == FileResult::done && isComplete(reading, outline);
    }
    readInterfaceName(reading, name, setting.nameIndex, facts);
    reading.scanned.outline.push_back(std::move(outline));
    reading.scanned.facts.interfaces.push_back(std::move(facts));
    return isWhole;
}

/// The descriptor of the present alternate setting; all zero where nothing can be read.
UsbDescriptors::Interface DeviceScan::chooseSetting(Reading& reading, const std::string& name)
{
    const std::uint8_t number = usbInterfaceName(name)->number;
    std::vector<const UsbDescriptors::Interface*> settings;
    if (reading.configuration != nullptr) {
        for (const auto& one : reading.configuration->interfaces) {
            if (one.number == number) {
                settings.push_back(&one);
            }
        }
    }
    if (settings.empty()) {
        UsbDescriptors::Interface setting;
        readInterfaceAttributes(reading.directory, name, setting);
        return setting;
    }
    // Only here the alternate setting matters: one file is read for the few interfaces that have several.
    if (settings.size() > 1) {
        std::string text;
        readText(reading, name + "/bAlternateSetting", text);
        const auto present = decimalNumber(text, UINT8_MAX);
        for (const auto* one : settings) {
            if (present && one->alternateSetting == *present) {
                return *one;
            }
        }
    }
    return *settings.front();
}

void DeviceScan::readInterfaceName(Reading& reading, const std::string& directory, std::uint8_t index,
                                   InterfaceFacts& facts)
{
    // An index of 0 means that there is no string, so no file is asked for.
    if (index != 0) {
        facts.name = readString(reading, directory + "/interface");
        if (facts.name == "") {
            facts.name.reset();
        }
    }
}

/// Takes the outline from the report node's link, which says everything. False if there is no node.
bool DeviceScan::takeNode(const ListedDevice& device, InterfaceOutline& outline)
{
    const ReportNodes::Node* node = device.nodes->find(outline.name);
    if (node == nullptr) {
        return false;
    }
    outline.hasDriver = true;
    outline.hidDevice = node->hidDevice;
    outline.node = node->name;
    outline.nodeInode = node->inode;
    return true;
}

/// Reads the outline of an interface that has no report node from its folder; `result` is that of opening it.
FileResult DeviceScan::readFolder(const SysfsDirectory& folder, FileResult result, InterfaceOutline& outline)
{
    Entries entries;
    if (result == FileResult::done) {
        result = folder.list(entries);
    }
    if (result != FileResult::done) {
        return result;
    }
    for (const auto& entry : entries) {
        outline.inode = entry.name == "." ? entry.inode : outline.inode;
        outline.hasDriver = outline.hasDriver || entry.name == "driver";
        // A driver that is being exchanged may show two for a moment. The lower name is the same one on every look.
        if (isHIDDeviceName(entry.name) && (outline.hidDevice.empty() || entry.name < outline.hidDevice)) {
            outline.hidDevice = entry.name;
        }
    }
    return FileResult::done;
}

void DeviceScan::readHIDFacts(Reading& reading, const InterfaceOutline& outline, InterfaceFacts& facts)
{
    if (outline.hidDevice.empty()) {
        return;
    }
    const std::string hid = outline.name + "/" + outline.hidDevice;
    std::string descriptor;
    const bool isRead = readText(reading, hid + "/report_descriptor", descriptor, kReportDescriptorLimit);
    // The kernel fills the file when a HID driver is bound. With a node, an empty one is the device's own fault.
    if (!isRead || (descriptor.empty() && outline.node.empty())) {
        reading.isComplete = false;
        return;
    }
    const auto bytes = bytesOf(descriptor);
    facts.reportDescriptor.assign(bytes.begin(), bytes.end());
    HidrawNode::Place place;
    place.interfaceNumber = facts.number;
    if (!outline.node.empty()) {
        place.node = _deviceRoot + "/" + outline.node;
        place.sysfs = pathOf(reading.listed.name) + "/" + hid + "/hidraw/" + outline.node;
    }
    auto node = std::make_shared<HidrawNode>(_calls, std::move(place), facts.reportDescriptor);
    reading.nodes.push_back(node);
    facts.hid = std::move(node);
}

bool DeviceScan::isComplete(const Reading& reading, const InterfaceOutline& outline) const
{
    if (!outline.hasDriver) {
        return false; // the driver may be a module that is still being loaded
    }
    if (outline.hidDevice.empty()) {
        // Some interfaces of class 3 are bound by another USB driver, which makes no HID device; those are complete.
        return reading.directory.linkTarget(outline.name + "/driver") != kHIDDriver;
    }
    return !outline.node.empty() && _nodes.isReady(outline.hidDevice, outline.node);
}

void DeviceScan::readDeviceFacts(Reading& reading)
{
    const UsbDescriptors& usb = reading.usb;
    DeviceFacts& facts = reading.scanned.facts;
    facts.vendorID = usb.vendorID;
    facts.productID = usb.productID;
    facts.releaseNumber = usb.releaseNumber;
    facts.deviceClass = usb.deviceClass;
    facts.deviceSubclass = usb.deviceSubclass;
    facts.deviceProtocol = usb.deviceProtocol;
    facts.maxPacketSize0 = usb.maxPacketSize0;
    facts.configurationCount = usb.configurationCount;
    const auto string = [&](std::uint8_t index, const char* file) {
        return index != 0 ? readString(reading, file) : std::nullopt;
    };
    facts.vendorName = string(usb.vendorNameIndex, "manufacturer");
    facts.productName = string(usb.productNameIndex, "product");
    if (facts.productName == "") {
        facts.productName.reset();
    }
    facts.serialNumber = string(usb.serialNumberIndex, "serial");
    const UsbPlace place = *usbPlace(reading.listed.name);
    facts.locationID = place.locationID;
    facts.portNumber = place.portNumber;
    facts.place = reading.listed.name;
    std::string text;
    readText(reading, "devnum", text);
    facts.address = static_cast<std::uint16_t>(decimalNumber(text, UINT16_MAX).value_or(0));
    readText(reading, "speed", text);
    facts.speed = speedNumber(text);
    reading.scanned.access = std::make_shared<DeviceAccess>(facts);
    for (const auto& node : reading.nodes) {
        node->setAccess(reading.scanned.access);
    }
}

std::optional<std::string> DeviceScan::readString(Reading& reading, const std::string& file) const
{
    std::string bytes;
    if (!readText(reading, file, bytes)) {
        return std::nullopt;
    }
    return utf8Text(bytes);
}

/// False if there is no such file, or if it could not be read; the reading notes the second case.
bool DeviceScan::readText(Reading& reading, const std::string& file, std::string& text, std::size_t limitBytes) const
{
    const FileResult result = reading.directory.read(file, text, limitBytes);
    reading.note(result);
    return result == FileResult::done;
}

} // namespace qrx::platform
