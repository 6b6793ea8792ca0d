// Prints the input reports of every HID device of one vendor, those that are plugged in later included.
#include <QrxDeviceTree.h>
#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxDeviceTreeRemovalInterface.h>
#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>
#include <QrxRunLoop.h>

#include <cstdio>

class PrintReports : public QrxHIDDeviceDelegateInterface {
public:
    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override
    {
        std::printf("%s, interface %d:", device->getProductName().c_str(), interfaceNumber);
        for (uint8_t byte : report) {
            std::printf(" %02x", byte);
        }
        std::printf("\n");
    }
    void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override
    {
    }
};

class OpenArrivals : public QrxDeviceTreeDelegateInterface, public QrxDeviceTreeRemovalInterface {
public:
    void deviceAdded(mis::swizzler<QrxHIDDevice> device) override
    {
        device->setDelegate(new PrintReports); // the device deletes it
        device->open();
    }
    void deviceRemoved(mis::swizzler<QrxHIDDevice>) override {} // the library closes it
};

int main()
{
    OpenArrivals arrivals; // outlives the tree, which does not own it
    mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&arrivals);
    tree->observe(0x046d, 0); // a vendor, and any of its products
    QrxRunLoop::getCurrent().run();
}
