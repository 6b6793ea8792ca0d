// Opens a device, sends it a report of one byte, and prints what it sends for a second.
#include <QrxHIDManager/QrxFunctions.h>
#include <QrxHIDManager/QrxRequests.h>
#include <QrxHIDManager/QrxRunLoop.h>

#include <cstdio>

int main()
{
    mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->populate(0x1209, 0x0008);
    if (tree->getHIDDeviceCount() == 0) {
        std::fprintf(stderr, "not there\n");
        return 1;
    }
    mis::swizzler<QrxHIDDevice> device = tree->getDeviceAtIndex(0);
    QrxDeviceFunctions::installOn(*device).onReport(
        [](const uint8_t* bytes, size_t size, int) { std::printf("%02x, %zu bytes\n", bytes[0], size); });
    if (QrxOutcome opened = QrxOpen(*device); opened.hasFailed()) {
        std::fprintf(stderr, "%s\n", opened.getMessage().c_str());
        return 1;
    }
    const uint8_t on[] = {1};
    if (QrxOutcome sent = QrxSetReport(*device, QrxReportType::output, 0, on, sizeof on, 0); sent.hasFailed())
        std::fprintf(stderr, "%s\n", sent.getMessage().c_str());
    QrxRunLoop::getCurrent().runFor(1);
    device->close();
}
