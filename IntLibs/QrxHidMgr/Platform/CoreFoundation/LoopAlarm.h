#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <chrono>
#include <memory>

namespace qrx {

/// Calls a client in a run of a loop at one moment. Used on the loop's thread. LoopAlarm.cpp has it for the run loop of
/// this folder (timerfd), LoopAlarmMac.cpp for that of macOS.
class LoopAlarm {
public:
    using Clock = std::chrono::steady_clock;

    class Client {
    public:
        /// The moment has come. Not again before the next setDue; anything may happen in the call.
        virtual void ring() = 0;

    protected:
        ~Client() = default;
    };

    /// Made for a client that is held by a shared pointer; a call in progress holds it. Throws std::system_error
    /// without a free descriptor.
    LoopAlarm(CFRunLoopRef loop, std::weak_ptr<Client> client);
    LoopAlarm(const LoopAlarm&) = delete;
    LoopAlarm& operator=(const LoopAlarm&) = delete;
    ~LoopAlarm();

    /// Rings then, at once if it is past; the loop has something to wait for meanwhile.
    void setDue(Clock::time_point due);
    /// Does not ring.
    void clear();

private:
    struct Body;
    const std::unique_ptr<Body> _body;
};

/// What the calling thread keeps of its loop until it ends; empty at first. It is in the two files as well.
std::shared_ptr<void>& loopKeptByThread();

} // namespace qrx
