// The ground of the backend's tests, over the whole library and the kernel's devices.

#include "BackendWorld.h"

#include "Plugs.h"

#include "CoreFoundation/SystemVersion.h"

#include <QrxRunLoop.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace world {

namespace {

using namespace qrx::guest;

constexpr std::int32_t kQueueModeVersion = 0x1068;

UsbIdentity identityOf(const DeviceDescription& description)
{
    UsbIdentity identity;
    identity.vendor = description.vendorID;
    identity.product = description.productID;
    identity.release = description.releaseNumber;
    identity.manufacturer = description.vendorName;
    identity.productName = description.productName;
    return identity;
}

std::vector<UsbInterface> interfacesOf(const DeviceDescription& description)
{
    std::vector<UsbInterface> interfaces;
    for (const InterfaceDescription& wanted : description.interfaces) {
        if (static_cast<std::size_t>(wanted.number) != interfaces.size()) {
            throw std::runtime_error("interfaces are numbered by their place here");
        }
        UsbInterface interface;
        interface.reportDescriptor = descriptorOf(wanted.sample);
        interface.subclass = static_cast<std::uint8_t>(wanted.subclass);
        interface.protocol = static_cast<std::uint8_t>(wanted.protocol);
        interfaces.push_back(interface);
    }
    return interfaces;
}

unsigned int typeNumber(UsbReportType type)
{
    return static_cast<unsigned int>(type) - 1;
}

/// A device and what it was sent so far.
class Plugged {
public:
    explicit Plugged(const DeviceDescription& description)
        : _interfaces(description.interfaces), _device(identityOf(description), interfacesOf(description))
    {
        plugWhole(_device);
    }

    VhciDevice& device() { return _device; }

    const std::vector<Sent>& sent()
    {
        for (const SentReport& report : _device.takeSentReports()) {
            // Only a control request names the report; an interrupt transfer carries it as its first byte.
            const bool isNumbered = _interfaces.at(report.interface).sample == Sample::kVendor;
            const unsigned int number = isNumbered && !report.byControlRequest ? report.bytes.at(0) : report.reportID;
            _sent.push_back({static_cast<int>(report.interface), typeNumber(report.type), number, report.bytes});
        }
        return _sent;
    }

private:
    std::vector<InterfaceDescription> _interfaces;
    std::vector<Sent> _sent;
    VhciDevice _device;
};

/// Every operation returns when the kernel has done its part, so whatever there is to deliver lies in a queue of the
/// library's by then, and pump() needs to wait for nothing.
class VhciWorld final : public BackendWorld {
public:
    ~VhciWorld() override
    {
        qrx::platform::setSystemVersion(std::nullopt);
        // All at once first: the kernel takes its time with each.
        for (auto& [name, plugged] : _devices) {
            plugged->device().unplug();
        }
        EXPECT_TRUE(waitUntilBusIsEmpty());
    }

    void setInputMode(InputMode mode) override
    {
        qrx::platform::setSystemVersion(mode == InputMode::kQueue ? std::optional(kQueueModeVersion) : std::nullopt);
    }

    Device addDevice(const DeviceDescription& description) override
    {
        const Device name = ++_count;
        _devices.emplace(name, std::make_unique<Plugged>(description));
        return name;
    }

    void removeDevice(Device device) override { pullWhole(_devices.at(device)->device()); }

    void deliverInput(Device device, int interfaceNumber, const Bytes& report) override
    {
        VhciDevice& usb = _devices.at(device)->device();
        const auto interface = static_cast<std::size_t>(interfaceNumber);
        if (hasOpen(usb, interface)) {
            sendQueued(usb, interface, report);
        }
    }

    std::vector<Sent> sentReports(Device device) override { return _devices.at(device)->sent(); }

    void pump() override
    {
        while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
        }
    }

private:
    std::map<Device, std::unique_ptr<Plugged>> _devices;
    Device _count = 0;
};

} // namespace

std::unique_ptr<BackendWorld> makeBackendWorld()
{
    return std::make_unique<VhciWorld>();
}

} // namespace world
