// What is listed needs no right: nothing is opened. So the numbers, places and nodes can be looked up before asking for
// access.

#include "commands/ListCommand.h"

#include "OptionSet.h"
#include "devices/DeviceSession.h"
#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/Notice.h"
#include "text/Terminal.h"

namespace qrxhid {

namespace {

/// "at 1-2.1, serial number 0001"; empty if neither is known.
std::string whereText(const DeviceFacts& facts)
{
    const std::string place = facts.place.empty() ? "" : "at " + shownText(facts.place);
    const std::string serial = facts.serialNumber.empty() ? "" : "serial number " + shownText(facts.serialNumber);
    return place + (place.empty() || serial.empty() ? "" : ", ") + serial;
}

void writeDevice(std::ostream& out, const PresentDevice& device, const DeviceFilter& filter, const Terminal& terminal)
{
    out << terminal.painted(numberedTitle(device.facts.number, *device.handle), Terminal::Look::title) << "\n";
    if (const std::string where = whereText(device.facts); !where.empty()) {
        out << "    " << where << "\n";
    }
    for (const auto& [number, node] : device.facts.nodes) {
        if (filter.hasInterface(number)) {
            out << "    interface " << number << ": " << interfacePurpose(*device.handle, number)
                << (node.empty() ? "" : ", " + shownText(node)) << "\n";
        }
    }
}

nlohmann::ordered_json listedJson(const PresentDevice& device, const DeviceFilter& filter)
{
    nlohmann::ordered_json json = deviceJson(*device.handle);
    // The number that --device=#N takes: scripts choose by it what people see.
    json["number"] = device.facts.number;
    json["serialNumber"] = device.facts.serialNumber;
    json["place"] = device.facts.place;
    json["interfaces"] = nlohmann::ordered_json::array();
    for (const auto& [number, node] : device.facts.nodes) {
        if (filter.hasInterface(number)) {
            json["interfaces"].push_back({{"number", number},
                                          {"primaryUsagePage", device.handle->getPrimaryUsagePage(number)},
                                          {"primaryUsage", device.handle->getPrimaryUsage(number)},
                                          {"purpose", interfacePurpose(*device.handle, number)},
                                          {"node", node}});
        }
    }
    return json;
}

} // namespace

void ListCommand::declareOptions(OptionSet& options)
{
    _choice.declareOptions(options);
    options.addFlag("--json", _isJson, "One JSON document");
}

void ListCommand::checkOptions()
{
    _choice.checkOptions();
}

ExitStatus ListCommand::run(std::ostream& out)
{
    DeviceSession session(_choice);
    session.begin();
    const std::vector<PresentDevice> devices = session.devices();
    const Terminal terminal = Terminal::ofStandardOutput();
    nlohmann::ordered_json document = {{"devices", nlohmann::ordered_json::array()}};
    for (const PresentDevice& device : devices) {
        if (_isJson) {
            // One document, since a list is complete only at its end.
            document["devices"].push_back(listedJson(device, _choice.filter()));
        } else {
            writeDevice(out, device, _choice.filter(), terminal);
        }
    }
    if (_isJson) {
        out << jsonText(document, true);
    }
    // An empty list is an answer and no failure, but the usual reason is that something is in the way.
    if (devices.empty() && !session.isRecorded()) {
        notice(kNoDeviceText);
    }
    return session.status();
}

} // namespace qrxhid
