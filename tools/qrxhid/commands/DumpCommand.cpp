#include "commands/DumpCommand.h"

#include "OptionSet.h"
#include "devices/DeviceSession.h"
#include "text/Notice.h"

#include <sstream>

namespace qrxhid {

namespace {

/// The library prints a device's names as they are, each in quotes: the first quotes of its text. All else is its own.
std::string dumpText(const QrxHIDDevice& device)
{
    constexpr int kWithElements = 1;
    std::ostringstream printed;
    device.print(printed, kWithElements, 0);
    std::string text = printed.str();
    // Looked for as a whole, since a name may contain quotes itself.
    const std::string names = "\"" + device.getVendorName() + "\" \"" + device.getProductName() + "\"";
    if (const std::size_t place = text.find(names); place != std::string::npos) {
        text.replace(place, names.size(), shownText(names));
    }
    return text;
}

} // namespace

void DumpCommand::declareOptions(OptionSet& options)
{
    _choice.declareOptions(options);
}

void DumpCommand::checkOptions()
{
    _choice.checkOptions();
}

ExitStatus DumpCommand::run(std::ostream& out)
{
    DeviceSession session(_choice);
    session.begin();
    for (const PresentDevice& device : session.devices()) {
        out << dumpText(*device.handle) << "\n";
    }
    return session.status();
}

} // namespace qrxhid
