#pragma once

#include "LoopAlarm.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

namespace qrx {

/// The functions that a loop is to call: those posted from any thread, in their order, and those of timers. While there
/// are any the loop has something to wait for. A function is out of the list before it is called (that of a repeated
/// timer has its next moment), so it may do anything, throw included; one call is one thing that the loop delivers.
class LoopTasks final : public LoopAlarm::Client, public std::enable_shared_from_this<LoopTasks> {
public:
    using Clock = LoopAlarm::Clock;
    using Function = std::function<void()>;

    explicit LoopTasks(CFRunLoopRef loop);
    LoopTasks(const LoopTasks&) = delete;
    LoopTasks& operator=(const LoopTasks&) = delete;
    ~LoopTasks();

    /// From any thread.
    void post(Function function);

    // On the loop's thread. O(log n) of the timers.

    /// An interval of zero: once.
    std::uint64_t start(Clock::duration delay, Clock::duration interval, Function function);
    /// False if it is over or was cancelled.
    bool cancel(std::uint64_t timer);

private:
    /// By time; of equal times the one that was started first.
    using Moment = std::pair<Clock::time_point, std::uint64_t>;
    struct Timer {
        Clock::duration interval;
        std::shared_ptr<const Function> function;
    };

    void performPosted();
    void ring() override;
    void setAlarm();

    const CFRunLoopRef _loop; ///< not retained: QrxRunLoop::Body holds it longer
    CFRunLoopSourceRef _source;
    std::mutex _mutex; ///< guards _posted; all below is the loop's thread's
    std::deque<Function> _posted;

    std::map<Moment, Timer> _timers;
    std::unordered_map<std::uint64_t, Clock::time_point> _moments;
    std::uint64_t _lastTimer = 0;
    std::unique_ptr<LoopAlarm> _alarm;
};

} // namespace qrx
