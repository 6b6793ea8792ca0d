/// The memory of one open report node.

#include "FailingAllocations.h"
#include "FakeNode.h"
#include "Linux/hidraw/HidrawChannel.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace {

using qrx::platform::FileDescriptor;
using qrx::platform::HIDChannel;
using qrx::platform::HidrawChannel;
using qrx::platform::test::FakeNode;
using qrx::platform::test::nodeOwner;
using qrx::platform::test::vendorDescriptor;

class NodeMemory : public testing::Test {
protected:
    /// Reports that come until none waits.
    int take()
    {
        int count = 0;
        std::span<const std::uint8_t> report;
        while (channel.takeReport(report) == HIDChannel::Next::report) {
            isInOrder = isInOrder && report.size() == kBytes && report.front() == count;
            ++count;
        }
        return count;
    }

    std::size_t allocationsFor(int count)
    {
        node.queueMany(count, kBytes);
        memory::failAllocation(std::numeric_limits<std::size_t>::max(), false);
        const int taken = take();
        memory::endFailing();
        EXPECT_EQ(taken, count);
        return memory::allocations();
    }

    static constexpr unsigned kBytes = 64;
    FakeNode node;
    HidrawChannel channel{
        node, FileDescriptor(node, node.takeChannelEnd()), vendorDescriptor(kBytes), true, nodeOwner(), 0};
    bool isInOrder = true;
};

TEST_F(NodeMemory, IsTakenForManyReportsOnlyOnceManyWait)
{
    EXPECT_EQ(allocationsFor(1), 0U);
    EXPECT_GT(allocationsFor(60), 0U);
    // What has been taken stays.
    EXPECT_EQ(allocationsFor(60), 0U);
    EXPECT_TRUE(isInOrder);
}

TEST_F(NodeMemory, TooLittleForManyReportsLosesNone)
{
    for (int round = 0; round < 3; ++round) {
        node.queueMany(60, kBytes);
        memory::failAllocation(1, true);
        const int taken = take();
        memory::endFailing();
        EXPECT_EQ(taken, 60);
        EXPECT_GT(memory::failures(), 0U);
    }
    EXPECT_TRUE(isInOrder);
}

} // namespace
