#include "Schedule.h"

#include "Base/NeverDestroyed.h"
#include "Virtual/DelayedCalls.h"

namespace qrx::hidapi {

Schedule& Schedule::ofProcess()
{
    // Never destroyed, since virtual devices leave it late in a process's life.
    static platform::NeverDestroyed<Schedule> sm_Schedule;
    return sm_Schedule.value;
}

void Schedule::add(Time due, const void* owner, std::function<void()> function)
{
    // Not `_turn`: other threads may plan while a function is being called.
    const std::scoped_lock lock(_mutex);
    const auto place = _tasks.emplace(due, Task{owner, std::move(function)});
    if (place == _tasks.begin()) {
        setTimer();
    }
}

void Schedule::forget(const void* owner)
{
    // Waits for a function that another thread is calling, which may use the owner. A function may forget its own.
    const std::scoped_lock turn(_turn);
    const std::scoped_lock lock(_mutex);
    std::erase_if(_tasks, [owner](const auto& entry) { return entry.second.owner == owner; });
    setTimer();
}

void Schedule::runDue()
{
    const std::scoped_lock turn(_turn);
    // Read once: functions that plan their successors cannot keep this going beyond the moment at which it began.
    const Time now = _timer.now();
    while (true) {
        std::function<void()> function;
        {
            const std::scoped_lock lock(_mutex);
            if (_tasks.empty() || _tasks.begin()->first > now) {
                return;
            }
            function = std::move(_tasks.begin()->second.function);
            _tasks.erase(_tasks.begin());
            setTimer();
        }
        // Without the lock: it may add what comes next.
        function();
    }
}

// With the lock held.
void Schedule::setTimer()
{
    if (_tasks.empty()) {
        _timer.clear();
    } else {
        _timer.setDue(_tasks.begin()->first);
    }
}

} // namespace qrx::hidapi

namespace qrx::platform {

namespace {

class ScheduledCalls final : public DelayedCalls {
public:
    ~ScheduledCalls() override { hidapi::Schedule::ofProcess().forget(this); }

    void callAfter(std::chrono::microseconds time, std::function<void()> function) override
    {
        hidapi::Schedule& schedule = hidapi::Schedule::ofProcess();
        schedule.add(schedule.now() + time, this, std::move(function));
    }
};

} // namespace

std::shared_ptr<DelayedCalls> makeDelayedCalls()
{
    // The schedule is made here, where an exception for want of a descriptor reaches the caller; in the destructor
    // above it would end the process.
    hidapi::Schedule::ofProcess();
    return std::make_shared<ScheduledCalls>();
}

} // namespace qrx::platform
