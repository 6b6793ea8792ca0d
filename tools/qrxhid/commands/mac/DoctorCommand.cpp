#include "commands/mac/DoctorCommand.h"

#include "OptionSet.h"
#include "devices/DeviceSession.h"
#include "doctor/KernelText.h"
#include "doctor/mac/InputMonitoring.h"
#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/Notice.h"

#include <algorithm>
#include <iterator>

namespace qrxhid {

namespace {

/// What is known of the permission, in the words of the answer.
struct Permission {
    const char* state;
    const char* meaning;
    /// Empty where nothing is to be done.
    const char* nextStep;
};

Permission permissionOf(InputMonitoring access)
{
    constexpr const char* kMeaning = "input of keyboards, mice and trackpads may be withheld, and they may not open";
    constexpr const char* kSettings =
        "allow the terminal in System Settings, Privacy & Security, Input Monitoring, and start it anew";
    switch (access) {
    case InputMonitoring::denied:
        return {"denied", kMeaning, kSettings};
    case InputMonitoring::undecided:
        return {"not decided", kMeaning, "qrxhid doctor --request"};
    case InputMonitoring::notNeeded:
        return {"not needed", "this system asks nobody", ""};
    case InputMonitoring::granted:
        break;
    }
    return {"granted", "input of all devices may be read", ""};
}

void writeAnswer(std::ostream& out, const Permission& permission, const std::vector<PresentDevice>& devices)
{
    out << "input monitoring: " << permission.state << ": " << permission.meaning << "\n";
    if (*permission.nextStep != '\0') {
        out << "  next: " << permission.nextStep << "\n";
    }
    for (const PresentDevice& device : devices) {
        out << numberedTitle(device.facts.number, *device.handle)
            << (device.facts.place.empty() ? "" : "  at " + shownText(device.facts.place)) << "\n";
    }
}

/// No serial numbers: the document is for others to read.
std::string documentText(const Permission& permission, const std::vector<PresentDevice>& devices)
{
    nlohmann::ordered_json document = {{"program", "qrxhid " QRXHID_VERSION},
                                       {"kernel", kernelText()},
                                       {"inputMonitoring", permission.state},
                                       {"devices", nlohmann::ordered_json::array()}};
    for (const PresentDevice& device : devices) {
        document["devices"].push_back({{"vendorID", device.facts.ids.vendorID},
                                       {"productID", device.facts.ids.productID},
                                       {"productName", device.handle->getProductName()},
                                       {"place", device.facts.place}});
    }
    return jsonText(document, true);
}

} // namespace

void DoctorCommand::declareOptions(OptionSet& options)
{
    options.addOption("devices", _words, "Only devices with these IDs", "VID:PID");
    _filter.declareOptions(options);
    options.addFlag("--request", _isRequested, "Let the system ask the user for the permission if nobody has decided");
    options.addFlag("--json", _isJson, "One JSON document");
}

void DoctorCommand::checkOptions()
{
    _filter.checkOptions(_words);
}

ExitStatus DoctorCommand::run(std::ostream& out)
{
    if (_isRequested) {
        requestInputMonitoring();
    }
    const InputMonitoring access = inputMonitoring();
    DeviceSession session(DeviceChoice{});
    session.mayBeAbsent(true);
    session.begin();
    std::vector<PresentDevice> devices = session.devices();
    std::vector<DeviceFacts> facts;
    std::ranges::transform(devices, std::back_inserter(facts), &PresentDevice::facts);
    std::erase_if(devices, [this](const PresentDevice& device) { return !_filter.matches(device.facts); });
    const Permission permission = permissionOf(access);
    if (_isJson) {
        out << documentText(permission, devices);
    } else {
        writeAnswer(out, permission, devices);
    }
    // After the answer: with something missing, the rest is still worth reading.
    const std::string absent = _filter.absentPart(facts);
    if (!absent.empty() || facts.empty()) {
        notice(absent.empty() ? "there is no USB HID device" : "no USB HID device is " + absent);
        return kNoDevice;
    }
    const bool isPermitted = access == InputMonitoring::granted || access == InputMonitoring::notNeeded;
    return isPermitted ? kSuccess : kNoPermission;
}

} // namespace qrxhid
