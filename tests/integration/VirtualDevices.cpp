// The cases' devices are virtual.

#include "TestDevice.h"

namespace {

class VirtualPart final : public TestDevice::Part {
public:
    VirtualPart(const QrxVirtualIdentity& identity, const std::vector<QrxVirtualInterface>& interfaces)
        : _device(identity, interfaces)
    {
    }

    void plug() override { _device.plug(); }
    void unplug() override { _device.unplug(); }
    bool sendInputReport(int interfaceNumber, const TestDevice::Bytes& bytes) override
    {
        return _device.sendInputReport(interfaceNumber, bytes);
    }
    std::vector<QrxSentReport> takeSentReports() override { return _device.takeSentReports(); }
    bool isOpen(int interfaceNumber) override { return _device.getOpenCount(interfaceNumber) != 0; }
    QrxVirtualDevice* virtualDevice() override { return &_device; }

private:
    QrxVirtualDevice _device;
};

} // namespace

void TestDevice::prepare()
{
    QrxVirtualDevice::setRealDevicesEnabled(false);
}

std::size_t TestDevice::mostAtOnce()
{
    return 200;
}

std::unique_ptr<TestDevice::Part> TestDevice::makePart(const std::string& name, const Bytes& descriptor,
                                                       const std::vector<int>& interfaceNumbers)
{
    std::vector<QrxVirtualInterface> interfaces;
    for (const int number : interfaceNumbers) {
        interfaces.push_back({number, descriptor});
    }
    return std::make_unique<VirtualPart>(QrxVirtualIdentity(0x1234, 0x5678).setProductName(name), interfaces);
}
