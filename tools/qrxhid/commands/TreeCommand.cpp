#include "commands/TreeCommand.h"

#include "OptionSet.h"
#include "devices/DeviceSession.h"
#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/Terminal.h"
#include "text/TreeText.h"

namespace qrxhid {

void TreeCommand::declareOptions(OptionSet& options)
{
    _choice.declareOptions(options);
    options.addFlag("--json", _isJson, "One JSON document");
}

void TreeCommand::checkOptions()
{
    _choice.checkOptions();
}

ExitStatus TreeCommand::run(std::ostream& out)
{
    DeviceSession session(_choice);
    session.begin();
    nlohmann::ordered_json document = {{"devices", nlohmann::ordered_json::array()}};
    const Terminal terminal = Terminal::ofStandardOutput();
    // An empty line between devices and none at the end, where a script would count it.
    const char* separator = "";
    for (const PresentDevice& device : session.devices()) {
        // A filter by interface chooses the device too, so there is at least one here.
        const std::vector<int> interfaces = _choice.filter().chosenOf(interfaceNumbers(*device.handle));
        if (_isJson) {
            document["devices"].push_back(treeJson(*device.handle, interfaces));
        } else {
            out << separator;
            writeTree(out, *device.handle, interfaces, terminal);
            separator = "\n";
        }
    }
    if (_isJson) {
        out << jsonText(document, true);
    }
    return session.status();
}

} // namespace qrxhid
