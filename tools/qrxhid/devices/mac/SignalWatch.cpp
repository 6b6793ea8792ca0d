#include "devices/SignalWatch.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <sys/event.h>
#include <system_error>
#include <unistd.h>

namespace qrxhid {

namespace {

constexpr std::array<int, 2> kSignals = {SIGINT, SIGTERM};

} // namespace

struct SignalWatch::Earlier {
    std::array<struct sigaction, kSignals.size()> actions{};
};

SignalWatch::SignalWatch() : _earlier(std::make_unique<Earlier>()), _fd(kqueue())
{
    if (_fd < 0) {
        throw std::system_error(errno, std::generic_category(), "kqueue");
    }
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        struct sigaction ignored {};
        ignored.sa_handler = SIG_IGN;
        sigemptyset(&ignored.sa_mask);
        struct kevent event;
        EV_SET(&event, kSignals[i], EVFILT_SIGNAL, EV_ADD, 0, 0, nullptr);
        sigaction(kSignals[i], nullptr, &_earlier->actions[i]);
        // A queue tells of ignored signals too. One that was ignored before stays without effect: a shell starts
        // background commands with SIGINT ignored.
        if (_earlier->actions[i].sa_handler != SIG_IGN) {
            // The queue first: a signal that came between the two calls the other way round would be ignored and lost.
            if (kevent(_fd, &event, 1, nullptr, 0, nullptr) == 0) {
                sigaction(kSignals[i], &ignored, nullptr);
            }
        }
    }
}

SignalWatch::~SignalWatch()
{
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &_earlier->actions[i], nullptr);
    }
    close(_fd);
}

} // namespace qrxhid
