#include "Base/SystemCalls.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using qrx::platform::SystemCalls;

TEST(SystemCalls, TimesAreThoseOfTheSystem)
{
    SystemCalls& calls = SystemCalls::kernel();
    const auto before = std::chrono::steady_clock::now();
    const auto now = calls.now();
    EXPECT_LE(before, now);
    EXPECT_LE(now, std::chrono::steady_clock::now());
    // This clock may be set meanwhile, by less than that.
    const auto difference = calls.wallTime() - std::chrono::system_clock::now();
    EXPECT_LT(std::chrono::abs(difference), std::chrono::minutes(1));
}

} // namespace
