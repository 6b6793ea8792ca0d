#include "Base/MonotonicTimer.h"

#include "DescriptorLimit.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/timerfd.h>

#include <chrono>
#include <system_error>

namespace {

using qrx::platform::MonotonicTimer;

std::uint64_t steadyUs()
{
    const auto passed = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(passed).count());
}

/// Microseconds until it becomes readable; 0 if it never does, or is.
std::uint64_t leftUs(const MonotonicTimer& timer)
{
    itimerspec left{};
    EXPECT_EQ(0, ::timerfd_gettime(timer.descriptor(), &left));
    return static_cast<std::uint64_t>(left.it_value.tv_sec) * 1'000'000 +
           static_cast<std::uint64_t>(left.it_value.tv_nsec) / 1'000;
}

bool isReadable(const MonotonicTimer& timer, int timeoutMs)
{
    pollfd one{timer.descriptor(), POLLIN, 0};
    return ::poll(&one, 1, timeoutMs) == 1;
}

TEST(MonotonicTimer, NowIsTheTimeOfTheMonotonicClock)
{
    const std::uint64_t before = steadyUs();
    const std::uint64_t now = MonotonicTimer::nowUs();
    EXPECT_LE(before, now);
    EXPECT_LE(now, steadyUs());
}

TEST(MonotonicTimer, ItIsDueAtThatMoment)
{
    MonotonicTimer timer;
    constexpr std::uint64_t kFarUs = 1'234'567'890;
    const std::uint64_t due = MonotonicTimer::nowUs() + kFarUs;
    timer.setDue(due);
    const std::uint64_t before = MonotonicTimer::nowUs();
    const std::uint64_t left = leftUs(timer);
    // Whole microseconds are counted, so that one may be lost.
    EXPECT_GE(left + 2, due - MonotonicTimer::nowUs());
    EXPECT_LE(left, due - before);
    EXPECT_FALSE(isReadable(timer, 0));
}

TEST(MonotonicTimer, WhatIsPastIsDueAtOnceAndStaysSo)
{
    MonotonicTimer timer;
    EXPECT_FALSE(isReadable(timer, 0)) << "not set yet";
    for (const std::uint64_t due : {std::uint64_t{0}, std::uint64_t{1}, MonotonicTimer::nowUs() - 1}) {
        timer.setDue(due);
        EXPECT_TRUE(isReadable(timer, 10'000)) << due;
        EXPECT_TRUE(isReadable(timer, 0)) << due;
        timer.clear();
        EXPECT_FALSE(isReadable(timer, 0)) << due;
        EXPECT_EQ(0u, leftUs(timer));
    }
}

TEST(MonotonicTimer, ItNeitherBlocksNorReachesOtherPrograms)
{
    const MonotonicTimer timer;
    EXPECT_NE(0, ::fcntl(timer.descriptor(), F_GETFL) & O_NONBLOCK);
    EXPECT_NE(0, ::fcntl(timer.descriptor(), F_GETFD) & FD_CLOEXEC);
}

TEST(MonotonicTimer, WithoutADescriptorItCannotBe)
{
    {
        const DescriptorLimit limit(0);
        EXPECT_THROW(MonotonicTimer(), std::system_error);
    }
    EXPECT_NO_THROW(MonotonicTimer());
}

} // namespace
