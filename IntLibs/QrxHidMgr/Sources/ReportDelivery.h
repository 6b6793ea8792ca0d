#pragma once

// The one place where a report reaches the application.

#include "QrxHIDDevice.h"
#include "QrxHIDDeviceDelegateInterface.h"
#include "swizzler"

/// Tells the delegate of `device` of the report that `makeReport` returns. The delegate may drop every other handle on
/// the device, replace itself or throw: `Hold`, made of the device, keeps it for the call, and nothing is used
/// afterwards. The array is the delegate's own; it is made where the delegate takes it, so that it is not moved.
template <class Hold, class Device, class MakeReport>
inline void tellDelegate(Device& device, QrxHIDDeviceDelegateInterface& delegate, MakeReport makeReport,
                         int interfaceNumber)
{
    const Hold hold(device);
    delegate.handleReport(makeReport(), mis::swizzler<QrxHIDDevice>(&device), interfaceNumber);
}
