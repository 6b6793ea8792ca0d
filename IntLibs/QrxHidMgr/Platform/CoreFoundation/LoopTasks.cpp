#include "LoopTasks.h"

#include <algorithm>

namespace qrx {

LoopTasks::LoopTasks(CFRunLoopRef loop) : _loop(loop)
{
    CFRunLoopSourceContext context{};
    context.info = this;
    context.perform = [](void* info) {
        const auto held = static_cast<LoopTasks*>(info)->shared_from_this();
        held->performPosted();
    };
    _source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
}

LoopTasks::~LoopTasks()
{
    CFRunLoopSourceInvalidate(_source);
    CFRelease(_source);
}

void LoopTasks::post(Function function)
{
    {
        const std::lock_guard lock(_mutex);
        _posted.push_back(std::move(function));
        if (_posted.size() == 1) {
            // A member for as long as there is something to call, or a loop without anything else would never finish.
            try {
                CFRunLoopAddSource(_loop, _source, kCFRunLoopDefaultMode);
            } catch (...) {
                // The next function that is posted must be the first one again, or none would ever be called.
                _posted.pop_back();
                throw;
            }
        }
        CFRunLoopSourceSignal(_source);
    }
    CFRunLoopWakeUp(_loop);
}

void LoopTasks::performPosted()
{
    Function function;
    {
        const std::lock_guard lock(_mutex);
        if (_posted.empty()) {
            return;
        }
        function = std::move(_posted.front());
        _posted.pop_front();
        if (_posted.empty()) {
            CFRunLoopRemoveSource(_loop, _source, kCFRunLoopDefaultMode);
        } else {
            // The next one in the next pass: others are served between them, and an exception leaves nothing behind.
            CFRunLoopSourceSignal(_source);
            CFRunLoopWakeUp(_loop);
        }
    }
    function();
}

std::uint64_t LoopTasks::start(Clock::duration delay, Clock::duration interval, Function function)
{
    if (!_alarm) {
        _alarm = std::make_unique<LoopAlarm>(_loop, weak_from_this());
    }
    // Longer delays would overflow the clock; a hundred years are as good as never.
    constexpr Clock::duration kLongest = std::chrono::hours(24 * 365 * 100);
    const Clock::time_point due = Clock::now() + std::clamp(delay, Clock::duration::zero(), kLongest);
    const std::uint64_t timer = ++_lastTimer;
    const auto place =
        _timers.emplace(Moment{due, timer}, Timer{std::clamp(interval, Clock::duration::zero(), kLongest),
                                                  std::make_shared<const Function>(std::move(function))});
    try {
        _moments.emplace(timer, due);
        if (place.first == _timers.begin()) {
            setAlarm();
        }
    } catch (...) {
        // The caller has no number to cancel it by. Left in the list it would count as the earliest timer, and later
        // starts would not set the alarm.
        _moments.erase(timer);
        _timers.erase(place.first);
        throw;
    }
    return timer;
}

bool LoopTasks::cancel(std::uint64_t timer)
{
    const auto moment = _moments.find(timer);
    if (moment == _moments.end()) {
        return false;
    }
    const auto place = _timers.find({moment->second, timer});
    const bool isNext = place == _timers.begin();
    _timers.erase(place);
    _moments.erase(moment);
    if (isNext) {
        setAlarm();
    }
    return true;
}

void LoopTasks::setAlarm()
{
    if (_timers.empty()) {
        _alarm->clear();
    } else {
        _alarm->setDue(_timers.begin()->first.first);
    }
}

void LoopTasks::ring()
{
    const Clock::time_point now = Clock::now();
    if (_timers.empty() || _timers.begin()->first.first > now) {
        return;
    }
    auto node = _timers.extract(_timers.begin());
    const std::uint64_t timer = node.key().second;
    const std::shared_ptr<const Function> function = node.mapped().function;
    const Clock::duration interval = node.mapped().interval;
    if (interval == Clock::duration::zero()) {
        _moments.erase(timer);
    } else {
        // Missed calls are dropped: the next one is due now at the earliest.
        const Clock::time_point next = std::max(node.key().first + interval, now);
        node.key().first = next;
        _moments.find(timer)->second = next;
        _timers.insert(std::move(node));
    }
    setAlarm();
    (*function)();
}

} // namespace qrx
