#pragma once

#include <memory>

namespace qrxhid {

/// Takes SIGINT and SIGTERM as events instead of sudden ends, while it lives. One at a time.
class SignalWatch {
public:
    SignalWatch();
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

    static constexpr int kForever = -1;

    /// Waits until the thread's run loop has something to do (true), or a signal has come (false). A loop without a
    /// descriptor (macOS) is run for at most a tenth of a second; this then returns true also if nothing has happened,
    /// since the timers of such a loop do not end its wait.
    bool waitForLoop() const;

    /// Waits until `descriptor` is readable or the time is over (true), or a signal has come (false).
    bool waitFor(int descriptor, int timeoutMs = kForever) const;

    /// Whether a signal has come. Does not wait.
    bool hasSignal() const;

private:
    struct Earlier;

    /// How signals were handled before.
    const std::unique_ptr<Earlier> _earlier;
    /// Readable from the first signal on.
    int _fd;
};

} // namespace qrxhid
