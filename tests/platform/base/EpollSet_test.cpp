#include "Base/EpollSet.h"
#include "Base/WakeEvent.h"

#include "FaultyCalls.h"
#include "ForkedChild.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <vector>

namespace {

using qrx::platform::EpollSet;
using qrx::platform::SystemCalls;
using qrx::platform::WakeEvent;
using qrx::platform::test::FaultyCalls;
using std::chrono::milliseconds;

/// Tokens of the members that are found now, in the order in which they are found.
std::vector<std::uint64_t> found(EpollSet& set)
{
    std::array<epoll_event, 4> events{};
    const int count = set.findReady(events);
    std::vector<std::uint64_t> tokens;
    for (int at = 0; at < count; ++at) {
        // By value: the kernel's structure is packed, so its fields have no address to refer to.
        tokens.push_back(std::uint64_t{events[static_cast<std::size_t>(at)].data.u64});
    }
    return tokens;
}

using Tokens = std::vector<std::uint64_t>;

TEST(EpollSet, FindsAMemberWhileItIsReadable)
{
    EpollSet set(SystemCalls::kernel());
    WakeEvent event(SystemCalls::kernel());
    ASSERT_TRUE(set.add(event.descriptor(), 7));
    EXPECT_EQ(found(set), Tokens());
    EXPECT_TRUE(event.raise());
    EXPECT_EQ(found(set), Tokens{7});
    EXPECT_EQ(found(set), Tokens{7}) << "as long as it is readable";
    EXPECT_TRUE(event.clear());
    EXPECT_EQ(found(set), Tokens());
    EXPECT_FALSE(event.clear()) << "nothing was raised";
    EXPECT_EQ(errno, EAGAIN);
    event.raise();
    set.remove(event.descriptor());
    EXPECT_EQ(found(set), Tokens());
}

TEST(EpollSet, SaysWhatCannotBeAMember)
{
    EpollSet set(SystemCalls::kernel());
    const WakeEvent event(SystemCalls::kernel());
    ASSERT_TRUE(set.add(event.descriptor(), 1));
    EXPECT_FALSE(set.add(event.descriptor(), 2));
    EXPECT_EQ(errno, EEXIST);
    set.close();
    EXPECT_FALSE(set.isOpen());
    EXPECT_FALSE(set.add(event.descriptor(), 1));
    EXPECT_EQ(errno, EBADF);
}

TEST(EpollSet, WaitsUntilTheTimeHasPassed)
{
    EpollSet set(SystemCalls::kernel());
    std::array<epoll_event, 1> events{};
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(set.waitReady(events, milliseconds(20)), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - began, milliseconds(20));
    WakeEvent event(SystemCalls::kernel());
    event.raise();
    set.add(event.descriptor(), 3);
    EXPECT_EQ(set.waitReady(events, std::nullopt), 1);
    EXPECT_EQ(std::uint64_t{events[0].data.u64}, 3U);
}

TEST(EpollSet, WaitsWithMillisecondsWhereTheKernelHasNoFinerWait)
{
    for (const int refusal : {ENOSYS, EPERM}) {
        FaultyCalls calls;
        EpollSet set(calls);
        std::array<epoll_event, 1> events{};
        calls.resetTrace();
        calls.failCall(1, refusal);
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(set.waitReady(events, std::chrono::microseconds(1500)), 0);
        EXPECT_GE(std::chrono::steady_clock::now() - began, milliseconds(2)) << "rounded up";
        EXPECT_EQ(set.waitReady(events, milliseconds(1)), 0);
        EXPECT_EQ(calls.trace(), "epoll_pwait2\nepoll_wait\nepoll_wait\n") << "asked once";
    }
}

TEST(EpollSet, AFailureToWaitIsTheCallers)
{
    FaultyCalls calls;
    EpollSet set(calls);
    std::array<epoll_event, 1> events{};
    calls.failFrom(1, EINTR);
    EXPECT_EQ(set.waitReady(events, milliseconds(1)), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(set.waitReady(events, std::nullopt), -1);
    EXPECT_EQ(set.findReady(events), -1);
}

TEST(EpollSet, WithoutADescriptorItIsNotOpen)
{
    FaultyCalls calls;
    calls.failFrom(1, EMFILE);
    EXPECT_FALSE(EpollSet(calls).isOpen());
    EXPECT_EQ(errno, EMFILE);
    EXPECT_FALSE(WakeEvent(calls).isOpen());
    EXPECT_EQ(errno, EMFILE);
}

TEST(EpollSet, AnAbandonedDescriptorIsNotClosed)
{
    FaultyCalls calls;
    {
        EpollSet set(calls);
        set.abandon();
        EXPECT_FALSE(set.isOpen());
    }
    EXPECT_EQ(calls.openDescriptors(), 1U);
}

TEST(EpollSet, AChildThatForkMadeChangesNothingOfItsParents)
{
    EpollSet set(SystemCalls::kernel());
    WakeEvent raised(SystemCalls::kernel());
    WakeEvent quiet(SystemCalls::kernel());
    set.add(raised.descriptor(), 1);
    set.add(quiet.descriptor(), 2);
    raised.raise();
    EXPECT_EQ(0, runInChild([&] {
                  set.remove(raised.descriptor());
                  if (!set.isInherited() || !quiet.raise() || !raised.clear() || set.add(0, 3)) {
                      throw std::runtime_error("the child is told otherwise");
                  }
              }));
    EXPECT_EQ(found(set), Tokens{1});
}

TEST(WakeEvent, OneClearTakesAllThatWasRaised)
{
    WakeEvent event(SystemCalls::kernel());
    event.raise();
    event.raise();
    EXPECT_TRUE(event.clear());
    EXPECT_FALSE(event.clear());
}

TEST(WakeEvent, ADescriptorThatIsGoneCannotBeRaised)
{
    WakeEvent event(SystemCalls::kernel());
    event.close();
    EXPECT_EQ(event.descriptor(), -1);
    EXPECT_FALSE(event.raise());
}

} // namespace
