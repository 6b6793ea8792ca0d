#pragma once

#include "LibraryTest.h"

#include <QrxVirtualDevice.h>

/// A tree on virtual devices, for cases of what applications use beside the model.
class AdditionsTest : public LibraryTest {
protected:
    /// Delegates end with the tree, while what they write to is still there.
    void TearDown() override { _tree = {}; }

    /// Plugs the device and finds it.
    DeviceHandle arrived(TestDevice& device)
    {
        device.plug();
        _tree = populatedTree();
        return _tree->getDeviceAtIndex(_tree->getHIDDeviceCount() - 1);
    }

    TreeHandle _tree;
};
