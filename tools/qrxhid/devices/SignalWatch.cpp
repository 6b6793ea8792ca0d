#include "devices/SignalWatch.h"

#include <cerrno>
#include <initializer_list>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace qrxhid {

SignalWatch::SignalWatch()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM}) {
        sigaddset(&signals, number);
    }
    // Blocked before the descriptor is made: a signal in between would end the process.
    sigprocmask(SIG_BLOCK, &signals, &_before);
    _fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (_fd < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

// A signal that came is taken before the old mask returns, or it would end the process after all.
SignalWatch::~SignalWatch()
{
    signalfd_siginfo taken;
    while (read(_fd, &taken, sizeof taken) > 0) {
    }
    close(_fd);
    sigprocmask(SIG_SETMASK, &_before, nullptr);
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
