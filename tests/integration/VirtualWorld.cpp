// The ground of the backend's tests, over this library's own platform and virtual devices.

#include "BackendWorld.h"

#include "CoreFoundation/SystemVersion.h"

#include <QrxRunLoop.h>
#include <QrxVirtualDevice.h>

#include <map>
#include <optional>

namespace world {

namespace {

constexpr std::int32_t kQueueModeVersion = 0x1068;

QrxVirtualDevice deviceOf(const DeviceDescription& description)
{
    QrxVirtualIdentity identity(description.vendorID, description.productID);
    identity.setReleaseNumber(description.releaseNumber)
        .setVendorName(description.vendorName)
        .setProductName(description.productName);
    std::vector<QrxVirtualInterface> interfaces;
    for (const InterfaceDescription& interface : description.interfaces) {
        interfaces.push_back(QrxVirtualInterface(interface.number, descriptorOf(interface.sample))
                                 .setSubclass(static_cast<std::uint8_t>(interface.subclass))
                                 .setProtocol(static_cast<std::uint8_t>(interface.protocol)));
    }
    return {identity, interfaces};
}

class VirtualWorld final : public BackendWorld {
public:
    VirtualWorld() { QrxVirtualDevice::setRealDevicesEnabled(false); }
    ~VirtualWorld() override { qrx::platform::setSystemVersion(std::nullopt); }

    void setInputMode(InputMode mode) override
    {
        qrx::platform::setSystemVersion(mode == InputMode::kQueue ? std::optional(kQueueModeVersion) : std::nullopt);
    }

    Device addDevice(const DeviceDescription& description) override
    {
        const Device name = ++_count;
        _devices.emplace(name, deviceOf(description)).first->second.plug();
        return name;
    }

    void removeDevice(Device device) override { _devices.at(device).unplug(); }

    void deliverInput(Device device, int interfaceNumber, const Bytes& report) override
    {
        _devices.at(device).sendInputReport(interfaceNumber, report);
    }

    std::vector<Sent> sentReports(Device device) override
    {
        std::vector<Sent>& sent = _sent[device];
        for (const QrxSentReport& report : _devices.at(device).takeSentReports()) {
            sent.push_back(
                {report.getInterfaceNumber(), report.getReportType(), report.getReportID(), report.getBytes()});
        }
        return sent;
    }

    void pump() override
    {
        while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
        }
    }

private:
    std::map<Device, QrxVirtualDevice> _devices;
    std::map<Device, std::vector<Sent>> _sent;
    Device _count = 0;
};

} // namespace

std::unique_ptr<BackendWorld> makeBackendWorld()
{
    return std::make_unique<VirtualWorld>();
}

} // namespace world
