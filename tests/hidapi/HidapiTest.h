#pragma once

#include "LaterFunctions.h"
#include "QrxRecording.h"
#include "QrxVirtualDevice.h"
#include "qrx_hidapi.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/types.h>

namespace qrx::tests {

using Bytes = std::vector<std::uint8_t>;

struct CloseDevice {
    void operator()(hid_device* device) const { hid_close(device); }
};
using OpenHandle = std::unique_ptr<hid_device, CloseDevice>;

struct FreeList {
    void operator()(hid_device_info* list) const { hid_free_enumeration(list); }
};
using DeviceList = std::unique_ptr<hid_device_info, FreeList>;

/// The line of a recording with a report descriptor; `bytes` are in hex, each with a blank after it.
inline std::string descriptorLine(const std::string& bytes)
{
    return "R: " + std::to_string(bytes.size() / 3) + " " + bytes + "\n";
}

/// The text of a recording of a device 1209:0001, of one interface: an input report of 4 bytes, an output report and a
/// feature report of 2, none of them numbered. `more` is put before the interface's lines.
inline std::string plainDevice(const std::string& more = {})
{
    return more +
           "N: Plain\n"
           "I: 3 1209 0001\n" +
           descriptorLine("06 00 ff "    // Usage Page (vendor)
                          "09 01 "       // Usage (1)
                          "a1 01 "       // Collection (Application)
                          "15 00 "       //   Logical Minimum (0)
                          "26 ff 00 "    //   Logical Maximum (255)
                          "75 08 "       //   Report Size (8)
                          "95 04 "       //   Report Count (4)
                          "09 02 81 02 " //   Usage (2), Input
                          "95 02 "       //   Report Count (2)
                          "09 03 91 02 " //   Usage (3), Output
                          "09 04 b1 02 " //   Usage (4), Feature
                          "c0 ");        // End Collection
}

/// The same of a device 1209:0002 whose reports have the numbers 1 (input), 2 (output) and 3 (feature), each in a
/// top-level collection of its own.
inline std::string numberedDevice()
{
    return "N: Numbered\n"
           "I: 3 1209 0002\n" +
           descriptorLine(
               "06 00 ff "                                                // Usage Page (vendor)
               "15 00 26 ff 00 75 08 95 04 "                              // 0..255, 4 times 8 bits
               "09 01 a1 01 85 01 09 11 81 02 c0 "                        // Usage (1), Collection, report 1, Input
               "09 02 a1 01 85 02 09 12 91 02 c0 "                        // Usage (2), Collection, report 2, Output
               "05 01 09 06 a1 01 85 03 06 00 ff 09 13 b1 02 c0 "         // Keyboard, Collection, report 3, Feature
               "06 01 ff 09 04 a1 01 85 04 09 14 81 02 09 15 91 02 c0 "); // Usage (4) of another page, report 4
}

inline QrxRecording recordingOf(const std::string& text)
{
    std::istringstream stream(text);
    return QrxRecording::read(stream, "test");
}

inline std::string textOf(const wchar_t* wide)
{
    return wide == nullptr ? "(null)" : std::string(wide, wide + std::char_traits<wchar_t>::length(wide));
}

inline std::string errorOf(hid_device* device)
{
    return textOf(hid_error(device));
}

/// The system calls that poll(2) makes: the one of its name is not there on every processor.
inline bool isPoll(long systemCall)
{
#ifdef SYS_poll
    if (systemCall == SYS_poll) {
        return true;
    }
#endif
    return systemCall == SYS_ppoll;
}

/// Waits until the thread sleeps in poll, where a read waits for reports, and not in front of a lock; not for ever.
inline void waitUntilAsleep(const std::atomic<pid_t>& thread)
{
    for (int look = 0; look < 5000; ++look) {
        std::string path = "/proc/self/task/" + std::to_string(thread.load()) + "/syscall";
        if (FILE* file = thread.load() != 0 ? std::fopen(path.c_str(), "r") : nullptr) {
            // Of a thread that does not sleep it says "running".
            long systemCall = -1;
            const int found = std::fscanf(file, "%ld", &systemCall);
            std::fclose(file);
            if (found == 1 && isPoll(systemCall)) {
                return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    FAIL() << "the thread never slept in poll";
}

/// The library with virtual devices alone, from its beginning to its end.
class HidapiTest : public ::testing::Test {
protected:
    HidapiTest()
    {
        ::setenv("QRX_HIDAPI_ONLY_VIRTUAL", "1", 1);
        ::unsetenv("QRX_HIDAPI_RECORDINGS");
    }
    ~HidapiTest() override { hid_exit(); }

    static OpenHandle openFirst(std::uint16_t productID)
    {
        OpenHandle device(hid_open(0x1209, productID, nullptr));
        EXPECT_NE(device, nullptr) << errorOf(nullptr);
        return device;
    }

    /// What one read without waiting gives; "error: ..." for a failure.
    static std::string readNow(hid_device* device, std::size_t size = 64)
    {
        Bytes bytes(size);
        const int count = hid_read_timeout(device, bytes.data(), bytes.size(), 0);
        if (count < 0) {
            return "error: " + errorOf(device);
        }
        std::string text;
        for (int index = 0; index < count; ++index) {
            std::array<char, 4> hex;
            std::snprintf(hex.data(), hex.size(), "%02x ", bytes[static_cast<std::size_t>(index)]);
            text += hex.data();
        }
        return text;
    }
};

} // namespace qrx::tests
