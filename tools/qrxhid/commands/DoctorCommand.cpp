#include "commands/DoctorCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "doctor/Checkup.h"
#include "doctor/KernelText.h"
#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/Notice.h"

#include <algorithm>
#include <iterator>

namespace qrxhid {

namespace {

const char* verdictOf(const DeviceFinding& device)
{
    // A keyboard whose vendor interface is closed works as a keyboard: "not usable" would be wrong.
    const bool someUsable = std::ranges::any_of(
        device.interfaces, [](const InterfaceFinding& one) { return one.state == InterfaceFinding::State::usable; });
    return device.isUsable() ? "usable" : someUsable ? "usable in part" : "not usable";
}

/// The finding is a device's or an interface's.
template <class Finding>
void writeExplanation(std::ostream& out, const char* indent, const Finding& finding)
{
    for (const std::string& reason : finding.reasons) {
        out << indent << shownText(reason) << "\n";
    }
    for (const std::string& step : finding.nextSteps) {
        out << indent << "next: " << shownText(step) << "\n";
    }
}

void writeInterface(std::ostream& out, const InterfaceFinding& interface)
{
    out << "  interface " << interface.number << ": " << interface.stateName()
        << (interface.node.empty() ? "" : ", " + shownText(interface.node)) << "\n";
    writeExplanation(out, "    ", interface);
}

void writeDevice(std::ostream& out, const DeviceFinding& device)
{
    out << device.ids.text() << "  " << (device.productName.empty() ? "" : shownText(device.productName) + "  ")
        << "at " << device.place << ": " << verdictOf(device) << "\n";
    writeExplanation(out, "  ", device);
    for (const InterfaceFinding& interface : device.interfaces) {
        writeInterface(out, interface);
    }
}

/// What keeps everything from being seen, in sentences.
std::vector<std::string> remarksOn(const Surroundings& surroundings)
{
    std::vector<std::string> remarks;
    if (!surroundings.hasUsb) {
        // Before the rest: without the list nothing else can be found out.
        remarks.emplace_back("the kernel's list of USB devices (/sys/bus/usb) is not to be seen here");
    }
    // A sandbox refuses by rules of its own, which no mode shows.
    if (!surroundings.enclosure.empty()) {
        remarks.push_back("this is " + surroundings.enclosure +
                          ": it may hide devices, and refuse to open nodes whose mode allows it");
    }
    if (!surroundings.hasUdevd) {
        remarks.emplace_back(
            "udevd does not run here: devices belong to root, and arrivals are noticed by other means");
    }
    return remarks;
}

nlohmann::ordered_json findingJson(const DeviceFinding& device)
{
    // The same words as the text has, so that a person and a script read one diagnosis.
    nlohmann::ordered_json json = {
        {"vendorID", device.ids.vendorID},   {"productID", device.ids.productID},
        {"productName", device.productName}, {"place", device.place},
        {"isUsable", device.isUsable()},     {"reasons", device.reasons},
        {"nextSteps", device.nextSteps},     {"interfaces", nlohmann::ordered_json::array()}};
    for (const InterfaceFinding& interface : device.interfaces) {
        json["interfaces"].push_back({{"number", interface.number},
                                      {"state", interface.stateName()},
                                      {"node", interface.node},
                                      {"reasons", interface.reasons},
                                      {"nextSteps", interface.nextSteps}});
    }
    return json;
}

/// No serial numbers: the document is for others to read.
std::string documentText(const std::vector<DeviceFinding>& findings, const Surroundings& surroundings, const User& user)
{
    nlohmann::ordered_json document = {{"program", "qrxhid " QRXHID_VERSION},
                                       {"kernel", kernelText()},
                                       {"user", user.text()},
                                       {"remarks", remarksOn(surroundings)},
                                       {"devices", nlohmann::ordered_json::array()}};
    for (const DeviceFinding& device : findings) {
        // All devices and not the broken ones alone: what works beside them is half of a diagnosis.
        document["devices"].push_back(findingJson(device));
    }
    return jsonText(document, true);
}

/// What is chosen and not there is told; false if there is something, or no device at all.
bool reportAbsent(const std::vector<DeviceFinding>& findings, const DeviceFilter& filter)
{
    std::vector<DeviceFacts> present;
    std::ranges::transform(findings, std::back_inserter(present), &DeviceFinding::facts);
    const std::string absent = filter.absentPart(present);
    if (!absent.empty()) {
        notice("no USB HID device is " + absent);
    } else if (findings.empty()) {
        notice("there is no USB HID device");
    }
    return absent.empty() && !findings.empty();
}

ExitStatus statusOf(const std::vector<DeviceFinding>& findings)
{
    if (std::ranges::all_of(findings, &DeviceFinding::isUsable)) {
        return kSuccess;
    }
    // A status for permissions alone: what grants them (a package, an installer) asks for just that.
    const bool onlyPermission = std::ranges::all_of(
        findings, [](const DeviceFinding& device) { return device.isUsable() || device.isAboutPermission(); });
    return onlyPermission ? kNoPermission : kFailure;
}

} // namespace

void DoctorCommand::declareOptions(OptionSet& options)
{
    options.addOption("devices", _words, "Only devices with these IDs", "VID:PID");
    _filter.declareOptions(options);
    options.addOption("--as", _userText, "Ask for this user, a name or a number", "USER");
    options.addFlag("--json", _isJson, "One JSON document");
    // For tests, which examine a machine that is a folder.
    options.addHiddenOption("--sysroot", _systemRoot);
}

void DoctorCommand::checkOptions()
{
    _filter.checkOptions(_words);
    if (_filter.hasNumbers()) {
        throw UsageError("numbers of list do not count the devices that only doctor knows",
                         "qrxhid doctor VID:PID, or qrxhid doctor --port PORT");
    }
    if (_userText) {
        _user = User::find("--as", *_userText);
    }
}

ExitStatus DoctorCommand::run(std::ostream& out)
{
    const Surroundings surroundings = Surroundings::examine(_systemRoot);
    const std::vector<DeviceFinding> findings = checkUp({_systemRoot, _user}, _filter, surroundings);
    if (_isJson) {
        out << documentText(findings, surroundings, _user.value_or(User::current()));
    } else {
        for (const std::string& remark : remarksOn(surroundings)) {
            out << "note: " << shownText(remark) << "\n";
        }
        for (const DeviceFinding& device : findings) {
            writeDevice(out, device);
        }
    }
    // After the findings: with something missing, the rest is still worth reading.
    return reportAbsent(findings, _filter) ? statusOf(findings) : kNoDevice;
}

} // namespace qrxhid
