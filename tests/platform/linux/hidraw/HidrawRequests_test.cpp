#include "FakeNode.h"
#include "Linux/hidraw/HidrawChannel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

namespace qrx::platform {
namespace {

using test::Bytes;
using test::FakeNode;
using test::hexText;
using test::vendorDescriptor;

class HidrawRequests : public testing::Test {
protected:
    Status set(ReportType type, std::uint32_t number, const Bytes& bytes)
    {
        return channel.setReport(type, number, bytes);
    }
    /// Status and bytes: "0 01 02".
    std::string get(ReportType type, std::uint32_t number, std::size_t room)
    {
        Bytes buffer(room, 0xEE);
        std::size_t size = 0;
        const Status status = channel.getReport(type, number, buffer, size);
        if (status != Status::success) {
            return "refused";
        }
        buffer.resize(size);
        return "got " + hexText(buffer);
    }

    FakeNode node;
    HidrawChannel channel{
        node, FileDescriptor(node, node.takeChannelEnd()), vendorDescriptor(8, 8, 8), true, test::nodeOwner(), 0};
};

TEST_F(HidrawRequests, PutAZeroBeforeAnUnnumberedReport)
{
    EXPECT_EQ(set(ReportType::output, 0, {1, 2, 3}), Status::success);
    EXPECT_EQ(set(ReportType::feature, 0, {4, 5}), Status::success);
    EXPECT_EQ(set(ReportType::input, 0, {6}), Status::success);
    EXPECT_EQ(node.takeRequests(), "write 00 01 02 03\nioctl 06 00 04 05\nioctl 09 00 06\n");
}

TEST_F(HidrawRequests, SendANumberedReportAsItIs)
{
    EXPECT_EQ(set(ReportType::output, 7, {7, 2, 3}), Status::success);
    EXPECT_EQ(set(ReportType::feature, 255, {255, 5}), Status::success);
    EXPECT_EQ(set(ReportType::input, 1, {1, 6}), Status::success);
    EXPECT_EQ(node.takeRequests(), "write 07 02 03\nioctl 06 ff 05\nioctl 09 01 06\n");
}

TEST_F(HidrawRequests, RefuseANumberedReportThatDoesNotBeginWithItsNumber)
{
    for (const auto type : {ReportType::input, ReportType::output, ReportType::feature}) {
        EXPECT_EQ(set(type, 7, {8, 7, 7}), Status::badArgument);
        EXPECT_EQ(set(type, 7, {}), Status::badArgument);
        EXPECT_EQ(set(type, 256, {0, 1}), Status::badArgument);
    }
    EXPECT_EQ(node.takeRequests(), "");
}

TEST_F(HidrawRequests, LeaveReportsWithoutDataToTheKernelsJudgement)
{
    node.answer(EINVAL);
    EXPECT_EQ(set(ReportType::output, 0, {}), Status::badArgument);
    node.answer(EINVAL);
    EXPECT_EQ(set(ReportType::output, 3, {3}), Status::badArgument);
    EXPECT_EQ(node.takeRequests(), "write 00\nwrite 03\n");
}

TEST_F(HidrawRequests, SendReportsUpToTheKernelsLimit)
{
    EXPECT_EQ(set(ReportType::output, 0, Bytes(16383, 1)), Status::success);
    EXPECT_EQ(set(ReportType::output, 0, Bytes(16384, 1)), Status::badArgument);
    EXPECT_EQ(set(ReportType::output, 1, Bytes(16384, 1)), Status::success);
    EXPECT_EQ(set(ReportType::feature, 0, Bytes(16382, 1)), Status::success);
    EXPECT_EQ(set(ReportType::feature, 0, Bytes(16383, 1)), Status::badArgument);
    const std::string requests = node.takeRequests();
    EXPECT_EQ(std::count(requests.begin(), requests.end(), '\n'), 3);
}

TEST_F(HidrawRequests, KeepLongReportsWhole)
{
    Bytes report(3000);
    for (std::size_t at = 0; at < report.size(); ++at) {
        report[at] = static_cast<std::uint8_t>(at * 7);
    }
    EXPECT_EQ(set(ReportType::output, 0, report), Status::success);
    EXPECT_EQ(node.takeRequests(), "write 00 " + hexText(report) + "\n");
}

TEST_F(HidrawRequests, TellTheKernelsErrorsInThePlatformsWords)
{
    const std::pair<int, Status> cases[] = {
        {ENODEV, Status::notAttached}, {ESHUTDOWN, Status::notAttached}, {EPIPE, Status::pipeStalled},
        {ETIMEDOUT, Status::timeout},  {EACCES, Status::notPermitted},   {EPERM, Status::notPermitted},
        {EINVAL, Status::badArgument}, {EPROTO, Status::ioError},        {EILSEQ, Status::ioError},
        {EIO, Status::ioError},        {ENOTTY, Status::unsupported},    {ENOMEM, Status::noMemory},
        {ENOSYS, Status::unsupported}, {EBUSY, Status::error},
    };
    for (const auto& [error, status] : cases) {
        node.answer(error);
        EXPECT_EQ(set(ReportType::output, 0, {1}), status) << error;
        node.answer(error);
        EXPECT_EQ(set(ReportType::feature, 0, {1}), status) << error;
        Bytes buffer(8);
        std::size_t size = 77;
        node.answer(error);
        EXPECT_EQ(channel.getReport(ReportType::feature, 0, buffer, size), status) << error;
        EXPECT_EQ(size, 77U) << "a failure leaves the size alone";
    }
}

TEST_F(HidrawRequests, AreMadeAgainWhenASignalInterrupts)
{
    node.answer(EINTR);
    EXPECT_EQ(set(ReportType::output, 0, {1}), Status::success);
    node.answer(EINTR);
    EXPECT_EQ(set(ReportType::feature, 0, {2}), Status::success);
    EXPECT_EQ(node.takeRequests(), "write 00 01\nwrite 00 01\nioctl 06 00 02\nioctl 06 00 02\n");
}

TEST_F(HidrawRequests, AskForANumberedReportWithItsNumber)
{
    node.answer(Bytes{5, 10, 11, 12});
    EXPECT_EQ(get(ReportType::feature, 5, 4), "got 05 0a 0b 0c");
    EXPECT_EQ(node.takeRequests(), "ioctl 07 05 00 00 00\n");
}

TEST_F(HidrawRequests, TakeTheZeroFromAnUnnumberedReport)
{
    node.answer(Bytes{0, 10, 11, 12});
    EXPECT_EQ(get(ReportType::feature, 0, 3), "got 0a 0b 0c");
    node.answer(Bytes{0, 10});
    EXPECT_EQ(get(ReportType::input, 0, 3), "got 0a");
    node.answer(Bytes{0});
    EXPECT_EQ(get(ReportType::output, 0, 3), "got ");
    EXPECT_EQ(node.takeRequests(), "ioctl 07 00 00 00 00\nioctl 0a 00 00 00 00\nioctl 0c 00 00 00 00\n");
}

TEST_F(HidrawRequests, AskForTheHighestNumberAndNoneBeyond)
{
    node.answer(Bytes{255, 7});
    EXPECT_EQ(get(ReportType::feature, 255, 8), "got ff 07");
    EXPECT_EQ(get(ReportType::feature, 256, 8), "refused");
}

/// The kernel says that it has done nothing, long after a signal has interrupted something else.
class NodeOfNothing : public FakeNode {
public:
    ssize_t write(int, const void*, std::size_t) override { return nothing(); }
    int control(int, unsigned long, void*) override { return nothing(); }

    int calls = 0;

private:
    int nothing()
    {
        ++calls;
        return 0;
    }
};

TEST(HidrawRequestsOfNothing, AreDoneAndNotMadeAgain)
{
    NodeOfNothing node;
    HidrawChannel channel(node, FileDescriptor(node, node.takeChannelEnd()), vendorDescriptor(8, 8, 8), true,
                          test::nodeOwner(), 0);
    const Bytes bytes{1, 2};
    for (const ReportType type : {ReportType::output, ReportType::feature}) {
        node.calls = 0;
        errno = EINTR;
        EXPECT_EQ(channel.setReport(type, 0, bytes), Status::success);
        EXPECT_EQ(node.calls, 1);
    }
    Bytes buffer(8);
    std::size_t size = 99;
    node.calls = 0;
    errno = EINTR;
    EXPECT_EQ(channel.getReport(ReportType::feature, 1, buffer, size), Status::success);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(node.calls, 1);
}

TEST_F(HidrawRequests, NeedRoomForAnAnswer)
{
    EXPECT_EQ(get(ReportType::feature, 0, 0), "refused");
    EXPECT_EQ(get(ReportType::feature, 300, 8), "refused");
    EXPECT_EQ(node.takeRequests(), "");
}

TEST_F(HidrawRequests, TakeTheRestOfAnOversizedBufferAsNotAsked)
{
    node.answer(Bytes(20, 9));
    Bytes buffer(100000, 0xEE);
    std::size_t size = 0;
    EXPECT_EQ(channel.getReport(ReportType::feature, 9, buffer, size), Status::success);
    EXPECT_EQ(size, 20U);
    EXPECT_EQ(buffer[20], 0xEE);
}

TEST_F(HidrawRequests, SendNoOutputThroughANodeThatMayOnlyBeRead)
{
    FakeNode readOnly;
    HidrawChannel reader(readOnly, FileDescriptor(readOnly, readOnly.takeChannelEnd()), vendorDescriptor(8, 8, 8),
                         false, test::nodeOwner(), 0);
    EXPECT_EQ(reader.setReport(ReportType::output, 0, Bytes{1}), Status::notPermitted);
    EXPECT_EQ(readOnly.takeRequests(), "");
    EXPECT_EQ(reader.setReport(ReportType::feature, 0, Bytes{1}), Status::success);
}

} // namespace
} // namespace qrx::platform
