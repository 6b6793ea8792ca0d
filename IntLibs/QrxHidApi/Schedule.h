#pragma once

#include "Base/MonotonicTimer.h"

#include <functional>
#include <map>
#include <mutex>
#include <utility>

namespace qrx::hidapi {

/// What virtual devices are to do later.
///
/// No thread of the library's own moves the time: whoever reads from a virtual device calls `runDue`, and waits for
/// `descriptor` besides what he waits for. From any thread.
class Schedule {
public:
    using Time = platform::MonotonicTimer::Time;

    /// The process's. Throws std::system_error if no descriptor is free when it is first asked for.
    static Schedule& ofProcess();

    Time now() const { return _timer.now(); }
    /// Readable when something is due.
    int descriptor() const { return _timer.descriptor(); }

    /// Functions of the same time are called in the order of these calls. They must not throw.
    void add(Time due, const void* owner, std::function<void()> function);
    /// Drops that owner's functions, and waits for one that another thread is calling.
    void forget(const void* owner);
    /// Calls what is due.
    void runDue();

private:
    struct Task {
        const void* owner;
        std::function<void()> function;
    };

    void setTimer();

    /// Held while functions are called, so that they are called in their order. They may forget.
    std::recursive_mutex _turn;
    std::mutex _mutex;
    std::multimap<Time, Task> _tasks;
    platform::MonotonicTimer _timer;
};

} // namespace qrx::hidapi
