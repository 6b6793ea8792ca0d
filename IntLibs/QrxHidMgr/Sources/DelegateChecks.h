#pragma once

// What debug builds diagnose about delegates, which their devices own in the end. Other builds check nothing.

#include "QrxHIDDeviceDelegateInterface.h"

/// A device exchanges the delegate `before` for `now`; either may be null.
void noteDelegateChange(const QrxHIDDeviceDelegateInterface* before, const QrxHIDDeviceDelegateInterface* now);

/// Deletes the delegate of a device that ends. A debug build tells on standard error if another device has it too, and
/// if its destructor calls an operation that the device has no more, which ends the process in every build.
void deleteDelegate(QrxHIDDeviceDelegateInterface* delegate);
