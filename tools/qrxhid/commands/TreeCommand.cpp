#include "commands/TreeCommand.h"

#include "devices/DeviceSession.h"
#include "text/DeviceText.h"
#include "text/Terminal.h"
#include "text/TreeText.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace qrxhid {

void TreeCommand::declareOptions(CLI::App& app)
{
    _choice.declareOptions(app);
    app.add_flag("--json", _isJson, "One JSON document")->disable_flag_override();
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
