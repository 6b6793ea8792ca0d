#include "devices/DeviceFilter.h"

#include "OptionSet.h"
#include "OptionValues.h"
#include "text/Notice.h"

#include <algorithm>
#include <functional>

namespace qrxhid {

void DeviceFilter::declareOptions(OptionSet& options)
{
    // More than one --device names more than one device, so all of them count.
    options.addRepeatedOption(
        "--device", _deviceTexts,
        "Only devices with these IDs, hexadecimal (a half that is 0 or empty is any), or with this number "
        "of list: --device=#2",
        "VID:PID");
    options.addOption("--serial", _serialNumber, "Only the device with this serial number", "TEXT");
    options.addOption("--port", _place, "Only the device at this place, as list shows it: 1-2.1", "PORT");
    options.addOption("--interface", _interfaceText, "Only this interface of the device", "N");
}

void DeviceFilter::checkOptions(std::span<const std::string> words)
{
    for (const std::string& text : words) {
        _selectors.push_back(DeviceSelector::parse(text, ""));
    }
    for (const std::string& text : _deviceTexts) {
        _selectors.push_back(DeviceSelector::parse(text, "--device "));
    }
    if (_interfaceText) {
        _interface = parseInterface(*_interfaceText);
    }
}

// Exact texts, no patterns: a serial number may hold any character, so none can be a wildcard.
bool DeviceFilter::meetsConditions(const DeviceFacts& device) const
{
    return (!_serialNumber || *_serialNumber == device.serialNumber) && (!_place || *_place == device.place) &&
           (!_interface || device.nodes.contains(*_interface));
}

bool DeviceFilter::matches(const DeviceFacts& device) const
{
    // Any of the names, and all of the conditions.
    const bool isNamed = _selectors.empty() || std::ranges::any_of(_selectors, [&device](const DeviceSelector& one) {
                             return one.matches(device.ids, device.number);
                         });
    return isNamed && meetsConditions(device);
}

std::string DeviceFilter::conditionsText() const
{
    std::string text;
    text += _serialNumber ? " with serial number " + *_serialNumber : "";
    text += _place ? " at " + *_place : "";
    text += _interface ? " with interface " + std::to_string(*_interface) : "";
    return text;
}

// Each --device must be there. Whoever names two devices and gets one would not notice that the other is missing.
std::string DeviceFilter::absentPart(std::span<const DeviceFacts> present) const
{
    for (const DeviceSelector& selector : _selectors) {
        const bool isThere = std::ranges::any_of(present, [this, &selector](const DeviceFacts& device) {
            return selector.matches(device.ids, device.number) && meetsConditions(device);
        });
        if (!isThere) {
            return selector.text() + conditionsText();
        }
    }
    const bool isThere =
        isEverything() || std::ranges::any_of(present, [this](const DeviceFacts& device) { return matches(device); });
    return isThere ? "" : "there" + conditionsText();
}

std::vector<int> DeviceFilter::chosenOf(std::vector<int> interfaces) const
{
    std::erase_if(interfaces, [this](int number) { return !hasInterface(number); });
    return interfaces;
}

bool DeviceFilter::hasNumbers() const
{
    return std::ranges::any_of(_selectors, [](const DeviceSelector& selector) { return selector.number != 0; });
}

// From what stays to what changes: IDs are the same on every machine, a serial number follows the device, a port is
// only true here, and a number of list only now.
std::vector<std::string> optionsThatTellApart(std::span<const DeviceFacts> devices)
{
    const auto isAlone = [devices](const DeviceFacts& device, auto fact) {
        return std::ranges::count(devices, std::invoke(fact, device), fact) == 1;
    };
    std::vector<std::string> options;
    for (const DeviceFacts& device : devices) {
        // A text with a blank or a sign of the shell would need quotes, and one that is escaped could not be typed.
        const auto isPlain = [](const std::string& text) {
            return !text.empty() && text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                           "0123456789.-:_+") == std::string::npos;
        };
        const auto ids = [](const DeviceFacts& one) { return one.ids.text(); };
        if (isAlone(device, ids)) {
            options.push_back("--device " + device.ids.text());
        } else if (isPlain(device.serialNumber) && isAlone(device, &DeviceFacts::serialNumber)) {
            options.push_back("--serial " + device.serialNumber);
        } else if (isPlain(device.place) && isAlone(device, &DeviceFacts::place)) {
            options.push_back("--port " + device.place);
        } else {
            // Joined by "=": a word that begins with # would be a comment to the shell.
            options.push_back("--device=#" + std::to_string(device.number));
        }
    }
    return options;
}

} // namespace qrxhid
