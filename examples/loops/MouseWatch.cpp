#include "MouseWatch.h"

#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>

#include <cstdio>
#include <sstream>
#include <utility>

namespace {

// As many as the recording below has events.
constexpr std::size_t kMovements = 5;

// In the format of the field's recorders, which QrxRecording.h describes: a report descriptor, a name, bus and IDs,
// events.
const char* const kMouse =
    "R: 50 05 01 09 02 a1 01 09 01 a1 00 05 09 19 01 29 03 15 00 25 01 95 03 75 01 81 02 95 01 75 05 "
    "81 03 05 01 09 30 09 31 15 81 25 7f 75 08 95 02 81 06 c0 c0\n"
    "N: Example Mouse\n"
    "I: 3 1209 0001\n"
    "E: 000000.000000 3 00 01 00\n"
    "E: 000000.010000 3 00 02 00\n"
    "E: 000000.020000 3 00 03 ff\n"
    "E: 000000.030000 3 00 04 fe\n"
    "E: 000000.040000 3 00 05 fd\n";

QrxRecording mouseRecording()
{
    std::istringstream text(kMouse);
    return QrxRecording::read(text, "example mouse");
}

/// Prints movements; owned by its device.
class MovementPrinter final : public QrxHIDDeviceDelegateInterface {
public:
    explicit MovementPrinter(std::function<void()> moved) : _moved(std::move(moved)) {}

    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice>, int) override
    {
        std::printf("moved by %d, %d\n", static_cast<signed char>(report[1]), static_cast<signed char>(report[2]));
        _moved();
    }

    void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override
    {
    }

private:
    std::function<void()> _moved;
};

} // namespace

MouseWatch::MouseWatch(std::function<void()> finished)
    // Members end in reverse order: the device and its tree go before the mouse that they stand for.
    : _finished(std::move(finished)), _recording(mouseRecording()), _mouse(_recording), _player(_recording, _mouse),
      _tree(QrxDeviceTree::NewInstance())
{
    // A mouse that is really plugged in would be found as well, and does not move five times.
    QrxVirtualDevice::setRealDevicesEnabled(false);
    _tree->setDelegate(this);
    _tree->observe(0x1209, 0x0001);
    // Nothing is called back from within: the arrival waits until the loop runs.
    _mouse.plug();
}

MouseWatch::~MouseWatch()
{
    // The tree ends after this, and calls its delegate until then, which is this object.
    _tree->setDelegate(nullptr);
}

void MouseWatch::deviceAdded(mis::swizzler<QrxHIDDevice> device)
{
    std::printf("%s has arrived\n", device->getProductName().c_str());
    // The device deletes its delegate.
    device->setDelegate(new MovementPrinter([this] { moved(); }));
    device->open();
    _device = device;
    // At the speed of the recording; the player needs the loop of this thread, whichever it is.
    _player.start();
}

void MouseWatch::moved()
{
    if (++_movements == kMovements) {
        // Allowed from within the report that is being delivered.
        _device->close();
        _mouse.unplug();
        _finished();
    }
}

int MouseWatch::exitStatus() const
{
    return _movements == kMovements ? 0 : 1;
}
