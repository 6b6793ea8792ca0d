#pragma once

/// Functions of later versions of hidapi than the header that we are built with. They are there whatever that version
/// is: programs look for them when they are loaded.

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
