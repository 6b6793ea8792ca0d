#pragma once

#include "support/SentReport.h"
#include "support/Waiting.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace qrx::guest {

/// What a user-space HID device says of itself.
struct UhidIdentity {
    std::string name = "Test device";
    /// Should be unique: the device's folder is found by it.
    std::string phys = "test/0";
    std::string uniq;
    /// 3 is USB.
    std::uint16_t bus = 3;
    std::uint16_t vendor = 0x1234;
    std::uint16_t product = 0x0002;
    std::uint32_t version = 0x0100;
};

/// A HID device made through /dev/uhid: the kernel's HID core without any USB. Made at once and in numbers (the kernel
/// has 64 report nodes; devices beyond that exist without one).
///
/// Serves the kernel in a thread of its own; operations may be called from any thread. Destroyed with the object.
class UhidDevice {
public:
    /// Throws std::system_error if the kernel refuses at once (a descriptor of more than 4,096 bytes). One that it
    /// cannot parse makes a device without driver.
    UhidDevice(const UhidIdentity& identity, const Bytes& descriptor);
    ~UhidDevice();
    UhidDevice(const UhidDevice&) = delete;
    UhidDevice& operator=(const UhidDevice&) = delete;

    /// Folder of the HID device in sysfs; waits for it, empty if it does not come.
    std::string sysfsPath() const;
    /// The report node, by waiting; empty if there is none in time.
    std::string waitForNode(std::chrono::milliseconds limit = kPatience) const;

    /// An input report, its number first if the reports are numbered.
    void sendInput(const Bytes& bytes);
    /// The reports that arrived since the last call. All of them begin with a number, 0 if they have none.
    std::vector<SentReport> takeSentReports();
    std::vector<SentReport> waitForSentReports(std::size_t count, std::chrono::milliseconds limit = kPatience);
    /// What a request for a report is answered with; without it the answer is an error.
    void setReport(UsbReportType type, std::uint8_t reportID, Bytes bytes);
    /// Whether someone has the device open (the kernel's input layer counts).
    bool isOpen() const;

private:
    void serve();
    void handleEvent();
    void answerGetReport(std::uint32_t id, std::uint8_t reportID, std::uint8_t type);
    void keep(UsbReportType type, std::uint8_t reportID, bool byControlRequest, const std::uint8_t* data,
              std::size_t size);

    std::string _phys;
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<SentReport> _sent;
    std::map<std::pair<UsbReportType, std::uint8_t>, Bytes> _reports;
    bool _open = false;
    int _fd = -1;
    int _stopFd = -1;
    std::thread _thread;
};

} // namespace qrx::guest
