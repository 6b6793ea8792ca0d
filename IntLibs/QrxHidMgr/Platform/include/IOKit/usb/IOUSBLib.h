#pragma once

/// Names of the USB family's registry classes and property keys.

// A program built for 10.15 and later meets the newer stack's classes. Our own registry has the older ones: it is built
// without a deployment target.
#if defined(MAC_OS_X_VERSION_MIN_REQUIRED) && MAC_OS_X_VERSION_MIN_REQUIRED > 101400
#define kIOUSBDeviceClassName "IOUSBHostDevice"
#define kIOUSBInterfaceClassName "IOUSBHostInterface"
#else
#define kIOUSBDeviceClassName "IOUSBDevice"
#define kIOUSBInterfaceClassName "IOUSBInterface"
#endif
#define kUSBVendorID "idVendor"
#define kUSBProductID "idProduct"
#define kUSBDeviceReleaseNumber "bcdDevice"
#define kUSBDeviceClass "bDeviceClass"
#define kUSBDeviceSubClass "bDeviceSubClass"
#define kUSBDeviceProtocol "bDeviceProtocol"
#define kUSBInterfaceNumber "bInterfaceNumber"
#define kUSBInterfaceClass "bInterfaceClass"
#define kUSBInterfaceSubClass "bInterfaceSubClass"
#define kUSBInterfaceProtocol "bInterfaceProtocol"
#define kUSBVendorString "USB Vendor Name"
#define kUSBProductString "USB Product Name"
#define kUSBSerialNumberString "USB Serial Number"
#define kUSBInterfaceName "USB Interface Name"
#define kUSBDevicePropertyLocationID "locationID"
