#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The ground for tests of what an application sees, whatever the platform below the backend is.
///
/// The cases in World*_test.cpp use nothing else: a program that links them with another definition of
/// makeBackendWorld() runs the same cases on that platform.
namespace world {

using Bytes = std::vector<std::uint8_t>;

/// The report descriptors that the cases use. What a registry says of each is written in Samples.h.
enum class Sample {
    /// 3 buttons, X, Y, wheel: one unnumbered input report of 4 bytes.
    kMouse,
    /// Input report 1 of 64 bytes, output report 2 of 8, feature report 3 of 4, the report ID byte counted.
    kVendor,
    /// 3 buttons: one unnumbered input report of 1 byte.
    kPedal
};
const Bytes& descriptorOf(Sample sample);

struct InterfaceDescription {
    int number = 0;
    Sample sample = Sample::kMouse;
    int subclass = 0;
    int protocol = 0;
};

struct DeviceDescription {
    std::uint16_t vendorID = 0;
    std::uint16_t productID = 0;
    std::uint16_t releaseNumber = 0;
    std::string vendorName;
    std::string productName;
    std::vector<InterfaceDescription> interfaces;
};

/// A report as the device received it.
struct Sent {
    int interfaceNumber = 0;
    /// 0 input, 1 output, 2 feature.
    unsigned int type = 0;
    unsigned int reportID = 0;
    Bytes bytes;
};

/// How input travels from the driver to the connection.
enum class InputMode { kInterrupt, kQueue };

/// Devices that come, go, send input and take reports. Nothing reaches the backend before pump().
class BackendWorld {
public:
    using Device = std::size_t;

    virtual ~BackendWorld() = default;
    BackendWorld() = default;
    BackendWorld(const BackendWorld&) = delete;
    BackendWorld& operator=(const BackendWorld&) = delete;

    /// Chosen before a device is opened.
    virtual void setInputMode(InputMode mode) = 0;
    /// Attaches a device, with all its interfaces at once.
    virtual Device addDevice(const DeviceDescription& description) = 0;
    /// Unplugs it.
    virtual void removeDevice(Device device) = 0;
    /// One input report, the report ID byte first if the device numbers its reports. Lost when nobody has it open.
    virtual void deliverInput(Device device, int interfaceNumber, const Bytes& report) = 0;
    /// What the device received so far, first to last.
    virtual std::vector<Sent> sentReports(Device device) = 0;
    /// Runs the run loop until everything that waits was delivered. What a callback throws leaves through here.
    virtual void pump() = 0;
};

/// A new, empty world; one at a time. It outlives the trees that are made in it.
std::unique_ptr<BackendWorld> makeBackendWorld();

} // namespace world
