#pragma once

#include "FailingAllocations.h"

#include <functional>
#include <string>

/// How much is wrong with the memory, from the allocation on that a sweep has chosen.
enum class Famine {
    none,
    once,   ///< that one fails
    aWhile, ///< all fail until the application has tried several times what it wants
    lasting ///< all fail until the story is over
};

inline std::string nameOf(Famine famine)
{
    constexpr const char* kNames[] = {"None", "Once", "ForAWhile", "ForGood"};
    return kNames[static_cast<std::size_t>(famine)];
}

/// What an application does whose memory may run out: it calls again what threw std::bad_alloc, and runs the loop.
class Application {
public:
    Application(Famine famine, std::size_t number);
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    /// The memory is back.
    ~Application();

    /// Calls until no exception comes; fails the test if one comes without need. False if the memory is gone for good.
    template <typename Step>
    bool attempt(const Step& step)
    {
        return attemptStep(std::cref(step)); // which needs no memory
    }
    /// Runs the thread's loop until `condition` holds, and fails the test if it never does. False if the memory is gone
    /// for good.
    template <typename Condition>
    bool runUntil(const char* what, const Condition& condition)
    {
        return runUntilTrue(what, std::cref(condition));
    }
    /// Runs the loop while it delivers anything.
    void run();

    /// Exceptions that came out of what was called, the loop included.
    std::size_t exceptions() const { return _exceptions; }
    /// Those that came out of the loop.
    std::size_t exceptionsOfLoop() const { return _exceptionsOfLoop; }
    bool isMemoryGone() const;

private:
    bool attemptStep(const std::function<void()>& step);
    bool runUntilTrue(const char* what, const std::function<bool()>& condition);
    bool runOnce();

    const Famine _famine;
    std::size_t _exceptions = 0;
    std::size_t _exceptionsOfLoop = 0;
};
