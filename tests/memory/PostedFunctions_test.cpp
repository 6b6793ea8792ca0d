/// Functions that are given to a run loop with too little memory.

#include "FailingAllocations.h"

#include <QrxRunLoop.h>

#include <gtest/gtest.h>

#include <chrono>
#include <new>
#include <thread>

namespace {

/// Posts twice to a loop that is new; the first time, that allocation fails. Whether there was such an allocation.
bool postsWithout(std::size_t allocation)
{
    bool hasFailed = false;
    std::thread([&] {
        QrxRunLoop loop = QrxRunLoop::getCurrent();
        int called = 0;
        int posted = 2;
        memory::failAllocation(allocation, false);
        try {
            loop.post([&called] { ++called; });
        } catch (const std::bad_alloc&) {
            --posted;
        }
        memory::endFailing();
        hasFailed = memory::failures() > 0;
        loop.post([&called] { ++called; });
        EXPECT_EQ(QrxRunLoop::Outcome::finished, loop.runFor(10));
        EXPECT_EQ(posted, called) << "allocation " << allocation;
    }).join();
    return hasFailed;
}

/// Starts and cancels a timer of a loop that is new, while that allocation fails, and then another timer. Whether there
/// was such an allocation.
bool startsTimersWithout(std::size_t allocation)
{
    bool hasFailed = false;
    std::thread([&] {
        QrxRunLoop loop = QrxRunLoop::getCurrent();
        int called = 0;
        memory::failAllocation(allocation, false);
        try {
            const QrxRunLoop::Timer timer = loop.callAfter(std::chrono::seconds(0), [&called] { called += 10; });
            EXPECT_TRUE(loop.cancel(timer)) << "allocation " << allocation;
        } catch (const std::bad_alloc&) {
            // Nobody has its number to cancel it, so it must not be called.
        }
        memory::endFailing();
        hasFailed = memory::failures() > 0;
        loop.callAfter(std::chrono::seconds(0), [&called] { ++called; });
        EXPECT_EQ(QrxRunLoop::Outcome::finished, loop.runFor(10));
        EXPECT_EQ(1, called) << "allocation " << allocation;
    }).join();
    return hasFailed;
}

TEST(Timers, ThatFoundNoMemoryAreNotCalledAndLaterOnesAre)
{
    std::size_t allocations = 0;
    while (startsTimersWithout(allocations + 1)) {
        ++allocations;
    }
    EXPECT_GT(allocations, 3U);
}

TEST(PostedFunctions, AreCalledThoughAnEarlierOneFoundNoMemory)
{
    std::size_t allocations = 0;
    while (postsWithout(allocations + 1)) {
        ++allocations;
    }
    EXPECT_GT(allocations, 0U);
}

} // namespace
