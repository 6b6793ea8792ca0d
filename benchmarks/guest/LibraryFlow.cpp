// Many open devices on one run loop, which is stopped by the delegate that takes the last report. Devices are virtual,
// so that the other thread can send at a rate that no kernel in an emulated machine would keep.

#include "Flow.h"

#include <QrxDeviceTree.h>
#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>
#include <QrxRunLoop.h>
#include <QrxVirtualDevice.h>

#include <stdexcept>

namespace {

class LibraryFlow final : public Flow, private QrxDeviceTreeDelegateInterface {
public:
    explicit LibraryFlow(std::size_t devices);
    ~LibraryFlow() override { QrxVirtualDevice::setRealDevicesEnabled(true); }
    LibraryFlow(const LibraryFlow&) = delete;
    LibraryFlow& operator=(const LibraryFlow&) = delete;

    bool send(std::size_t device) override { return _devices[device].sendInputReport(0, stampedReport()); }
    void receive(std::size_t count) override
    {
        _wanted = taken() + count;
        _loop.run();
    }

private:
    /// The application.
    class Receiver final : public QrxHIDDeviceDelegateInterface {
    public:
        explicit Receiver(LibraryFlow& flow) : _flow(flow) {}
        void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice>, int) override
        {
            _flow.take(&report[0]);
            if (_flow.taken() == _flow._wanted) {
                _flow._loop.stop();
            }
        }
        void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>,
                             int) override
        {
        }

    private:
        LibraryFlow& _flow;
    };

    void deviceAdded(mis::swizzler<QrxHIDDevice> device) override
    {
        device->setDelegate(new Receiver(*this));
        device->open();
    }

    QrxRunLoop _loop = QrxRunLoop::getCurrent();
    std::vector<QrxVirtualDevice> _devices;
    mis::swizzler<QrxDeviceTree> _tree = QrxDeviceTree::NewInstance();
    std::size_t _wanted = 0;
};

LibraryFlow::LibraryFlow(std::size_t devices)
{
    // Devices of the guest's kernel would be found as well.
    QrxVirtualDevice::setRealDevicesEnabled(false);
    const QrxVirtualInterface interface(0, {0x06, 0x00, 0xFF, 0x09, 0x01,   0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF,
                                            0x00, 0x75, 0x08, 0x95, kBytes, 0x09, 0x02, 0x81, 0x02, 0xC0});
    for (std::size_t number = 0; number < devices; ++number) {
        _devices.emplace_back(QrxVirtualIdentity(0x1234, 0), std::vector{interface});
        _devices.back().plug();
    }
    _tree->setDelegate(this);
    _tree->populate(0, 0);
    if (_tree->getHIDDeviceCount() != devices) {
        throw std::runtime_error("the library does not have all devices");
    }
}

} // namespace

std::unique_ptr<Flow> makeLibraryFlow(std::size_t devices)
{
    return std::make_unique<LibraryFlow>(devices);
}
