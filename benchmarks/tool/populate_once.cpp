// The floor below `qrxhid list`: a program that asks the library for all devices, and nothing else.

#include <QrxDeviceTree.h>

#include <cstdio>

int main()
{
    const mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->populate(0, 0);
    std::printf("%u\n", tree->getHIDDeviceCount());
}
