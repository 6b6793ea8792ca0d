// The library as an application uses it: a tree that observes, one open device, a delegate that takes the bytes. The
// run loop is stepped until nothing is left.

#include "Drain.h"

#include <QrxDeviceTree.h>
#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>
#include <QrxRunLoop.h>

#include <stdexcept>

namespace {

class SilentTreeDelegate final : public QrxDeviceTreeDelegateInterface {
public:
    void deviceAdded(mis::swizzler<QrxHIDDevice>) override {}
};

class LibraryDrain final : public Drain {
public:
    LibraryDrain();
    ~LibraryDrain() override { _device->close(); }
    LibraryDrain(const LibraryDrain&) = delete;
    LibraryDrain& operator=(const LibraryDrain&) = delete;

    std::string name() const override { return "library"; }
    void run(std::size_t) override
    {
        // A time of 0: what waits is delivered, and nothing is waited for.
        while (_loop.runOnce(0) == QrxRunLoop::Outcome::handled) {
        }
    }

private:
    /// The application.
    class Receiver final : public QrxHIDDeviceDelegateInterface {
    public:
        explicit Receiver(LibraryDrain& drain) : _drain(drain) {}
        void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice>, int) override
        {
            _drain.take(&report[0], report.size());
        }
        void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>,
                             int) override
        {
        }

    private:
        LibraryDrain& _drain;
    };

    SilentTreeDelegate _treeDelegate;
    QrxRunLoop _loop = QrxRunLoop::getCurrent();
    mis::swizzler<QrxDeviceTree> _tree;
    mis::swizzler<QrxHIDDevice> _device;
};

LibraryDrain::LibraryDrain() : _tree(QrxDeviceTree::NewInstance())
{
    _tree->setDelegate(&_treeDelegate);
    _tree->observe(0, 0);
    // The arrival of the device waits in the loop.
    run(0);
    if (_tree->getHIDDeviceCount() != 1) {
        throw std::runtime_error("the library does not have the one device");
    }
    _device = _tree->getDeviceAtIndex(0);
    _device->setDelegate(new Receiver(*this));
    _device->open();
}

} // namespace

std::unique_ptr<Drain> makeLibraryDrain()
{
    return std::make_unique<LibraryDrain>();
}
