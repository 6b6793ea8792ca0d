#include "devices/SignalWatch.h"

#include "QrxRunLoop.h"

#include <cerrno>
#include <poll.h>
#include <system_error>

namespace qrxhid {

bool SignalWatch::waitForLoop() const
{
    QrxRunLoop loop = QrxRunLoop::getCurrent();
    const int descriptor = loop.getFileDescriptor();
    if (descriptor >= 0) {
        // One wait for both: a signal that comes between two waits is not missed.
        return waitFor(descriptor);
    }
    // A tenth of a second: nobody who presses Ctrl-C notices it.
    constexpr int kLookAgainMs = 100;
    constexpr double kMsPerSecond = 1000;
    if (loop.runOnce(kLookAgainMs / kMsPerSecond) == QrxRunLoop::Outcome::finished) {
        // A loop that has nothing to wait for returns at once. poll takes -1 for no descriptor.
        waitFor(-1, kLookAgainMs);
    }
    return !hasSignal();
}

bool SignalWatch::waitFor(int descriptor, int timeoutMs) const
{
    pollfd watched[] = {{_fd, POLLIN, 0}, {descriptor, POLLIN, 0}};
    // A signal for which the program has a handler interrupts, and is no reason to end.
    while (poll(watched, 2, timeoutMs) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
    }
    return watched[0].revents == 0;
}

bool SignalWatch::hasSignal() const
{
    pollfd watched = {_fd, POLLIN, 0};
    return poll(&watched, 1, 0) > 0;
}

} // namespace qrxhid
