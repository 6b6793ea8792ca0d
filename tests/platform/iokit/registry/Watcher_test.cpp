#include "IOKit/registry/Watcher.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace qrx::iokit {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Far beyond the second between two tries.
constexpr int kDeadlineMs = 10000;
/// Longer than the second between two tries.
constexpr int kMoreThanOnePeriodMs = 1300;

bool isReadable(const Watcher& set, int timeoutMs = 0)
{
    pollfd state{set.descriptor(), POLLIN, 0};
    return ::poll(&state, 1, timeoutMs) > 0;
}

/// A descriptor that is readable from the start.
platform::FileDescriptor readable()
{
    return platform::FileDescriptor(::eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK));
}

TEST(Watcher, IsReadableWhileADescriptorOfItIs)
{
    Watcher set;
    EXPECT_FALSE(isReadable(set));
    const platform::FileDescriptor event = readable();
    EXPECT_TRUE(set.watch(event.get()));
    EXPECT_TRUE(isReadable(set));
    std::uint64_t count = 0;
    ASSERT_EQ(static_cast<ssize_t>(sizeof count), ::read(event.get(), &count, sizeof count));
    EXPECT_FALSE(isReadable(set));
}

TEST(Watcher, ADescriptorThatIsThereAlreadyAndNoneAtAllAreNoMatter)
{
    Watcher set;
    const platform::FileDescriptor event = readable();
    EXPECT_TRUE(set.watch(event.get()));
    EXPECT_TRUE(set.watch(event.get()));
    EXPECT_TRUE(set.watch(-1));
    set.forget(event.get());
    EXPECT_FALSE(isReadable(set)) << "it was there once";
}

TEST(Watcher, SaysThatADescriptorCannotBeWatched)
{
    Watcher set;
    const platform::FileDescriptor event = readable();
    const int closed = ::fcntl(event.get(), F_DUPFD_CLOEXEC, 0);
    ::close(closed);
    EXPECT_FALSE(set.watch(closed));
}

TEST(Watcher, WhatWasForgottenIsWatchedAnewOnRequest)
{
    Watcher set;
    const platform::FileDescriptor event = readable();
    set.forget(event.get());
    set.forget(-1);
    EXPECT_TRUE(set.watch(event.get()));
    set.forget(event.get());
    EXPECT_FALSE(isReadable(set));
    EXPECT_TRUE(set.watch(event.get()));
    EXPECT_TRUE(isReadable(set));
}

TEST(Watcher, RetryingIsReadableOnceASecond)
{
    Watcher set;
    const auto began = Clock::now();
    // A thread that was kept from running may find that the next time has come.
    const auto havePassed = [began](int periods) { return Clock::now() - began >= milliseconds(periods * 950); };
    set.setRetrying(true);
    for (int period = 1; period <= 2; ++period) {
        EXPECT_TRUE(!isReadable(set) || havePassed(period));
        EXPECT_TRUE(!set.takeRetry() || havePassed(period)) << "the time has not come";
        ASSERT_TRUE(isReadable(set, kDeadlineMs));
        EXPECT_TRUE(havePassed(period));
        EXPECT_TRUE(set.takeRetry());
        EXPECT_TRUE(!set.takeRetry() || havePassed(period + 1)) << "once for each time";
    }
}

TEST(Watcher, AskingForRetriesAgainDoesNotPutThemOff)
{
    Watcher set;
    const auto deadline = Clock::now() + milliseconds(kDeadlineMs);
    do {
        ASSERT_LT(Clock::now(), deadline);
        set.setRetrying(true);
    } while (!isReadable(set, 10));
}

TEST(Watcher, RetriesEndOnRequest)
{
    Watcher set;
    set.setRetrying(true);
    ASSERT_TRUE(isReadable(set, kDeadlineMs));
    set.setRetrying(false);
    EXPECT_FALSE(set.takeRetry());
    EXPECT_FALSE(isReadable(set, kMoreThanOnePeriodMs));
}

TEST(Watcher, AClosedSetHasNoDescriptorAndTakesEveryRequest)
{
    Watcher set;
    const platform::FileDescriptor event = readable();
    EXPECT_TRUE(set.watch(event.get()));
    set.close();
    EXPECT_EQ(-1, set.descriptor());
    EXPECT_TRUE(set.watch(event.get()));
    set.forget(event.get());
    set.setRetrying(true);
    EXPECT_FALSE(set.takeRetry());
}

} // namespace
} // namespace qrx::iokit
