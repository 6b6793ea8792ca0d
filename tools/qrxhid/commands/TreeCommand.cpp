#include "commands/TreeCommand.h"

#include "devices/DeviceSession.h"
#include "text/DeviceText.h"
#include "text/TreeText.h"

namespace qrxhid {

ExitStatus runTree(const Options& options, std::ostream& out)
{
    DeviceSession session(options);
    session.begin();
    nlohmann::ordered_json document = {{"devices", nlohmann::ordered_json::array()}};
    const char* separator = "";
    for (const DeviceHandle& device : session.devices()) {
        if (options.json) {
            document["devices"].push_back(treeJson(*device));
        } else {
            out << separator;
            writeTree(out, *device);
            separator = "\n";
        }
    }
    if (options.json) {
        out << jsonText(document, true);
    }
    return session.reportUnusableRecordings() ? kSuccess : kFailure;
}

} // namespace qrxhid
