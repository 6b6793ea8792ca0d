/// @file
/// One device tree for a whole process.

#ifndef QRX_HID_DEVICE_MANAGER_H
#define QRX_HID_DEVICE_MANAGER_H

#include "QrxDeviceTree.h"
#include "QrxExport.h"
#include "VCollectable"
#include "swizzler"

/// Hands every part of an application the same device tree.
///
/// The library's own manager has no tree: an application derives from this class, provides a tree in `initDeviceTree`,
/// and stores its manager in `sm_Instance` before the first `Instance()`. The facade `QrxDeviceTreeInterface` does not
/// use the manager. Used from one thread; the first `Instance()` must not race with another.
class QRX_EXPORT QrxHIDDeviceManager : public mis::VCollectable<unsigned int> {
public:
    /// The process's manager: the one in `sm_Instance`, or else one of this class, made at the first call. It lives
    /// until the process ends or the library is unloaded, or longer while the application holds it.
    static mis::swizzler<QrxHIDDeviceManager> Instance();

    /// For derived classes; applications call `Instance`.
    QrxHIDDeviceManager();

    /// Releases the tree.
    ~QrxHIDDeviceManager() override;

    /// The place to set `_deviceTree`. This class's own body does nothing.
    virtual void initDeviceTree();

    /// The tree, or an empty handle. Calls `initDeviceTree` first for as long as there is none.
    virtual mis::swizzler<QrxDeviceTree> getDeviceTree();

protected:
    /// The process's manager; empty before the first `Instance()`, unless a derived class has stored its own.
    static mis::swizzler<QrxHIDDeviceManager> sm_Instance;

    /// The tree, empty until `initDeviceTree` provides one.
    mis::swizzler<QrxDeviceTree> _deviceTree;
};

#endif
