// Looks for devices with the library that applications ship, without that of virtual devices.
#include <QrxDeviceTree.h>
#include <QrxHIDDevice.h>

#include <cstdio>

int main()
{
    const mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    // No such vendor.
    tree->populate(0xffff, 0xffff);
    std::printf("found %u devices\n", tree->getHIDDeviceCount());
}
