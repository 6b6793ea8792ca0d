#include "text/DeviceText.h"

#include "text/Json.h"
#include "text/Notice.h"
#include "text/TextFormat.h"
#include "text/UsageNames.h"

#include <set>

namespace qrxhid {

std::string deviceTitle(const QrxHIDDevice& device)
{
    const std::string vendor = device.getVendorName();
    const std::string product = device.getProductName();
    // Both strings are optional in a device descriptor (USB 2.0, 9.6.1).
    const std::string name = vendor + (vendor.empty() || product.empty() ? "" : " ") + product;
    return idText(device.getVendorID(), device.getProductID()) + "  " + (name.empty() ? "(no name)" : shownText(name));
}

std::string numberedTitle(unsigned int number, const QrxHIDDevice& device)
{
    return "#" + std::to_string(number) + "  " + deviceTitle(device);
}

std::vector<int> interfaceNumbers(const QrxHIDDevice& device)
{
    // By elements, as the model lists no interfaces: one without elements is not HID.
    std::set<int> numbers;
    for (unsigned int i = 0; i < device.getElementCount(); ++i) {
        if (const QrxHIDElementPtr element = device.getElementAtIndex(i)) {
            numbers.insert(element->getInterfaceNumber());
        }
    }
    return {numbers.begin(), numbers.end()};
}

std::string interfacePurpose(const QrxHIDDevice& device, int interfaceNumber)
{
    return usageText(device.getPrimaryUsagePage(interfaceNumber), device.getPrimaryUsage(interfaceNumber));
}

nlohmann::ordered_json deviceJson(const QrxHIDDevice& device)
{
    return {{"vendorID", device.getVendorID()},           {"productID", device.getProductID()},
            {"vendorName", device.getVendorName()},       {"productName", device.getProductName()},
            {"releaseNumber", device.getReleaseNumber()}, {"deviceClass", device.getClass()},
            {"deviceSubclass", device.getSubclass()},     {"deviceProtocol", device.getProtocol()}};
}

std::string jsonText(const nlohmann::ordered_json& json, bool isDocument)
{
    constexpr int kIndent = 2;
    constexpr int kOneLine = -1;
    // What a terminal would obey is escaped as well.
    constexpr bool kOnlyAscii = true;
    // First in every document and line, so that a reader finds it before what it cannot read.
    nlohmann::ordered_json whole = {{"version", kJsonVersion}};
    whole.update(json);
    return whole.dump(isDocument ? kIndent : kOneLine, ' ', kOnlyAscii,
                      nlohmann::ordered_json::error_handler_t::replace) +
           "\n";
}

std::string jsonLine(const nlohmann::ordered_json& json, std::string_view lastMember, std::string_view value)
{
    // Between the last member and the end: the value is JSON already, and parsing it again would cost more than all the
    // rest.
    constexpr std::string_view kEnd = "}\n";
    std::string line = jsonText(json, false);
    line.resize(line.size() - kEnd.size());
    line.append(",\"").append(lastMember).append("\":").append(value).append(kEnd);
    return line;
}

} // namespace qrxhid
