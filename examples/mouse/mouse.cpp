#include <QrxHIDManager/QrxFunctions.h>
#include <QrxHIDManager/QrxRequests.h>
#include <QrxHIDManager/QrxRunLoop.h>

#include <cstdio>

int main()
{
    QrxTreeFunctions tree(QrxDeviceTree::NewInstance());
    tree.onAdded([](const mis::swizzler<QrxHIDDevice>& mouse) {
        std::printf("%s\n", mouse->getProductName().c_str());
        QrxDeviceFunctions::installOn(*mouse)
            .onReport(
                [](const uint8_t* bytes, size_t size, int) { std::printf("%zu bytes: %02x ...\n", size, bytes[0]); })
            .onRemoved([] { std::printf("left\n"); });
        QrxOpen(*mouse).throwIfFailed();
    });
    tree.getTree()->observe(0x1209, 0x0002);
    QrxRunLoop::getCurrent().runUntilSignal();
}
