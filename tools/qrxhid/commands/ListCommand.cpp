#include "commands/ListCommand.h"

#include "devices/DeviceSession.h"
#include "text/DeviceText.h"

namespace qrxhid {

namespace {

std::string interfacesText(const QrxHIDDevice& device)
{
    std::string text;
    for (const int number : interfaceNumbers(device)) {
        text += (text.empty() ? "" : ", ") + std::to_string(number) + " " + interfacePurpose(device, number);
    }
    return text;
}

nlohmann::ordered_json listedJson(const QrxHIDDevice& device)
{
    nlohmann::ordered_json json = deviceJson(device);
    json["interfaces"] = nlohmann::ordered_json::array();
    for (const int number : interfaceNumbers(device)) {
        json["interfaces"].push_back({{"number", number},
                                      {"primaryUsagePage", device.getPrimaryUsagePage(number)},
                                      {"primaryUsage", device.getPrimaryUsage(number)},
                                      {"purpose", interfacePurpose(device, number)}});
    }
    return json;
}

} // namespace

void ListCommand::declareOptions(CLI::App& app)
{
    _choice.declareOptions(app);
    app.add_flag("--json", _isJson, "One JSON document")->disable_flag_override();
}

void ListCommand::checkOptions()
{
    _choice.checkOptions();
}

ExitStatus ListCommand::run(std::ostream& out)
{
    DeviceSession session(_choice);
    session.begin();
    nlohmann::ordered_json document = {{"devices", nlohmann::ordered_json::array()}};
    for (const DeviceHandle& device : session.devices()) {
        if (_isJson) {
            document["devices"].push_back(listedJson(*device));
        } else {
            out << deviceTitle(*device) << "  [" << interfacesText(*device) << "]\n";
        }
    }
    if (_isJson) {
        out << jsonText(document, true);
    }
    return session.reportUnusableRecordings() ? kSuccess : kFailure;
}

} // namespace qrxhid
