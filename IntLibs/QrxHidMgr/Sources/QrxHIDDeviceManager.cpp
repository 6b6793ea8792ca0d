#include "QrxHIDDeviceManager.h"

mis::swizzler<QrxHIDDeviceManager> QrxHIDDeviceManager::sm_Instance;

mis::swizzler<QrxHIDDeviceManager> QrxHIDDeviceManager::Instance()
{
    if (!sm_Instance) {
        // The handle is stored before the tree is made: code that runs in `initDeviceTree` and calls `Instance` gets
        // this manager instead of making another.
        sm_Instance.set(new QrxHIDDeviceManager);
        sm_Instance->initDeviceTree();
    }
    return sm_Instance;
}

QrxHIDDeviceManager::QrxHIDDeviceManager() = default;

QrxHIDDeviceManager::~QrxHIDDeviceManager() = default;

void QrxHIDDeviceManager::initDeviceTree()
{
    // Deliberate: no tree of the library's own; a derived class provides one.
}

mis::swizzler<QrxDeviceTree> QrxHIDDeviceManager::getDeviceTree()
{
    if (!_deviceTree) {
        initDeviceTree();
    }
    return _deviceTree;
}
