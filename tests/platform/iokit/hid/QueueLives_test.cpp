/// Queues that are started again, whose source comes late, or that stand beside others; and the order of their
/// elements.

#include "Reader.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace {

/// Elements of the mouse.
constexpr IOHIDElementCookie kButton1 = 3;
constexpr IOHIDElementCookie kX = 6;
constexpr IOHIDElementCookie kY = 7;
constexpr IOHIDElementCookie kReport = 9;

class QueueLivesTest : public IOKitTest {
protected:
    void SetUp() override
    {
        IOKitTest::SetUp();
        mouse = fake::makeMouse();
        mouse.plug();
        entry = driver();
    }
    void TearDown() override
    {
        mouse.unplug();
        IOKitTest::TearDown();
    }

    void send(const fake::Bytes& report) { mouse.wires[0]->send(report); }

    /// A started queue of reports on a device that somebody else reads, without a source.
    static IOHIDQueueInterface** anotherOn(IOHIDDeviceInterface122** interface)
    {
        IOHIDQueueInterface** queue = (*interface)->allocQueue(interface);
        (*queue)->create(queue, 0, 8);
        (*queue)->addElement(queue, kReport, 0);
        (*queue)->start(queue);
        return queue;
    }

    fake::Device mouse;
    io_object_t entry = IO_OBJECT_NULL;
};

void countCallouts(void* target, IOReturn, void*, void*)
{
    ++*static_cast<int*>(target);
}

} // namespace

TEST_F(QueueLivesTest, EventsOfAReportComeByCookieAndTheHandlerFirstHoweverTheyWereAdded)
{
    QueueReader reader(entry, {kY, kButton1, kReport, kX});
    send({1, 2, 3, 0});
    runDue();
    EXPECT_EQ("|9=197121 3=1 6=2 7=3 ", reader.take());
}

TEST_F(QueueLivesTest, AStartForgetsTheLastValues)
{
    QueueReader reader(entry, {kButton1});
    send({1, 0, 0, 0});
    runDue();
    reader.take();
    send({1, 0, 0, 0});
    runDue();
    EXPECT_EQ("", reader.take()) << "no change";
    (*reader.queue)->start(reader.queue);
    send({1, 0, 0, 0});
    runDue();
    EXPECT_EQ("|3=1 ", reader.take());
}

TEST_F(QueueLivesTest, AStartMakesACalloutDueAgainThoughTheLastOneLeftEvents)
{
    QueueReader reader(entry, {kReport});
    reader.drains = false;
    send({1, 0, 0, 0});
    runDue();
    EXPECT_EQ("|", reader.take());
    (*reader.queue)->start(reader.queue);
    send({2, 0, 0, 0});
    runDue();
    EXPECT_EQ("|", reader.take());
    reader.drainEvents();
    EXPECT_EQ("9=2 ", reader.take());
}

TEST_F(QueueLivesTest, AStartTakesBackTheCalloutThatWasDue)
{
    QueueReader reader(entry, {kReport});
    (*reader.queue)->setEventCallout(reader.queue, nullptr, nullptr, nullptr);
    send({1, 0, 0, 0});
    runDue();
    (*reader.queue)->start(reader.queue);
    int callouts = 0;
    (*reader.queue)->setEventCallout(reader.queue, countCallouts, &callouts, nullptr);
    runDue();
    EXPECT_EQ(0, callouts);
}

TEST_F(QueueLivesTest, AStoppedQueueThatIsStartedHearsAgain)
{
    QueueReader reader(entry, {kReport});
    for (std::uint8_t round = 1; round <= 2; ++round) {
        (*reader.queue)->stop(reader.queue);
        send({static_cast<std::uint8_t>(10 + round), 0, 0, 0});
        runDue();
        EXPECT_EQ("", reader.take());
        (*reader.queue)->start(reader.queue);
        send({round, 0, 0, 0});
        runDue();
        EXPECT_EQ("|9=" + std::to_string(round) + " ", reader.take());
    }
}

TEST_F(QueueLivesTest, AQueueThatIsCreatedAnewIsEmptyAndStopped)
{
    QueueReader reader(entry, {kReport});
    reader.drains = false;
    send({1, 0, 0, 0});
    runDue();
    EXPECT_EQ(kIOReturnSuccess, (*reader.queue)->create(reader.queue, 0, 2));
    EXPECT_FALSE((*reader.queue)->hasElement(reader.queue, kReport));
    EXPECT_EQ(kIOReturnNoMemory, reader.drainEvents()) << "as one that was never started";
    EXPECT_EQ(kIOReturnSuccess, (*reader.queue)->addElement(reader.queue, kReport, 0));
    send({2, 0, 0, 0});
    runDue();
    EXPECT_EQ(kIOReturnNoMemory, reader.drainEvents());
    (*reader.queue)->start(reader.queue);
    reader.take();
    for (std::uint8_t number = 3; number <= 5; ++number) {
        send({number, 0, 0, 0});
    }
    runDue();
    reader.drainEvents();
    EXPECT_EQ("|9=3 9=4 ", reader.take()) << "its depth is the new one";
}

TEST_F(QueueLivesTest, ADepthOfZeroIsOne)
{
    QueueReader reader(entry, {kReport}, 0);
    reader.drains = false;
    send({1, 0, 0, 0});
    send({2, 0, 0, 0});
    runDue();
    reader.drainEvents();
    EXPECT_EQ("|9=1 ", reader.take());
}

TEST_F(QueueLivesTest, ASourceThatIsMadeAfterTheEventsTellsThem)
{
    QueueReader reader(entry, {kReport});
    IOHIDQueueInterface** late = anotherOn(reader.device);
    int callouts = 0;
    (*late)->setEventCallout(late, countCallouts, &callouts, nullptr);
    send({1, 0, 0, 0});
    runDue();
    EXPECT_EQ(0, callouts) << "it has no source yet";
    CFRunLoopSourceRef source = nullptr;
    ASSERT_EQ(kIOReturnSuccess, (*late)->createAsyncEventSource(late, &source));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    runDue();
    EXPECT_EQ(1, callouts);
    CFRelease(source);
    (*late)->Release(late);
}

TEST_F(QueueLivesTest, TheSourceIsTheSameWheneverItIsAskedFor)
{
    QueueReader reader(entry, {kReport});
    CFRunLoopSourceRef again = nullptr;
    EXPECT_EQ(kIOReturnSuccess, (*reader.queue)->createAsyncEventSource(reader.queue, &again));
    EXPECT_EQ(reader.source, again);
    EXPECT_EQ(kIOReturnBadArgument, (*reader.queue)->createAsyncEventSource(reader.queue, nullptr));
    CFRelease(again);
}

TEST_F(QueueLivesTest, ASourceThatIsMadeAfterTheUnplugFiresNothingAndEndsWithTheQueue)
{
    QueueReader reader(entry, {kReport});
    IOHIDQueueInterface** late = anotherOn(reader.device);
    mouse.unplug();
    runDue();
    CFRunLoopSourceRef source = nullptr;
    ASSERT_EQ(kIOReturnSuccess, (*late)->createAsyncEventSource(late, &source));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    runDue();
    EXPECT_TRUE(CFRunLoopSourceIsValid(source));
    (*late)->Release(late);
    EXPECT_FALSE(CFRunLoopSourceIsValid(source));
    CFRelease(source);
}

TEST_F(QueueLivesTest, NoSourceIsMadeForAQueueWhoseDeviceInterfaceIsGone)
{
    IOHIDDeviceInterface122** interface = openable(entry);
    IOHIDQueueInterface** queue = (*interface)->allocQueue(interface);
    (*interface)->Release(interface);
    CFRunLoopSourceRef source = nullptr;
    EXPECT_EQ(kIOReturnNoDevice, (*queue)->createAsyncEventSource(queue, &source));
    EXPECT_EQ(nullptr, source);
    (*queue)->Release(queue);
}

TEST_F(QueueLivesTest, OfTwoQueuesEachHasItsOwnElementsDepthAndCallout)
{
    QueueReader wide(entry, {kReport});
    IOHIDQueueInterface** narrow = (*wide.device)->allocQueue(wide.device);
    (*narrow)->create(narrow, 0, 1);
    (*narrow)->addElement(narrow, kX, 0);
    CFRunLoopSourceRef source = nullptr;
    (*narrow)->createAsyncEventSource(narrow, &source);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    int callouts = 0;
    (*narrow)->setEventCallout(narrow, countCallouts, &callouts, nullptr);
    (*narrow)->start(narrow);
    send({0, 5, 0, 0});
    send({0, 6, 0, 0});
    runDue();
    EXPECT_EQ(1, callouts);
    std::string reports = wide.take();
    std::erase(reports, '|');
    EXPECT_EQ("9=1280 9=1536 ", reports);
    (*wide.queue)->stop(wide.queue);
    IOHIDEventStruct event{};
    EXPECT_EQ(kIOReturnSuccess, (*narrow)->getNextEvent(narrow, &event, {0, 0}, 0));
    EXPECT_EQ(5, event.value);
    EXPECT_EQ(kIOReturnUnderrun, (*narrow)->getNextEvent(narrow, &event, {0, 0}, 0)) << "full: the newest is dropped";
    send({0, 7, 0, 0});
    runDue();
    EXPECT_EQ(2, callouts) << "the other one's stop is not its own";
    EXPECT_EQ("", wide.take());
    CFRelease(source);
    (*narrow)->Release(narrow);
}

TEST_F(QueueLivesTest, ACalloutThatAnotherQueueMadeDueIsCalledAgainAfterAnException)
{
    QueueReader first(entry, {kReport});
    IOHIDQueueInterface** second = anotherOn(first.device);
    CFRunLoopSourceRef source = nullptr;
    (*second)->createAsyncEventSource(second, &source);
    int callouts = 0;
    const auto throwOnce = [](void* target, IOReturn, void*, void*) {
        if (++*static_cast<int*>(target) == 1) {
            throw std::runtime_error("from a callout");
        }
    };
    (*second)->setEventCallout(second, throwOnce, &callouts, nullptr);
    send({1, 0, 0, 0});
    runDue(); // the first queue's source fetches it
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    EXPECT_THROW(runDue(), std::runtime_error);
    runDue();
    EXPECT_EQ(2, callouts);
    CFRelease(source);
    (*second)->Release(second);
}

TEST_F(QueueLivesTest, ADeviceThatIsOpenedAgainAfterAReplugIsAnotherDevice)
{
    auto reader = std::make_unique<QueueReader>(entry, std::vector<IOHIDElementCookie>{kReport});
    mouse.unplug();
    runDue();
    fake::Device again = fake::makeMouse();
    again.plug();
    QueueReader second(driver(), {kReport});
    EXPECT_EQ(kIOReturnNotAttached, (*reader->queue)->start(reader->queue));
    std::uint8_t report[1] = {0};
    EXPECT_NE(kIOReturnSuccess,
              (*reader->device)
                  ->setReport(reader->device, kIOHIDReportTypeOutput, 0, report, 1, 0, nullptr, nullptr, nullptr));
    EXPECT_TRUE(again.wires[0]->sentReports().empty());
    again.wires[0]->send({4, 0, 0, 0});
    runDue();
    EXPECT_EQ("", reader->take());
    EXPECT_EQ("|9=4 ", second.take());
    reader.reset();
    again.wires[0]->send({5, 0, 0, 0});
    runDue();
    EXPECT_EQ("|9=5 ", second.take());
    second.stop();
    again.unplug();
}
