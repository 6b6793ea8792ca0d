#pragma once

#include "QrxRecording.h"
#include "QrxVirtualDevice.h"
#include "Schedule.h"

#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <vector>

namespace qrx::hidapi {

/// Devices that are files: recordings, plugged in as long as this object lives, each of which sends its input at the
/// recorded times from the moment on that somebody opens it, and obeys its script. What they do later is on the
/// schedule. From any thread.
class VirtualWorld {
public:
    /// One script is for all recordings; of several, each is for the recording at its place. Throws std::runtime_error
    /// that tells the file, the line and the reason, and std::invalid_argument for lists that do not match.
    VirtualWorld(const std::vector<std::string>& recordings, const std::vector<std::string>& scripts);

    /// Somebody has opened something: recordings of devices that are open begin.
    void startOpened();

private:
    /// One device and its recording.
    class Player {
    public:
        explicit Player(QrxRecording recording);
        ~Player();
        Player(const Player&) = delete;
        Player& operator=(const Player&) = delete;

        void obey(const QrxVirtualScript& script) { _device.setScript(script); }
        void plug() { _device.plug(); }
        void startIfOpen();

    private:
        bool isOpen() const;
        void sendNext();
        void planNext();

        QrxRecording _recording;
        QrxVirtualDevice _device;
        bool _isStarted = false;
        Schedule::Time _start;
        std::size_t _next = 0;
    };

    std::mutex _mutex;
    std::list<Player> _players;
};

} // namespace qrx::hidapi
