// Opens a device, sends it a report of one byte, and prints what it sends for a second.
#include <hidapi/hidapi.h>

#include <cstdio>

int main()
{
    if (hid_init() != 0)
        return 1;
    hid_device* device = hid_open(0x1209, 0x0008, nullptr);
    if (device == nullptr) {
        std::fprintf(stderr, "%ls\n", hid_error(nullptr));
        return 1;
    }
    const unsigned char on[] = {0, 1}; // the number first, also where reports have none
    if (hid_write(device, on, sizeof on) < 0)
        std::fprintf(stderr, "%ls\n", hid_error(device));
    unsigned char bytes[64];
    for (;;) {
        const int size = hid_read_timeout(device, bytes, sizeof bytes, 1000);
        if (size < 0)
            std::fprintf(stderr, "%ls\n", hid_error(device));
        if (size <= 0)
            break;
        std::printf("%02x, %d bytes\n", bytes[0], size);
    }
    hid_close(device);
    hid_exit();
}
