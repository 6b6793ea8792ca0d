// Lists the HID devices that are there.
#include <QrxDeviceTree.h>
#include <QrxHIDDevice.h>
#include <QrxHIDManager/QrxReportLayout.h>
#include <QrxRunLoop.h>

#include <cstdio>

int main()
{
    mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->populate(0, 0);
    for (unsigned int index = 0; index < tree->getHIDDeviceCount(); ++index) {
        const mis::swizzler<QrxHIDDevice> device = tree->getDeviceAtIndex(index);
        std::printf("%04x:%04x %s\n", device->getVendorID(), device->getProductID(), device->getProductName().c_str());
    }
    QrxRunLoop::getCurrent().runOnce(0);
    return 0;
}
