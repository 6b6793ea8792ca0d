#include "Virtual/ReportQueue.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <thread>

namespace {

using qrx::platform::HIDChannel;
using qrx::platform::ReportQueue;
using Next = HIDChannel::Next;
using Bytes = std::vector<std::uint8_t>;

bool isReadable(const ReportQueue& queue)
{
    pollfd entry{queue.descriptor(), POLLIN, 0};
    return ::poll(&entry, 1, 0) == 1;
}

Next take(ReportQueue& queue, Bytes& bytes)
{
    std::span<const std::uint8_t> report;
    bool fetched = false;
    const Next next = queue.take(report, fetched);
    bytes.assign(report.begin(), report.end());
    return next;
}

TEST(ReportQueue, AnEmptyQueueHasNothingAndIsNotReadable)
{
    ReportQueue queue(4);
    Bytes bytes;
    EXPECT_FALSE(isReadable(queue));
    EXPECT_EQ(Next::empty, take(queue, bytes));
}

TEST(ReportQueue, ReportsComeInTheOrderOfTheirArrival)
{
    ReportQueue queue(4);
    EXPECT_TRUE(queue.push(Bytes{1}));
    EXPECT_TRUE(queue.push(Bytes{2, 2}));
    EXPECT_TRUE(isReadable(queue));
    Bytes bytes;
    ASSERT_EQ(Next::report, take(queue, bytes));
    EXPECT_EQ(Bytes{1}, bytes);
    EXPECT_TRUE(queue.hasFetchedReports());
    EXPECT_FALSE(isReadable(queue)) << "the descriptor tells only of what was not fetched";
    EXPECT_TRUE(queue.push(Bytes{3, 3, 3}));
    ASSERT_EQ(Next::report, take(queue, bytes));
    EXPECT_EQ((Bytes{2, 2}), bytes);
    ASSERT_EQ(Next::report, take(queue, bytes));
    EXPECT_EQ((Bytes{3, 3, 3}), bytes);
    EXPECT_EQ(Next::empty, take(queue, bytes));
}

TEST(ReportQueue, AFullQueueLosesTheNewestAndCountsIt)
{
    ReportQueue queue(2);
    EXPECT_TRUE(queue.push(Bytes{1}));
    EXPECT_TRUE(queue.hasRoom());
    EXPECT_TRUE(queue.push(Bytes{2}));
    EXPECT_FALSE(queue.hasRoom());
    EXPECT_FALSE(queue.push(Bytes{3}));
    EXPECT_EQ(1u, queue.lostCount());
    Bytes bytes;
    ASSERT_EQ(Next::report, take(queue, bytes));
    EXPECT_EQ(Bytes{1}, bytes);
    EXPECT_TRUE(queue.hasRoom()) << "one look makes room for all";
    ASSERT_EQ(Next::report, take(queue, bytes));
    EXPECT_EQ(Bytes{2}, bytes);
}

TEST(ReportQueue, WhatIsQueuedIsTakenBeforeTheEndIsTold)
{
    ReportQueue queue(4);
    queue.push(Bytes{7});
    queue.end();
    EXPECT_FALSE(queue.push(Bytes{8}));
    Bytes bytes;
    ASSERT_EQ(Next::report, take(queue, bytes));
    EXPECT_EQ(Bytes{7}, bytes);
    EXPECT_TRUE(isReadable(queue));
    EXPECT_EQ(Next::gone, take(queue, bytes));
    EXPECT_EQ(Next::gone, take(queue, bytes));
    EXPECT_TRUE(isReadable(queue));
}

TEST(ReportQueue, AReportOfNoBytesIsAReport)
{
    ReportQueue queue(1);
    EXPECT_TRUE(queue.push({}));
    Bytes bytes{1};
    ASSERT_EQ(Next::report, take(queue, bytes));
    EXPECT_TRUE(bytes.empty());
}

TEST(ReportQueueThreads, AWriterOnAnotherThreadLosesNothingThatWasAccepted)
{
    ReportQueue queue(16);
    constexpr std::uint32_t kCount = 20000;
    std::thread writer([&] {
        for (std::uint32_t i = 0; i < kCount; ++i) {
            const Bytes report{static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8)};
            while (!queue.push(report)) {
                std::this_thread::yield();
            }
        }
        queue.end();
    });
    std::uint32_t expected = 0;
    for (bool ended = false; !ended;) {
        pollfd entry{queue.descriptor(), POLLIN, 0};
        ASSERT_EQ(1, ::poll(&entry, 1, 10000));
        Bytes bytes;
        Next next = Next::empty;
        while ((next = take(queue, bytes)) == Next::report) {
            ASSERT_EQ((Bytes{static_cast<std::uint8_t>(expected), static_cast<std::uint8_t>(expected >> 8)}), bytes);
            ++expected;
        }
        ended = next == Next::gone;
    }
    writer.join();
    EXPECT_EQ(kCount, expected);
}

} // namespace
