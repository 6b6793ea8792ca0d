#include "Application.h"

#include <QrxRunLoop.h>

#include <gtest/gtest.h>

#include <chrono>
#include <new>

namespace {

/// Calls in vain before the memory comes back.
constexpr int kTries = 3;
/// Passes of the loop without memory.
constexpr int kPasses = 20;
constexpr std::chrono::seconds kDeadline{5};

} // namespace

Application::Application(Famine famine, std::size_t number) : _famine(famine)
{
    memory::failAllocation(famine == Famine::none ? 0 : number, famine == Famine::aWhile || famine == Famine::lasting);
}

Application::~Application()
{
    memory::endFailing();
}

bool Application::isMemoryGone() const
{
    return _famine == Famine::lasting && memory::failures() > 0;
}

bool Application::attemptStep(const std::function<void()>& step)
{
    for (int tries = 1;; ++tries) {
        const std::size_t failuresBefore = memory::failures();
        try {
            step();
            return true;
        } catch (const std::bad_alloc&) {
            const memory::Pause pause;
            ++_exceptions;
            EXPECT_GT(memory::failures(), failuresBefore) << "bad_alloc although memory was there";
        }
        if (_famine == Famine::lasting || memory::failures() == failuresBefore) {
            return false;
        }
        if (tries == kTries) {
            memory::endFailing();
        }
    }
}

bool Application::runOnce()
{
    try {
        return QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled;
    } catch (const std::bad_alloc&) {
        ++_exceptions;
        ++_exceptionsOfLoop;
        return true;
    }
}

void Application::run()
{
    for (int pass = 0; pass < kPasses && runOnce(); ++pass) {
    }
}

bool Application::runUntilTrue(const char* what, const std::function<bool()>& condition)
{
    if (_famine == Famine::aWhile || _famine == Famine::lasting) {
        for (int pass = 0; pass < kPasses && !condition(); ++pass) {
            runOnce();
        }
        if (isMemoryGone() || condition()) {
            return condition();
        }
        if (memory::failures() > 0) {
            memory::endFailing();
        }
    }
    const auto patience = testing::Test::HasFailure() ? std::chrono::seconds(0) : kDeadline;
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        if (!runOnce()) {
            QrxRunLoop::getCurrent().runOnce(0.01);
        }
    }
    const memory::Pause pause;
    EXPECT_TRUE(condition()) << what;
    return condition();
}
