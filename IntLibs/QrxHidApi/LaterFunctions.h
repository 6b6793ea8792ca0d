#pragma once

/// Declares the functions of later hidapi versions where the header that the library is built with lacks them. They are
/// exported whatever that version is, since a program that was built with a later header needs them when it is loaded.

#include <hidapi/hidapi.h>

extern "C" {

#if HID_API_VERSION < HID_API_MAKE_VERSION(0, 14, 0)
HID_API_EXPORT int HID_API_CALL hid_get_report_descriptor(hid_device* dev, unsigned char* buf, size_t buf_size);
#endif

#if HID_API_VERSION < HID_API_MAKE_VERSION(0, 15, 0)
HID_API_EXPORT int HID_API_CALL hid_send_output_report(hid_device* dev, const unsigned char* data, size_t length);
HID_API_EXPORT const wchar_t* HID_API_CALL hid_read_error(hid_device* dev);
#endif
}
