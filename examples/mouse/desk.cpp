// Linked into mouse.cpp: plugs a recorded mouse into the program, plays it, pulls it, and presses Ctrl-C.
#include <QrxHIDManager/QrxRecording.h>
#include <QrxHIDManager/QrxRunLoop.h>
#include <QrxHIDManager/QrxVirtualDevice.h>

#include <chrono>
#include <csignal>

namespace {

class Desk {
public:
    Desk()
    {
        QrxVirtualDevice::setRealDevicesEnabled(false);
        _mouse.plug();
        // The program hears of the mouse's end first, and of the signal in a later turn of its loop.
        _player.setFinishedHandler([this] {
            _mouse.unplug();
            QrxRunLoop::getCurrent().callAfter(std::chrono::milliseconds(10), [] { std::raise(SIGINT); });
        });
        // Once the program runs its loop, it has opened the mouse.
        QrxRunLoop::getCurrent().callAfter(std::chrono::milliseconds(10),
                                           [this] { _player.start(QrxRecordingPlayer::kAsFastAsTaken); });
    }

private:
    QrxRecording _recording = QrxRecording::readFile(RECORDING);
    QrxVirtualDevice _mouse{_recording};
    QrxRecordingPlayer _player{_recording, _mouse};
};

// Made before main runs, on the same thread, whose run loop it is then.
const Desk sm_Desk;

} // namespace
