#include "FakeNode.h"
#include "Linux/hidraw/HidrawChannel.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrx::platform {
namespace {

using test::Bytes;
using test::FakeNode;
using test::hexText;
using test::vendorDescriptor;

using Next = HIDChannel::Next;

class HidrawInput : public testing::Test {
protected:
    void open(const Bytes& descriptor, FakeNode::Reading reading = FakeNode::Reading::bySegment)
    {
        channel.reset();
        node = std::make_unique<FakeNode>(reading);
        channel = std::make_unique<HidrawChannel>(*node, FileDescriptor(*node, node->takeChannelEnd()), descriptor,
                                                  true, test::nodeOwner(), 3);
    }
    /// The first byte and the length of each report until the channel gives no more: "0x8 1x8 gone".
    std::string taken()
    {
        std::string text;
        std::span<const std::uint8_t> report;
        for (int count = 0; count < 5000; ++count) {
            const Next next = channel->takeReport(report);
            if (next != Next::report) {
                return text + (next == Next::gone ? "gone" : "empty");
            }
            text += std::to_string(report[0]) + "x" + std::to_string(report.size()) + " ";
            if (channel->isDescriptorNext()) {
                return text + "empty";
            }
        }
        return "endless";
    }
    /// As a run loop does, which comes again while the descriptor is readable: "0x8 | 1x8 | ".
    std::string takenByVisits()
    {
        std::string text;
        pollfd poll{channel->descriptor(), POLLIN, 0};
        for (int visits = 0; visits < 100 && ::poll(&poll, 1, 0) == 1; ++visits) {
            const std::string visit = taken();
            text += visit.substr(0, visit.find_last_of("eg")) + "| ";
        }
        return text;
    }
    /// Lets reports of `size` bytes come one by one, until the channel expects that the next one comes alone as well.
    void expectLoneReports(std::size_t size)
    {
        taken();
        for (int number = 0; number < 2; ++number) {
            node->queueMany(1, size);
            EXPECT_EQ(taken(), series(0, 1, size) + "empty");
        }
    }
    static std::string series(int first, int count, std::size_t size)
    {
        std::string text;
        for (int number = first; number < first + count; ++number) {
            text += std::to_string(number) + "x" + std::to_string(size) + " ";
        }
        return text;
    }

    std::unique_ptr<FakeNode> node;
    std::unique_ptr<HidrawChannel> channel;
};

TEST_F(HidrawInput, IsEmptyAtFirst)
{
    open(vendorDescriptor(8));
    EXPECT_EQ(taken(), "empty");
    EXPECT_FALSE(channel->hasFetchedReports());
}

TEST_F(HidrawInput, GivesTheBytesOfAReportAsTheyCame)
{
    open(vendorDescriptor(8));
    node->queue({1, 2, 3, 4, 5, 6, 7, 255});
    std::span<const std::uint8_t> report;
    ASSERT_EQ(channel->takeReport(report), Next::report);
    EXPECT_EQ(hexText(Bytes(report.begin(), report.end())), "01 02 03 04 05 06 07 ff");
}

TEST_F(HidrawInput, TakesSixtyReportsInOneCallAndInTheirOrder)
{
    open(vendorDescriptor(64));
    EXPECT_EQ(taken(), "empty");
    for (const int calls : {3, 1, 1}) {
        node->readCalls = 0;
        node->queueMany(60, 64);
        EXPECT_EQ(taken(), series(0, 60, 64) + "empty");
        EXPECT_EQ(node->readCalls, calls) << "many are offered room once many have come";
    }
}

TEST_F(HidrawInput, OffersRoomForTwiceAsManyReportsAsCame)
{
    open(vendorDescriptor(8));
    taken();
    const auto offeredAfter = [&](int count) {
        node->queueMany(count, 8);
        taken();
        node->queueMany(1, 8);
        taken();
        return node->segmentsOffered;
    };
    EXPECT_EQ(offeredAfter(2), 4) << "the fewest";
    EXPECT_EQ(offeredAfter(3), 6);
    EXPECT_EQ(offeredAfter(15), 30);
    EXPECT_EQ(offeredAfter(16), 32);
    EXPECT_EQ(offeredAfter(2), 4) << "once few have come";
    EXPECT_EQ(offeredAfter(40), 64) << "all that there is";
}

TEST_F(HidrawInput, OffersNoMoreForReportsThatCameOneByOneWhateverTheirLength)
{
    open(test::joined({vendorDescriptor(8, 0, 0, 1), vendorDescriptor(20, 0, 0, 2)}));
    for (int number = 0; number < 100; ++number) {
        node->queueMany(1, number % 50 == 49 ? 21 : 9);
        taken();
        EXPECT_EQ(node->segmentsOffered, 4) << number;
    }
}

TEST_F(HidrawInput, NeedsOneCallForASingleReportOfFullLength)
{
    open(vendorDescriptor(8));
    taken();
    node->readCalls = 0;
    for (int times = 0; times < 10; ++times) {
        node->queueMany(1, 8, times);
        EXPECT_EQ(taken(), series(times, 1, 8) + "empty");
    }
    EXPECT_EQ(node->readCalls, 10);
}

TEST_F(HidrawInput, LooksForTheEndOfTheQueueOnceIn25TimesWhileReportsComeOneByOne)
{
    open(vendorDescriptor(8));
    expectLoneReports(8);
    std::string looks;
    for (int number = 0; number < 50; ++number) {
        node->segmentsOffered = 0;
        node->queueMany(1, 8);
        EXPECT_EQ(taken(), series(0, 1, 8) + "empty");
        looks += node->segmentsOffered == 0 ? "." : "!";
    }
    EXPECT_EQ(looks, "........................!........................!");
}

TEST_F(HidrawInput, LooksForTheEndOfTheQueueOnceInFourTimesWhileEightShortReportsCome)
{
    open(test::joined({vendorDescriptor(8, 0, 0, 1), vendorDescriptor(20, 0, 0, 2)}));
    const auto callsForEight = [&] {
        node->readCalls = 0;
        node->queueMany(8, 9);
        EXPECT_EQ(taken(), series(0, 8, 9) + "empty");
        return node->readCalls;
    };
    callsForEight();
    callsForEight();
    for (const int calls : {8, 8, 8, 9, 8, 8, 8, 9}) {
        EXPECT_EQ(callsForEight(), calls);
    }
}

TEST_F(HidrawInput, LooksForTheEndOfTheQueueAgainWhenShortReportsComeInAnotherNumber)
{
    open(test::joined({vendorDescriptor(8, 0, 0, 1), vendorDescriptor(20, 0, 0, 2)}));
    for (int times = 0; times < 3; ++times) {
        node->queueMany(4, 9);
        EXPECT_EQ(taken(), series(0, 4, 9) + "empty");
    }
    node->readCalls = 0;
    node->queueMany(2, 9);
    EXPECT_EQ(taken(), series(0, 2, 9) + "empty");
    EXPECT_EQ(node->readCalls, 3) << "fewer than foreseen";
    node->readCalls = 0;
    node->queueMany(2, 9);
    EXPECT_EQ(taken(), series(0, 2, 9) + "empty");
    EXPECT_EQ(node->readCalls, 3) << "not twice yet";
}

TEST_F(HidrawInput, ReadsAShortReportThatComesAloneWithOneCall)
{
    open(test::joined({vendorDescriptor(8, 0, 0, 1), vendorDescriptor(20, 0, 0, 2)}));
    expectLoneReports(9);
    node->readCalls = 0;
    node->queueMany(1, 9);
    EXPECT_EQ(taken(), series(0, 1, 9) + "empty");
    EXPECT_EQ(node->readCalls, 1);
}

TEST_F(HidrawInput, TakesABurstWhereALoneReportWasExpected)
{
    open(vendorDescriptor(8));
    expectLoneReports(8);
    std::string oneByOne;
    for (int number = 0; number < 24; ++number) {
        oneByOne += series(number, 1, 8) + "| ";
    }
    node->queueMany(24 + 5, 8);
    EXPECT_EQ(takenByVisits(), oneByOne + series(24, 5, 8) + "| ");
    node->queueMany(15, 8);
    EXPECT_EQ(takenByVisits(), series(0, 15, 8) + "| ") << "and expects the next one";
}

TEST_F(HidrawInput, GivesAllThatIsBehindALoneReportBeforeItIsGone)
{
    open(vendorDescriptor(8));
    expectLoneReports(8);
    node->queueMany(3, 8);
    node->unplug();
    EXPECT_EQ(taken(), "0x8 empty");
    EXPECT_EQ(taken(), "1x8 empty");
    EXPECT_EQ(taken(), "2x8 empty");
    EXPECT_EQ(taken(), "gone");
}

TEST_F(HidrawInput, ReadsShortReportsOneByOne)
{
    open(test::joined({vendorDescriptor(8, 0, 0, 1), vendorDescriptor(20, 0, 0, 2)}));
    node->queueMany(1, 9);
    taken();
    node->readCalls = node->segmentsOffered = 0;
    node->queueMany(60, 9);
    EXPECT_EQ(taken(), series(0, 60, 9) + "empty");
    EXPECT_EQ(node->readCalls, 61);
    EXPECT_EQ(node->segmentsOffered, 0) << "which the kernel would have to look at for nothing";
}

TEST_F(HidrawInput, OffersRoomForManyAgainAfterFourReportsOfFullLength)
{
    open(vendorDescriptor(8));
    node->queueMany(1, 3);
    taken();
    node->readCalls = 0;
    node->queueMany(4 + 3, 8);
    EXPECT_EQ(taken(), series(0, 7, 8) + "empty");
    EXPECT_EQ(node->readCalls, 4 + 1);
}

TEST_F(HidrawInput, HoldsWhatItFetchedForLater)
{
    open(vendorDescriptor(8));
    node->queueMany(3, 8);
    std::span<const std::uint8_t> report;
    ASSERT_EQ(channel->takeReport(report), Next::report);
    EXPECT_TRUE(channel->hasFetchedReports());
    pollfd poll{channel->descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&poll, 1, 0), 0) << "the descriptor tells nothing of them";
    EXPECT_EQ(taken(), "1x8 2x8 empty");
    EXPECT_FALSE(channel->hasFetchedReports());
}

TEST_F(HidrawInput, DoesNotSayThatNothingWaitsWithoutHavingAsked)
{
    open(vendorDescriptor(8));
    node->queueMany(2, 8);
    std::span<const std::uint8_t> report;
    ASSERT_EQ(channel->takeReport(report), Next::report);
    EXPECT_FALSE(channel->isDescriptorNext());
    node->queueMany(3, 8, 2); // after the fetch, before its last report is taken
    node->unplug();
    ASSERT_EQ(channel->takeReport(report), Next::report);
    EXPECT_TRUE(channel->isDescriptorNext());
    EXPECT_EQ(taken(), "2x8 3x8 4x8 empty");
}

TEST_F(HidrawInput, KeepsReportsOfDifferentLengthsApart)
{
    open(vendorDescriptor(8));
    const int sizes[] = {8, 8, 3, 8, 1, 1, 7, 8, 8, 8, 2};
    std::string expected;
    for (int number = 0; number < 11; ++number) {
        const auto size = static_cast<std::size_t>(sizes[number]);
        node->queueMany(1, size, number);
        expected += series(number, 1, size);
    }
    EXPECT_EQ(taken(), expected + "empty");
}

TEST_F(HidrawInput, HasRoomForANumberBeforeBitsThatFillNoByte)
{
    // Number 1, then 521 bits: 67 bytes with the number.
    open(Bytes{0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x85, 0x01, // vendor collection, report 1
               0x15, 0x00, 0x25, 0x01, 0x75, 0x01, 0x96, 0x09, 0x02, // 521 bits
               0x09, 0x02, 0x81, 0x02, 0xc0});
    node->queueMany(3, 67);
    EXPECT_EQ(taken(), series(0, 3, 67) + "empty");
}

TEST_F(HidrawInput, FindsWhatCameAfterAShortReport)
{
    open(vendorDescriptor(8));
    node->queueMany(1, 2, 0);
    node->queueMany(5, 8, 1);
    EXPECT_EQ(taken(), "0x2 1x8 2x8 3x8 4x8 5x8 empty");
}

TEST_F(HidrawInput, SizesSegmentsByTheLongestNumberedReport)
{
    open(test::joined({vendorDescriptor(8, 0, 0, 1), vendorDescriptor(20, 0, 0, 2)}));
    taken();
    node->readCalls = 0;
    node->queueMany(3, 21, 2);
    EXPECT_EQ(taken(), series(2, 3, 21) + "empty");
    EXPECT_EQ(node->readCalls, 1);
    node->queueMany(2, 9, 1);
    node->queueMany(1, 21, 2);
    EXPECT_EQ(taken(), "1x9 2x9 2x21 empty");
}

TEST_F(HidrawInput, TakesReportsOfEveryLength)
{
    for (const unsigned size : {1U, 8U, 63U, 64U, 65U, 1024U, 4096U, 16384U}) {
        open(vendorDescriptor(size));
        node->queueMany(5, size);
        EXPECT_EQ(taken(), series(0, 5, size) + "empty");
    }
}

TEST_F(HidrawInput, HoldsAtMostSixtyFourKilobytesAtOnce)
{
    open(vendorDescriptor(16384));
    taken();
    node->readCalls = 0;
    node->queueMany(8, 16384);
    EXPECT_EQ(taken(), series(0, 8, 16384) + "empty");
    EXPECT_EQ(node->readCalls, 3) << "four segments a call";
}

TEST_F(HidrawInput, GivesAllThatWasQueuedBeforeItIsGone)
{
    open(vendorDescriptor(8));
    node->queueMany(19, 8);
    node->unplug();
    EXPECT_EQ(taken(), series(0, 19, 8) + "empty");
    pollfd poll{channel->descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&poll, 1, 0), 1) << "the descriptor tells that there is more to say";
    EXPECT_EQ(taken(), "gone");
    EXPECT_EQ(taken(), "gone");
}

TEST_F(HidrawInput, GivesAllThatFilledTheRoomBeforeItIsGone)
{
    open(vendorDescriptor(8));
    node->queueMany(4 + 16, 8);
    node->unplug();
    EXPECT_EQ(taken(), series(0, 20, 8) + "gone");
}

TEST_F(HidrawInput, IsGoneAtOnceWhenNothingWasQueued)
{
    open(vendorDescriptor(8));
    node->unplug();
    EXPECT_EQ(taken(), "gone");
}

TEST_F(HidrawInput, ReadsSinglyWhereOneReportWouldFillSeveralSegments)
{
    open(vendorDescriptor(8), FakeNode::Reading::iterator);
    EXPECT_EQ(taken(), "empty");
    node->queueMany(3, 8);
    node->queueMany(1, 30, 3); // would look like three reports and a short one
    node->queueMany(1, 3, 4);
    EXPECT_EQ(taken(), "0x8 1x8 2x8 3x30 4x3 empty");
}

TEST_F(HidrawInput, KeepsTheReportThatTheQuestionForBatchesBrought)
{
    open(vendorDescriptor(8), FakeNode::Reading::iterator);
    node->queueMany(3, 8);
    EXPECT_EQ(taken(), "0x8 1x8 2x8 empty");
}

TEST_F(HidrawInput, IsGoneAfterTheQueueAlsoWhenReadSingly)
{
    open(vendorDescriptor(8), FakeNode::Reading::iterator);
    node->queueMany(2, 8);
    node->unplug();
    EXPECT_EQ(taken(), "0x8 1x8 gone");
}

TEST_F(HidrawInput, ReadsSinglyOnKernelsThatCannotBeAsked)
{
    open(vendorDescriptor(8), FakeNode::Reading::ancient);
    node->queueMany(3, 8);
    EXPECT_EQ(taken(), "0x8 1x8 2x8 empty");
    EXPECT_EQ(node->readCalls, 4);
}

TEST_F(HidrawInput, ReadsSinglyWhereTheDescriptorDeclaresNoInput)
{
    open(vendorDescriptor(0, 8));
    node->queueMany(2, 12);
    EXPECT_EQ(taken(), "0x12 1x12 empty");
}

TEST_F(HidrawInput, TakesTheLongestOfAllReportsWhereTheDescriptorIsBroken)
{
    Bytes broken = vendorDescriptor(8);
    broken.pop_back();
    broken.push_back(0x26); // an item that ends too early
    open(broken);
    node->queueMany(2, 16384);
    node->queueMany(1, 8, 2);
    EXPECT_EQ(taken(), "0x16384 1x16384 2x8 empty");
    open({});
    node->queueMany(1, 64);
    EXPECT_EQ(taken(), "0x64 empty");
}

TEST_F(HidrawInput, TriesAgainWhenASignalInterrupts)
{
    class Interrupting : public FakeNode {
    public:
        ssize_t readv(int fd, const iovec* segments, int count) override
        {
            if (++interruptions % 3 != 0) {
                errno = EINTR;
                return -1;
            }
            return FakeNode::readv(fd, segments, count);
        }
        int interruptions = 0;
    };
    Interrupting calls;
    calls.queueMany(2, 8);
    HidrawChannel own(calls, FileDescriptor(calls, calls.takeChannelEnd()), vendorDescriptor(8), true,
                      test::nodeOwner(), 0);
    std::span<const std::uint8_t> report;
    EXPECT_EQ(own.takeReport(report), Next::report);
    EXPECT_EQ(own.takeReport(report), Next::report);
    EXPECT_TRUE(own.isDescriptorNext());
    EXPECT_EQ(own.takeReport(report), Next::empty);
    EXPECT_FALSE(own.isDescriptorNext());
}

TEST_F(HidrawInput, IsGoneAfterAnyOtherError)
{
    for (const int error : {EIO, ENODEV, EFAULT, EBADF, EPERM}) {
        class Failing : public FakeNode {
        public:
            explicit Failing(int number) : error(number) {}
            ssize_t readv(int, const iovec*, int) override
            {
                errno = error;
                return -1;
            }
            int error;
        };
        Failing calls(error);
        HidrawChannel own(calls, FileDescriptor(calls, calls.takeChannelEnd()), vendorDescriptor(8), true,
                          test::nodeOwner(), 0);
        std::span<const std::uint8_t> report;
        EXPECT_EQ(own.takeReport(report), Next::gone) << error;
        EXPECT_EQ(own.takeReport(report), Next::gone) << error;
    }
}

TEST_F(HidrawInput, CountsAFullRingAsOnePossibleLoss)
{
    open(vendorDescriptor(8));
    node->queueMany(62, 8);
    taken();
    EXPECT_EQ(channel->possibleLosses(), 0U);
    node->queueMany(63, 8);
    taken();
    EXPECT_EQ(channel->possibleLosses(), 1U);
    node->queueMany(30, 8);
    taken();
    node->queueMany(40, 8);
    taken();
    EXPECT_EQ(channel->possibleLosses(), 1U) << "the queue was empty in between";
    node->queueMany(63, 8);
    taken();
    EXPECT_EQ(channel->possibleLosses(), 2U);
}

TEST_F(HidrawInput, CountsAFullRingAlsoInShortReportsAndSingleReads)
{
    open(vendorDescriptor(8));
    node->queueMany(63, 3);
    taken();
    EXPECT_EQ(channel->possibleLosses(), 1U);
    open(vendorDescriptor(8), FakeNode::Reading::iterator);
    node->queueMany(63, 8);
    taken();
    EXPECT_EQ(channel->possibleLosses(), 1U);
}

TEST_F(HidrawInput, NamesTheDeviceAndTheInterfaceOfAPossibleLoss)
{
    // In a process of its own: the level is chosen once.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto loseTwice = [this] {
        ::setenv("QRX_LOG", "info", 1);
        open(vendorDescriptor(8));
        node->queueMany(63, 8);
        taken();
        node->queueMany(63, 8);
        taken();
        std::exit(0);
    };
    EXPECT_EXIT(loseTwice(), testing::ExitedWithCode(0),
                "QrxHIDManager: The kernel's queue of 63 reports for interface 3 of 1234:abcd at 1-2.1 was full: "
                "reports may have been lost \\(1 time so far\\)\n"
                "QrxHIDManager: .* \\(2 times so far\\)\n");
}

TEST_F(HidrawInput, CountsAFullRingAlsoWhereALoneReportWasExpected)
{
    open(vendorDescriptor(8));
    expectLoneReports(8);
    for (int number = 0; number < 100; ++number) {
        node->queueMany(1, 8);
        taken();
    }
    EXPECT_EQ(channel->possibleLosses(), 0U);
    node->queueMany(63, 8);
    takenByVisits();
    EXPECT_EQ(channel->possibleLosses(), 1U);
}

TEST_F(HidrawInput, ClosesItsDescriptor)
{
    open(vendorDescriptor(8));
    const int fd = channel->descriptor();
    pollfd poll{fd, 0, 0};
    ASSERT_EQ(::poll(&poll, 1, 0), 0);
    channel.reset();
    ASSERT_EQ(::poll(&poll, 1, 0), 1);
    EXPECT_EQ(poll.revents, POLLNVAL);
}

/// A file of this kernel that is read as hidraw is, by a plain read operation: inotify, with one event of 16 bytes for
/// each read of that size.
TEST(HidrawInputOfTheKernel, ComesInBatchesFromAFileThatIsReadBySegments)
{
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() / ("qrx-inotify-" + std::to_string(::getpid()));
    std::ofstream(file).put('x');
    class Counting : public test::FaultyCalls {
    public:
        ssize_t readv(int fd, const iovec* segments, int count) override
        {
            ++batches;
            return FaultyCalls::readv(fd, segments, count);
        }
        int batches = 0;
    };
    Counting calls;
    FileDescriptor fd(calls, ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(::inotify_add_watch(fd.get(), file.c_str(), IN_ATTRIB | IN_MODIFY), 0);
    HidrawChannel channel(calls, std::move(fd), vendorDescriptor(sizeof(inotify_event)), true, test::nodeOwner(), 0);
    for (const auto& [count, batches] : {std::pair{1, 1}, std::pair{19, 2}, std::pair{20, 1}, std::pair{5, 1}}) {
        calls.batches = 0;
        // Two equal events in a row would become one.
        for (int number = 0; number < count; ++number) {
            if (number % 2 == 0) {
                EXPECT_EQ(::chmod(file.c_str(), 0600), 0);
            } else {
                std::ofstream(file, std::ios::app).put('x');
            }
        }
        std::span<const std::uint8_t> report;
        for (int number = 0; number < count; ++number) {
            ASSERT_EQ(channel.takeReport(report), Next::report);
            ASSERT_EQ(report.size(), sizeof(inotify_event));
            std::uint32_t mask = 0;
            std::memcpy(&mask, report.data() + 4, sizeof mask);
            EXPECT_EQ(mask, number % 2 == 0 ? IN_ATTRIB : IN_MODIFY);
        }
        EXPECT_TRUE(channel.isDescriptorNext());
        EXPECT_EQ(calls.batches, batches) << count;
    }
    std::filesystem::remove(file);
}

} // namespace
} // namespace qrx::platform
