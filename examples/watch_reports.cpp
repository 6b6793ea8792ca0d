// Prints every report of the devices of one maker, notices when they leave, and ends with Ctrl-C.
#include <QrxHIDManager/QrxFunctions.h>
#include <QrxHIDManager/QrxRequests.h>
#include <QrxHIDManager/QrxRunLoop.h>

#include <cstdio>

int main()
{
    QrxTreeFunctions tree(QrxDeviceTree::NewInstance());
    tree.onAdded([](const mis::swizzler<QrxHIDDevice>& device) {
        QrxDeviceFunctions::installOn(*device)
            .onReport([](const uint8_t* bytes, size_t size, int) { std::printf("%02x, %zu bytes\n", bytes[0], size); })
            .onRemoved([] { std::printf("left\n"); });
        if (QrxOutcome outcome = QrxOpen(*device); outcome.hasFailed())
            std::fprintf(stderr, "%s\n", outcome.getMessage().c_str());
    });
    tree.getTree()->observe(0x046d, 0);
    QrxRunLoop::getCurrent().runUntilSignal();
}
