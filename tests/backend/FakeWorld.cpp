#include "FakeWorld.h"

#include <IOKit/usb/IOUSBLib.h>

using namespace fake;

namespace world {
namespace {

constexpr int kInput = 1;
constexpr int kButton = 2;
constexpr int kOutput = 129;
constexpr int kFeature = 257;
constexpr int kCollection = 513;

Dict collection(int cookie, int kind, int page, int usage, List elements)
{
    return {{"ElementCookie", cookie}, {"Type", kCollection}, {"CollectionType", kind},         {"ReportID", 0},
            {"UsagePage", page},       {"Usage", usage},      {"Elements", std::move(elements)}};
}

Dict button(int cookie, int usage)
{
    return field(cookie, kButton, 0, 9, usage, {{"Max", 1}, {"ScaledMax", 1}});
}

Dict axis(int cookie, int usage)
{
    return field(cookie, kInput, 0, 1, usage,
                 {{"Size", 8},
                  {"ReportSize", 8},
                  {"Flags", 6},
                  {"Min", -127},
                  {"Max", 127},
                  {"ScaledMin", -127},
                  {"ScaledMax", 127},
                  {"IsRelative", true}});
}

/// A row of bytes: the head, and what the platform publishes behind it.
void addBytes(List& elements, int cookie, int type, int reportID, int usage, int count, bool withDuplicates)
{
    const Dict head = {
        {"Size", 8 * count}, {"ReportSize", 8}, {"ReportCount", count}, {"Max", 255}, {"ScaledMax", 255}};
    elements.emplace_back(field(cookie, type, reportID, 0xFF00, usage, head));
    for (int index = 0; withDuplicates && index < count; ++index) {
        const Dict one = {{"Size", 8}, {"ReportSize", 8}, {"Max", 255}, {"ScaledMax", 255}, {"DuplicateIndex", index}};
        elements.emplace_back(field(cookie + 1 + index, type, reportID, 0xFF00, usage, one));
    }
}

Dict handler(int cookie, int reportID, int sizeBits)
{
    return {{"ElementCookie", cookie}, {"Type", kInput},   {"ReportID", reportID},  {"UsagePage", 0}, {"Usage", 0},
            {"ReportCount", 1},        {"Size", sizeBits}, {"ReportSize", sizeBits}};
}

Dict driver(int page, int usage, int input, int output, int feature, List elements, List handlers)
{
    return {{"PrimaryUsagePage", page},
            {"PrimaryUsage", usage},
            {"MaxInputReportSize", input},
            {"MaxOutputReportSize", output},
            {"MaxFeatureReportSize", feature},
            {"Elements", std::move(elements)},
            {"InputReportElements", std::move(handlers)}};
}

} // namespace

Dict field(int cookie, int type, int reportID, int page, int usage, Dict more)
{
    more.insert({{"ElementCookie", cookie},
                 {"Type", type},
                 {"ReportID", reportID},
                 {"UsagePage", page},
                 {"Usage", usage},
                 {"Size", 1},
                 {"ReportSize", 1},
                 {"ReportCount", 1},
                 {"Flags", 2},
                 {"Min", 0},
                 {"Max", 0},
                 {"ScaledMin", 0},
                 {"ScaledMax", 0},
                 {"Unit", 0},
                 {"UnitExponent", 0},
                 {"HasNullState", false},
                 {"HasPreferredState", true},
                 {"IsNonLinear", false},
                 {"IsRelative", false},
                 {"IsWrapping", false},
                 {"IsArray", false}});
    return more;
}

Dict driverProperties(Sample sample)
{
    if (sample == Sample::kMouse) {
        const List fields = {button(3, 1), button(4, 2), button(5, 3), axis(6, 0x30), axis(7, 0x31), axis(8, 0x38)};
        const List elements = {collection(1, 1, 1, 2, {collection(2, 0, 1, 1, fields)})};
        return driver(1, 2, 4, 0, 0, elements, {handler(9, 0, 32)});
    }
    if (sample == Sample::kPedal) {
        const List elements = {collection(1, 1, 1, 4, {button(2, 1), button(3, 2), button(4, 3)})};
        return driver(1, 4, 1, 0, 0, elements, {handler(5, 0, 8)});
    }
    List fields;
    addBytes(fields, 2, kInput, 1, 2, 63, false);
    addBytes(fields, 66, kOutput, 2, 3, 7, true);
    addBytes(fields, 74, kFeature, 3, 4, 3, true);
    const List handlers = {handler(78, 1, 512), handler(79, 2, 8), handler(80, 3, 8)};
    return driver(0xFF00, 1, 64, 8, 4, {collection(1, 1, 0xFF00, 1, fields)}, handlers);
}

FakeEntry& addDeviceEntries(FakePlatform& platform, const std::string& name, const DeviceDescription& description)
{
    Dict properties = {{"idVendor", int{description.vendorID}},
                       {"idProduct", int{description.productID}},
                       {"bcdDevice", int{description.releaseNumber}},
                       {"bDeviceClass", 0},
                       {"bDeviceSubClass", 0},
                       {"bDeviceProtocol", 0}};
    if (!description.vendorName.empty()) {
        properties.insert({"USB Vendor Name", description.vendorName.c_str()});
    }
    if (!description.productName.empty()) {
        properties.insert({"USB Product Name", description.productName.c_str()});
    }
    FakeEntry& device = platform.registry.add(nullptr, name, kIOUSBDeviceClassName, properties);
    for (const InterfaceDescription& interface : description.interfaces) {
        const std::string number = std::to_string(interface.number);
        FakeEntry& entry = platform.registry.add(&device, name + "-if" + number, kIOUSBInterfaceClassName,
                                                 {{"idVendor", int{description.vendorID}},
                                                  {"idProduct", int{description.productID}},
                                                  {"bInterfaceNumber", interface.number},
                                                  {"bInterfaceClass", 3},
                                                  {"bInterfaceSubClass", interface.subclass},
                                                  {"bInterfaceProtocol", interface.protocol}});
        FakeEntry& hid =
            platform.registry.add(&entry, name + "-hid" + number, "IOUSBHIDDriver", driverProperties(interface.sample));
        platform.registry.add(&hid, name + "-client" + number, "IOHIDInterface");
    }
    return device;
}

void FakeWorld::setInputMode(InputMode mode)
{
    _platform.systemVersion = mode == InputMode::kQueue ? 0x1068 : 0;
}

BackendWorld::Device FakeWorld::addDevice(const DeviceDescription& description)
{
    const std::string name = "usb" + std::to_string(++_count);
    _platform.registry.announce(addDeviceEntries(_platform, name, description));
    return _count;
}

void FakeWorld::removeDevice(Device device)
{
    _platform.registry.terminate(_platform.registry.entry("usb" + std::to_string(device)));
}

void FakeWorld::deliverInput(Device device, int interfaceNumber, const Bytes& report)
{
    const std::string name = "usb" + std::to_string(device) + "-hid" + std::to_string(interfaceNumber);
    _platform.hid.deliver(_platform.registry.entry(name), report);
}

std::vector<Sent> FakeWorld::sentReports(Device device)
{
    const std::string prefix = "usb" + std::to_string(device) + "-hid";
    std::vector<Sent> sent;
    for (const SentReport& report : _platform.hid.sent) {
        if (report.driver.rfind(prefix, 0) == 0) {
            sent.push_back(
                {std::stoi(report.driver.substr(prefix.size())), report.type, report.reportID, report.bytes});
        }
    }
    return sent;
}

void FakeWorld::pump()
{
    _platform.runLoop.run();
}

std::unique_ptr<BackendWorld> makeBackendWorld()
{
    return std::make_unique<FakeWorld>();
}

} // namespace world
