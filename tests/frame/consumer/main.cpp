// Finds, opens and drives a virtual device through the installed library alone.
#include <QrxDeviceTree.h>
#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>
#include <QrxHIDManager/QrxRunLoop.h>
#include <QrxVirtualDevice.h>

#include <cstdio>

namespace {

int sm_Received = 0;

class Delegate : public QrxHIDDeviceDelegateInterface {
public:
    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice>, int) override
    {
        sm_Received += static_cast<int>(report.size());
    }
    void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override
    {
    }
};

} // namespace

int main()
{
    QrxVirtualDevice::setRealDevicesEnabled(false);
    const QrxVirtualInterface interface(0, {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x09, 0x02, 0x15,
                                            0x00, 0x25, 0x7f, 0x75, 0x08, 0x95, 0x02, 0x81, 0x02, 0xc0});
    QrxVirtualDevice device(QrxVirtualIdentity(0x1234, 0), {interface});
    device.plug();

    mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->populate(0x1234, 0);
    mis::swizzler<QrxHIDDevice> found = tree->getDeviceAtIndex(0);
    found->setDelegate(new Delegate);
    found->open();
    device.sendInputReport(0, {1, 2});
    QrxRunLoop::getCurrent().runOnce(10);
    std::printf("received %d bytes\n", sm_Received);
    return sm_Received == 2 ? 0 : 1;
}
