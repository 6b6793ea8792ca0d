// The devices of the library's own cases are USB devices on the guest's kernel.

#include "TestDevice.h"

#include "Plugs.h"

#include <algorithm>

using namespace qrx::guest;

namespace {

UsbIdentity identityOf(const std::string& name)
{
    UsbIdentity identity;
    identity.vendor = 0x1234;
    identity.product = 0x5678;
    identity.productName = name;
    return identity;
}

/// Interfaces are numbered by their place, so the numbers between are filled with others.
std::vector<UsbInterface> interfacesOf(const Bytes& descriptor, const std::vector<int>& numbers)
{
    constexpr std::uint16_t kLargestPacket = 1024;
    UsbInterface filler;
    filler.isHid = false;
    std::vector<UsbInterface> interfaces;
    for (const int number : numbers) {
        interfaces.resize(static_cast<std::size_t>(number) + 1, filler);
        interfaces.back().isHid = !descriptor.empty();
        interfaces.back().reportDescriptor = descriptor;
        interfaces.back().maximumPacket = kLargestPacket;
    }
    return interfaces;
}

class KernelPart final : public TestDevice::Part {
public:
    KernelPart(const std::string& name, std::vector<UsbInterface> interfaces)
        : _isHID(std::any_of(interfaces.begin(), interfaces.end(), [](const auto& one) { return one.isHid; })),
          _device(::identityOf(name), std::move(interfaces))
    {
    }
    ~KernelPart() override { pullWhole(_device); }

    void plug() override
    {
        if (_isHID) {
            plugWhole(_device);
            return;
        }
        _device.plug();
        if (!waitUntil([this] { return isFinished(_device); })) {
            throw std::runtime_error("the kernel does not take the device");
        }
    }
    void unplug() override { pullWhole(_device); }
    bool sendInputReport(int interfaceNumber, const Bytes& bytes) override
    {
        if (!isOpen(interfaceNumber)) {
            return false;
        }
        sendQueued(_device, static_cast<std::size_t>(interfaceNumber), bytes);
        return true;
    }
    std::vector<QrxSentReport> takeSentReports() override
    {
        std::vector<QrxSentReport> sent;
        for (const SentReport& report : _device.takeSentReports()) {
            // Only a control request names the report.
            const unsigned int number = report.byControlRequest ? report.reportID : report.bytes.at(0);
            sent.push_back(
                {static_cast<int>(report.interface), static_cast<unsigned int>(report.type) - 1, number, report.bytes});
        }
        return sent;
    }
    bool isOpen(int interfaceNumber) override { return hasOpen(_device, static_cast<std::size_t>(interfaceNumber)); }

private:
    const bool _isHID;
    VhciDevice _device;
};

} // namespace

void TestDevice::prepare()
{
    QrxVirtualDevice::setRealDevicesEnabled(true);
}

std::size_t TestDevice::mostAtOnce()
{
    return 6; // the virtual host controller has eight ports of that speed
}

std::unique_ptr<TestDevice::Part> TestDevice::makePart(const std::string& name, const Bytes& descriptor,
                                                       const std::vector<int>& interfaceNumbers)
{
    return std::make_unique<KernelPart>(name, interfacesOf(descriptor, interfaceNumbers));
}
