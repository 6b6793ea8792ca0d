#pragma once

#include <csignal>

namespace qrxhid {

/// Takes SIGINT and SIGTERM as events instead of sudden ends, while it lives. One at a time.
class SignalWatch {
public:
    SignalWatch();
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

    static constexpr int kForever = -1;

    /// Waits until `descriptor` is readable or the time is over (true), or a signal has come (false).
    bool waitFor(int descriptor, int timeoutMs = kForever) const;

    /// Whether a signal has come. Does not wait.
    bool hasSignal() const;

private:
    sigset_t _before;
    int _fd;
};

} // namespace qrxhid
