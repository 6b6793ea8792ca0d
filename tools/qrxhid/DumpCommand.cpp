#include "DumpCommand.h"

#include "DeviceSession.h"

namespace qrxhid {

ExitStatus runDump(const Options& options, std::ostream& out)
{
    DeviceSession session(options);
    session.begin();
    constexpr int kWithElements = 1;
    for (const DeviceHandle& device : session.devices()) {
        device->print(out, kWithElements, 0);
        out << "\n";
    }
    return session.reportUnusableRecordings() ? kSuccess : kFailure;
}

} // namespace qrxhid
