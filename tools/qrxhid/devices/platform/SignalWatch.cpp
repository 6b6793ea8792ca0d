#include "devices/SignalWatch.h"

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace qrxhid {

struct SignalWatch::Earlier {
    sigset_t mask;
};

SignalWatch::SignalWatch() : _earlier(std::make_unique<Earlier>())
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM}) {
        sigaddset(&signals, number);
    }
    // Blocked before the descriptor is made: a signal in between would end the process.
    sigprocmask(SIG_BLOCK, &signals, &_earlier->mask);
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
    sigprocmask(SIG_SETMASK, &_earlier->mask, nullptr);
}

} // namespace qrxhid
