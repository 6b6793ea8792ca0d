// A device answers: finds a lamp, switches it on, and prints what the lamp says of it.
#include <QrxHIDManager/QrxFunctions.h>
#include <QrxHIDManager/QrxRequests.h>
#include <QrxHIDManager/QrxRunLoop.h>
#include <QrxHIDManager/QrxVirtualDevice.h>

#include <cstdio>
#include <vector>

int main()
{
    // A lamp that this program makes itself; without these lines a real one is waited for. It has a report of one byte
    // in each direction, and answers what it is sent.
    const std::vector<uint8_t> reports{0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x15, 0x00, 0x25, 0x01, 0x75,
                                       0x08, 0x95, 0x01, 0x09, 0x02, 0x81, 0x02, 0x09, 0x03, 0x91, 0x02, 0xc0};
    QrxVirtualDevice lamp(QrxVirtualIdentity(0x1209, 0x0008), {QrxVirtualInterface(0, reports)});
    lamp.setSentReportHandler([&lamp](const QrxSentReport& sent) { return lamp.sendInputReport(0, sent.getBytes()); });
    lamp.plug();

    QrxRunLoop loop = QrxRunLoop::getCurrent();
    QrxTreeFunctions tree(QrxDeviceTree::NewInstance());
    tree.onAdded([&loop](const mis::swizzler<QrxHIDDevice>& device) {
        std::printf("found %04x:%04x\n", device->getVendorID(), device->getProductID());
        QrxDeviceFunctions::installOn(*device).onReport([&loop](const uint8_t* bytes, size_t, int) {
            std::printf("the lamp is %s\n", bytes[0] != 0 ? "on" : "off");
            loop.stop();
        });
        QrxOpen(*device).throwIfFailed();
        const uint8_t on[] = {1};
        QrxSetReport(*device, QrxReportType::output, 0, on, sizeof on, 0).throwIfFailed();
    });
    tree.getTree()->observe(0x1209, 0x0008);
    loop.runUntilSignal();
    if (tree.getTree()->getHIDDeviceCount() != 0) {
        tree.getTree()->getDeviceAtIndex(0)->close(); // one that is let go open leaves its buffers behind
    }
}
