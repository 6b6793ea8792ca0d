// The text of a script, and a device that obeys it: whatever is read acts on reports, requests, opening and plugging
// without harm, and a text that is refused is refused with its line.

#include "Failure.h"

#include <QrxDeviceTree.h>
#include <QrxRequests.h>
#include <QrxRunLoop.h>
#include <QrxVirtualDevice.h>

#include <sstream>
#include <string>

namespace {

const std::vector<std::uint8_t> kDescriptor{0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x09, 0x02, 0x15, 0x00,
                                            0x25, 0x7f, 0x75, 0x08, 0x95, 0x02, 0x81, 0x02, 0x09, 0x03, 0x91,
                                            0x02, 0x09, 0x04, 0xb1, 0x02, 0xc0};

/// A script that waits would only take time.
bool isQuick(const std::string& text)
{
    return text.find("wait") == std::string::npos;
}

void turn()
{
    // A bound, since a script may plug and unplug for ever.
    for (int turns = 0; turns < 200 && QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled; ++turns) {
    }
}

void obey(const QrxVirtualScript& script)
{
    QrxVirtualDevice::setRealDevicesEnabled(false);
    QrxVirtualDevice device(QrxVirtualIdentity(0x1209, 1), {{0, kDescriptor}, {1, kDescriptor}});
    device.setScript(script);
    const mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->observe(0, 0);
    device.plug();
    turn();
    for (unsigned round = 0; round < 4; ++round) {
        for (unsigned index = 0; index < tree->getHIDDeviceCount(); ++index) {
            const mis::swizzler<QrxHIDDevice> found = tree->getDeviceAtIndex(index);
            static_cast<void>(QrxOpen(*found));
            device.sendInputReport(0, {1, 2});
            found->setReport(1, 0, {1, 2}, 0);
            found->setReport(2, 0, {3, 4}, 1);
            std::vector<std::uint8_t> report;
            static_cast<void>(QrxGetReport(*found, QrxReportType::feature, 0, report, 0));
            turn();
            found->close();
        }
        turn();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string whole(reinterpret_cast<const char*>(data), size);
    std::istringstream text(whole);
    QrxVirtualScript script;
    try {
        script = QrxVirtualScript::read(text, "fuzzed");
    } catch (const QrxRecordingError& error) {
        require(error.getLine() > 0, "a refusal has its line");
        return 0;
    }
    if (isQuick(whole)) {
        obey(script);
    }
    return 0;
}
