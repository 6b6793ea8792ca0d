#include "Base/MonotonicTimer.h"

#include "DescriptorLimit.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/timerfd.h>

#include <chrono>
#include <cstdint>
#include <system_error>

namespace {

using qrx::platform::MonotonicTimer;

using Clock = std::chrono::steady_clock;

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

TEST(MonotonicTimer, ItIsDueAtThatMoment)
{
    MonotonicTimer timer;
    const auto due = Clock::now() + std::chrono::seconds(1'234);
    const auto before = Clock::now();
    EXPECT_TRUE(timer.setDue(due));
    const auto left = std::chrono::microseconds(leftUs(timer));
    EXPECT_LE(left, due - before);
    EXPECT_GE(left + std::chrono::microseconds(2), due - Clock::now()) << "whole microseconds are counted";
    EXPECT_FALSE(isReadable(timer, 0));
}

TEST(MonotonicTimer, WhatIsPastIsDueAtOnceAndStaysSoUntilItIsTaken)
{
    MonotonicTimer timer;
    EXPECT_FALSE(isReadable(timer, 0)) << "not set yet";
    EXPECT_FALSE(timer.take());
    int round = 0;
    for (const auto due : {Clock::time_point::min(), Clock::time_point(), Clock::now()}) {
        EXPECT_TRUE(timer.setDue(due));
        EXPECT_TRUE(isReadable(timer, 10'000)) << round;
        EXPECT_TRUE(isReadable(timer, 0)) << round;
        EXPECT_TRUE(timer.take());
        EXPECT_FALSE(isReadable(timer, 0)) << round;
        EXPECT_FALSE(timer.take()) << round;
        ++round;
    }
}

TEST(MonotonicTimer, ATimerThatIsClearedDoesNotRunOut)
{
    MonotonicTimer timer;
    timer.setDue({});
    EXPECT_TRUE(timer.clear());
    EXPECT_FALSE(isReadable(timer, 0));
    EXPECT_EQ(0u, leftUs(timer));
}

TEST(MonotonicTimer, AnIntervalRunsOutAgainAndAgain)
{
    MonotonicTimer timer;
    const auto began = Clock::now();
    EXPECT_TRUE(timer.setInterval(std::chrono::milliseconds(20)));
    for (int round = 1; round <= 3; ++round) {
        ASSERT_TRUE(isReadable(timer, 10'000));
        EXPECT_GE(Clock::now() - began, std::chrono::milliseconds(20 * round));
        EXPECT_TRUE(timer.take());
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

TEST(MonotonicTimer, AClosedTimerTakesEveryRequestAndSaysSo)
{
    MonotonicTimer timer;
    timer.setDue({});
    timer.close();
    EXPECT_FALSE(timer.isOpen());
    EXPECT_FALSE(timer.setDue({}));
    EXPECT_FALSE(timer.setInterval(std::chrono::seconds(1)));
    EXPECT_FALSE(timer.clear());
    EXPECT_FALSE(timer.take());
}

} // namespace
