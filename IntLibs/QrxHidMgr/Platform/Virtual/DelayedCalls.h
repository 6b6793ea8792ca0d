#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace qrx::platform {

/// Calls functions later, for one virtual device. What was not called when it ends is not called any more.
class DelayedCalls {
public:
    DelayedCalls() = default;
    DelayedCalls(const DelayedCalls&) = delete;
    DelayedCalls& operator=(const DelayedCalls&) = delete;
    virtual ~DelayedCalls() = default;

    /// From any thread. The function must not throw; it may end this object.
    virtual void callAfter(std::chrono::microseconds time, std::function<void()> function) = 0;
};

/// In a library that has run loops (RunLoopCalls.cpp) the functions are called on the loop of the thread that calls
/// this. A library without brings a definition of its own.
std::shared_ptr<DelayedCalls> makeDelayedCalls();

} // namespace qrx::platform
