#pragma once

/// Names of the USB family's registry classes and property keys.

#define kIOUSBDeviceClassName "IOUSBDevice"
#define kIOUSBInterfaceClassName "IOUSBInterface"
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
