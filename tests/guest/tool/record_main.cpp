/// Writes the recordings of QEMU's devices into a folder: for record_qemu_devices, not a test.

#include "QemuRecording.h"

#include "support/GuestFiles.h"

#include <cstdio>
#include <exception>

int main(int count, char** words)
{
    try {
        for (const std::string& name : qrx::guest::qemuRecordingNames()) {
            const std::string path = std::string(count > 1 ? words[1] : ".") + "/" + name + ".hid";
            if (qrx::guest::writeFile(path, qrx::guest::recordQemuDevice(name)) != 0) {
                std::fprintf(stderr, "%s cannot be written\n", path.c_str());
                return 1;
            }
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
