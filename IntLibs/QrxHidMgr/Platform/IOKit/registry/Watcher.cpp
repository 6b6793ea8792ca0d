#include "Watcher.h"

#include "Base/SystemError.h"

#include <cerrno>
#include <chrono>

namespace qrx::iokit {

namespace {

/// Soon enough for a person who waits for a device, seldom enough for a machine that is short of everything.
constexpr std::chrono::seconds kTimeBetweenTries{1};

} // namespace

Watcher::Watcher() : _set(platform::SystemCalls::ofProcess()), _timer(platform::SystemCalls::ofProcess())
{
    // The timer is made at once: later, when a descriptor is missing, there would be none for it either.
    if (!_set.isOpen() || !_timer.isOpen() || !watch(_timer.descriptor())) {
        platform::throwSystemError(errno, "arrivals and removals cannot be waited for");
    }
}

bool Watcher::watch(int fd)
{
    if (fd < 0 || !_set.isOpen() || _set.isInherited()) {
        return true;
    }
    // Watching what is watched already is no error: providers are asked again after a failure of one of them.
    return _set.add(fd, 0) || errno == EEXIST;
}

void Watcher::forget(int fd)
{
    if (fd >= 0) {
        _set.remove(fd);
    }
}

void Watcher::setRetrying(bool isRetrying)
{
    if (isRetrying == _isRetrying || !_timer.isOpen() || _set.isInherited()) {
        return;
    }
    _isRetrying = isRetrying;
    if (isRetrying) {
        _timer.setInterval(kTimeBetweenTries);
    } else {
        _timer.clear();
    }
}

bool Watcher::takeRetry()
{
    // The timer repeats by itself; taking makes the set quiet until the next time.
    return _isRetrying && _timer.take();
}

void Watcher::close()
{
    _timer.close();
    _set.close();
}

} // namespace qrx::iokit
