#ifndef QRX_HIDAPI_H
#define QRX_HIDAPI_H

/// What this library offers beyond the interface of hidapi. A program that runs on either library looks the two
/// functions up (dlsym(RTLD_DEFAULT, "qrx_hid_descriptor")) and does without them where they are not there.

#include <hidapi/hidapi.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A file descriptor for the program's own event loop (poll, epoll, select): readable while hid_read on this device
/// has something to say, a report or the device's end. Read without blocking until 0 or -1 comes: several reports may
/// have been fetched in one go, and the descriptor does not announce those again. It belongs to the device and is valid
/// until hid_close. -1 if there is none (hid_error tells why).
HID_API_EXPORT int HID_API_CALL qrx_hid_descriptor(hid_device* device);

/// Called for each entry of hid_enumerate's list that has come (`arrived` 1) or left (0). `info` is valid during the
/// call only; its `next` is null.
typedef void (*qrx_hid_callback)(const struct hid_device_info* info, int arrived, void* context);

/// From now on, arrivals and removals are told to `callback`: by hid_enumerate, on the thread that calls it, before it
/// returns its list. Returns a descriptor for the program's own event loop, which is readable when hid_enumerate has
/// something to tell; it stays the same, and is valid until the callback is removed or hid_exit is called. -1 if
/// devices cannot be watched now (hid_error(NULL) tells why); it may be called again then. Another callback replaces
/// the one before; NULL removes it, and answers 0. What is there already is not told. The callback may call any
/// function of the library but this one and hid_exit.
HID_API_EXPORT int HID_API_CALL qrx_hid_set_callback(qrx_hid_callback callback, void* context);

#ifdef __cplusplus
}
#endif

#endif
