#include "Reader.h"

#include <memory>
#include <stdexcept>

namespace {

/// Cookies of the devices' elements, in the order of their descriptors.
constexpr IOHIDElementCookie kMouseButton1 = 3;
constexpr IOHIDElementCookie kMouseX = 6;
constexpr IOHIDElementCookie kMouseReport = 9;
constexpr IOHIDElementCookie kKeys = 10;
constexpr IOHIDElementCookie kFirstSlot = 11;
constexpr IOHIDElementCookie kFirstSelector = 17;
constexpr IOHIDElementCookie kFirstLight = 119;
constexpr IOHIDElementCookie kKeyboardReport = 124;

class HidQueueTest : public IOKitTest {
protected:
    void TearDown() override
    {
        device.unplug();
        IOKitTest::TearDown();
    }

    io_object_t plug(fake::Device what)
    {
        device = std::move(what);
        device.plug();
        return driver();
    }
    void send(const fake::Bytes& report) { device.wires[0]->send(report); }

    fake::Device device;
};

IOHIDElementCookie handlerOf(io_object_t driver)
{
    CFTypeRef handlers = IORegistryEntryCreateCFProperty(driver, CFSTR("InputReportElements"), kCFAllocatorDefault, 0);
    const auto* first = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(handlers), 0);
    std::int32_t cookie = 0;
    CFNumberGetValue(
        static_cast<CFNumberRef>(CFDictionaryGetValue(static_cast<CFDictionaryRef>(first), CFSTR("ElementCookie"))),
        kCFNumberIntType, &cookie);
    CFRelease(handlers);
    return static_cast<IOHIDElementCookie>(cookie);
}

} // namespace

TEST_F(HidQueueTest, AHandlerTellsEveryReportThroughTheQueuesSourceAlone)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
    send({1, 2, 3, 0xff});
    send({1, 2, 3, 0xff});
    runDue();
    EXPECT_EQ("|9=-16580095 |9=-16580095 ", reader.take()) << "a report of 4 bytes is a value, not sign-extended bits";
}

TEST_F(HidQueueTest, ALongReportIsABlockThatTheReceiverFrees)
{
    const io_object_t entry = plug(fake::makeVendorDevice());
    QueueReader reader(entry, {handlerOf(entry)});
    fake::Bytes report(64, 0xAA);
    report[0] = 1;
    send(report);
    runDue();
    EXPECT_EQ("|78=[" + hexOf(report.data(), 64) + "] ", reader.take());
}

TEST_F(HidQueueTest, AShortReportIsIgnoredAndALongOneCut)
{
    QueueReader reader(plug(fake::makeKeyboard()), {kKeyboardReport, 2});
    send({1, 0, 0, 0, 0, 0, 0});
    runDue();
    EXPECT_EQ("", reader.take()) << "as a whole: the modifier too";
    send({1, 0, 4, 0, 0, 0, 0, 0, 9, 9});
    runDue();
    EXPECT_EQ("|124=[01 00 04 00 00 00 00 00] 2=1 ", reader.take());
}

TEST_F(HidQueueTest, OtherNumberedReportsAreNotTold)
{
    const io_object_t entry = plug(fake::makeVendorDevice());
    QueueReader reader(entry, {handlerOf(entry)});
    send({2, 0});
    send({});
    runDue();
    EXPECT_EQ("", reader.take());
}

TEST_F(HidQueueTest, ARelativeValueIsToldEveryTimeAnotherOnlyWhenItChanges)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseButton1, kMouseX});
    send({0, 0xff, 0, 0});
    send({1, 0xff, 0, 0});
    send({1, 0, 0, 0});
    send({0, 0, 0, 0});
    runDue();
    EXPECT_EQ("|6=-1 |3=1 6=-1 |6=0 |3=0 6=0 ", reader.take());
}

TEST_F(HidQueueTest, WithEnqueueAllEveryValueIsTold)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseButton1}, 64, kIOHIDQueueOptionsTypeEnqueueAll);
    send({0, 0, 0, 0});
    send({0, 0, 0, 0});
    runDue();
    EXPECT_EQ("|3=0 |3=0 ", reader.take());
}

TEST_F(HidQueueTest, SelectorsTellKeysThatEnterOrLeaveTheArray)
{
    QueueReader reader(plug(fake::makeKeyboard()), {kFirstSelector + 4, kFirstSelector + 5});
    send({0, 0, 4, 0, 0, 0, 0, 0});
    send({0, 0, 5, 4, 0, 0, 0, 0});
    send({0, 0, 5, 0, 0, 0, 0, 0});
    send({0, 0, 1, 1, 1, 1, 1, 1}); // ErrorRollOver: which keys are down is unknown
    send({0, 0, 0, 0, 0, 0, 0, 0});
    runDue();
    EXPECT_EQ("|21=1 |22=1 |21=0 |22=0 ", reader.take());
}

TEST_F(HidQueueTest, AnArraysHeadAndSlotsAreToldWhenTheyChange)
{
    QueueReader reader(plug(fake::makeKeyboard()), {kKeys, kFirstSlot, kFirstSlot + 1});
    send({0, 0, 4, 0, 0, 0, 0, 0});
    send({1, 0, 4, 0, 0, 0, 0, 0});
    send({1, 0, 4, 7, 0, 0, 0, 0});
    runDue();
    EXPECT_EQ("|10=[04 00 00 00 00 00] 11=4 |10=[04 07 00 00 00 00] 12=7 ", reader.take());
}

TEST_F(HidQueueTest, ASentReportTellsElementsOfItsTypeAndNoHandler)
{
    QueueReader reader(plug(fake::makeKeyboard()), {kFirstLight, kFirstLight + 1, kKeyboardReport});
    std::uint8_t lights = 2;
    EXPECT_EQ(kIOReturnSuccess,
              (*reader.device)
                  ->setReport(reader.device, kIOHIDReportTypeOutput, 0, &lights, 1, 0, nullptr, nullptr, nullptr));
    runDue();
    EXPECT_EQ("|120=1 ", reader.take());
}

TEST_F(HidQueueTest, AQueueThatWasEmptiedBeforeItsCalloutIsToldOfTheNextEvent)
{
    QueueReader reader(plug(fake::makeKeyboard()), {kFirstLight});
    // Sent reports: nothing becomes readable for their events, so only the queue itself can ask for its callout.
    const auto send = [&](std::uint8_t lights) {
        (*reader.device)->setReport(reader.device, kIOHIDReportTypeOutput, 0, &lights, 1, 0, nullptr, nullptr, nullptr);
    };
    send(1);
    EXPECT_EQ(kIOReturnUnderrun, reader.drainEvents());
    runDue();
    EXPECT_EQ("119=1 ", reader.take()) << "no callout, since nothing waits";
    send(0);
    runDue();
    EXPECT_EQ("|119=0 ", reader.take());
}

TEST_F(HidQueueTest, AFullQueueDropsTheNewest)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport}, 3);
    reader.drains = false;
    for (std::uint8_t number = 1; number <= 5; ++number) {
        send({number, 0, 0, 0});
    }
    runDue();
    EXPECT_EQ(kIOReturnUnderrun, reader.drainEvents());
    EXPECT_EQ("|9=1 9=2 9=3 ", reader.take());
}

TEST_F(HidQueueTest, ACalloutThatLeavesEventsIsNotCalledAgainBeforeTheQueueWasEmpty)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
    reader.drains = false;
    send({1, 0, 0, 0});
    runDue();
    send({2, 0, 0, 0});
    runDue();
    EXPECT_EQ("|", reader.take());
    reader.drainEvents();
    reader.take();
    send({3, 0, 0, 0});
    runDue();
    EXPECT_EQ("|", reader.take());
}

TEST_F(HidQueueTest, TheResultsOfAQueueTellItsState)
{
    IOHIDDeviceInterface122** interface = openable(plug(fake::makeMouse()));
    IOHIDQueueInterface** queue = (*interface)->allocQueue(interface);
    IOHIDEventStruct event{};
    EXPECT_EQ(kIOReturnError, (*queue)->start(queue)) << "not created";
    EXPECT_EQ(kIOReturnError, (*queue)->dispose(queue));
    EXPECT_EQ(kIOReturnError, (*queue)->getNextEvent(queue, &event, {0, 0}, 0));
    EXPECT_EQ(kIOReturnSuccess, (*queue)->create(queue, 0, 8)) << "an open device is not needed";
    EXPECT_EQ(kIOReturnSuccess, (*queue)->addElement(queue, kMouseX, 0));
    EXPECT_EQ(kIOReturnNoMemory, (*queue)->addElement(queue, kMouseX, 0)) << "there already";
    EXPECT_EQ(kIOReturnBadArgument, (*queue)->addElement(queue, 1, 0)) << "a collection";
    EXPECT_EQ(kIOReturnBadArgument, (*queue)->addElement(queue, 0, 0)) << "the root";
    EXPECT_EQ(kIOReturnBadArgument, (*queue)->addElement(queue, 100, 0)) << "unknown";
    EXPECT_TRUE((*queue)->hasElement(queue, kMouseX));
    EXPECT_EQ(kIOReturnSuccess, (*queue)->removeElement(queue, kMouseX));
    EXPECT_EQ(kIOReturnBadArgument, (*queue)->removeElement(queue, kMouseX));
    EXPECT_FALSE((*queue)->hasElement(queue, kMouseX));
    EXPECT_EQ(kIOReturnNotOpen, (*queue)->stop(queue));
    EXPECT_EQ(kIOReturnNotOpen, (*queue)->getNextEvent(queue, &event, {0, 0}, 0));
    (*interface)->open(interface, 0);
    EXPECT_EQ(kIOReturnNoMemory, (*queue)->getNextEvent(queue, &event, {0, 0}, 0)) << "never started";
    EXPECT_EQ(kIOReturnSuccess, (*interface)->startAllQueues(interface));
    EXPECT_EQ(kIOReturnUnderrun, (*queue)->getNextEvent(queue, &event, {0, 0}, 0));
    EXPECT_EQ(kIOReturnSuccess, (*interface)->stopAllQueues(interface));
    EXPECT_EQ(kIOReturnSuccess, (*queue)->dispose(queue));
    EXPECT_EQ(kIOReturnError, (*queue)->stop(queue));
    (*interface)->Release(interface);
    EXPECT_EQ(kIOReturnNoDevice, (*queue)->start(queue)) << "the device is gone";
    EXPECT_EQ(kIOReturnNoDevice, (*queue)->create(queue, 0, 8));
    void* face = nullptr;
    EXPECT_EQ(S_OK, (*queue)->QueryInterface(queue, CFUUIDGetUUIDBytes(kIOHIDQueueInterfaceID), &face));
    EXPECT_EQ(face, queue);
    EXPECT_EQ(1u, (*queue)->Release(queue));
    EXPECT_EQ(0u, (*queue)->Release(queue));
}

TEST_F(HidQueueTest, StoppingKeepsWhatIsQueuedAndStartingEmptiesIt)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
    reader.drains = false;
    send({1, 0, 0, 0});
    runDue();
    reader.take();
    EXPECT_EQ(kIOReturnSuccess, (*reader.queue)->stop(reader.queue));
    send({2, 0, 0, 0});
    runDue();
    reader.drainEvents();
    EXPECT_EQ("9=1 ", reader.take());
    (*reader.queue)->start(reader.queue);
    send({3, 0, 0, 0});
    runDue();
    reader.take();
    (*reader.queue)->start(reader.queue);
    EXPECT_EQ(kIOReturnUnderrun, reader.drainEvents());
    EXPECT_EQ("", reader.take());
}

TEST_F(HidQueueTest, TheCalloutCanBeAskedForAndReplaced)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
    IOHIDCallbackFunction function = nullptr;
    void* target = nullptr;
    void* refcon = &target;
    (*reader.queue)->getEventCallout(reader.queue, &function, &target, &refcon);
    EXPECT_EQ(&reader, target);
    EXPECT_EQ(nullptr, refcon);
    (*reader.queue)->setEventCallout(reader.queue, nullptr, nullptr, nullptr);
    send({1, 0, 0, 0});
    runDue();
    EXPECT_EQ("", reader.take());
    (*reader.queue)->setEventCallout(reader.queue, function, target, refcon);
    runDue();
    EXPECT_EQ("|9=1 ", reader.take()) << "events that wait are told to a late callout";
}

TEST_F(HidQueueTest, QueuesAndTheInterruptHandlerSeeTheSameReports)
{
    const io_object_t entry = plug(fake::makeMouse());
    QueueReader first(entry, {kMouseReport});
    IOHIDQueueInterface** other = (*first.device)->allocQueue(first.device);
    (*other)->create(other, 0, 64);
    (*other)->addElement(other, kMouseReport, 0);
    (*other)->start(other);
    std::uint8_t buffer[4] = {};
    CFRunLoopSourceRef source = nullptr;
    (*first.device)->createAsyncEventSource(first.device, &source);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    int reports = 0;
    (*first.device)
        ->setInterruptReportHandlerCallback(
            first.device, buffer, sizeof buffer,
            [](void* target, IOReturn, void*, void*, UInt32) { ++*static_cast<int*>(target); }, &reports, nullptr);
    for (std::uint8_t number = 1; number <= 100; ++number) {
        send({number, 0, 0, 0});
    }
    runDue();
    EXPECT_EQ(100, reports);
    const std::string text = first.take();
    EXPECT_NE(std::string::npos, text.find("9=1 "));
    EXPECT_NE(std::string::npos, text.find("9=64 "));
    IOHIDEventStruct event{};
    EXPECT_EQ(kIOReturnSuccess, (*other)->getNextEvent(other, &event, {0, 0}, 0));
    EXPECT_EQ(1, event.value);
    EXPECT_NE(0u, event.timestamp.lo | event.timestamp.hi);
    (*other)->Release(other);
    CFRunLoopRemoveSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    CFRelease(source);
}

TEST_F(HidQueueTest, BothSourcesServeADeviceThatIsOpenedAnewInItsHandler)
{
    struct Handler {
        IOHIDDeviceInterface122** device;
        int reports = 0;
    };
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
    Handler handler{reader.device};
    std::uint8_t buffer[4] = {};
    CFRunLoopSourceRef source = nullptr;
    (*reader.device)->createAsyncEventSource(reader.device, &source);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    (*reader.device)
        ->setInterruptReportHandlerCallback(
            reader.device, buffer, sizeof buffer,
            [](void* target, IOReturn, void*, void*, UInt32) {
                auto& self = *static_cast<Handler*>(target);
                if (++self.reports == 1) {
                    (*self.device)->close(self.device);
                    (*self.device)->open(self.device, 0);
                }
            },
            &handler, nullptr);
    send({1, 0, 0, 0});
    runDue();
    send({2, 0, 0, 0});
    runDue();
    EXPECT_EQ(2, handler.reports);
    EXPECT_NE(std::string::npos, reader.take().find("9=2 "));
    CFRunLoopRemoveSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    send({3, 0, 0, 0});
    runDue();
    EXPECT_EQ("|9=3 ", reader.take()) << "the queue's source does not need the other one";
    CFRelease(source);
}

TEST_F(HidQueueTest, AQueueServesNoInterruptHandlerWhoseSourceIsNotInTheRunLoop)
{
    const io_object_t entry = plug(fake::makeMouse());
    auto interrupts = std::make_unique<InterruptReader>(entry);
    IOHIDDeviceInterface122** interface = std::exchange(interrupts->device, nullptr);
    CFRunLoopRemoveSource(CFRunLoopGetCurrent(), interrupts->source, kCFRunLoopDefaultMode);
    CFRelease(std::exchange(interrupts->source, nullptr));
    interrupts.reset(); // with the report buffer; a call would write into freed memory
    IOHIDQueueInterface** queue = (*interface)->allocQueue(interface);
    (*queue)->create(queue, 0, 64);
    (*queue)->addElement(queue, kMouseReport, 0);
    (*queue)->start(queue);
    CFRunLoopSourceRef source = nullptr;
    (*queue)->createAsyncEventSource(queue, &source);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    send({1, 0, 0, 0});
    runDue();
    IOHIDEventStruct event{};
    EXPECT_EQ(kIOReturnSuccess, (*queue)->getNextEvent(queue, &event, {0, 0}, 0));
    CFRelease(source);
    (*queue)->Release(queue);
    (*interface)->Release(interface);
}

TEST_F(HidQueueTest, AnyNumberOfReportsIsToldThoughTheDepthIsSmaller)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport}, 4);
    device.wires[0]->fetchesInBatches = true;
    std::string expected;
    for (int number = 1; number <= 200; ++number) {
        send({static_cast<std::uint8_t>(number), 0, 0, 0});
        expected += "|9=" + std::to_string(number) + " ";
    }
    runDue();
    EXPECT_EQ(expected, reader.take());
}

TEST_F(HidQueueTest, AQueueGivenUpInItsOwnCalloutAnswersUntilTheCalloutReturns)
{
    for (const int what : {0, 1, 2}) {
        QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
        IOReturn after = kIOReturnSuccess;
        reader.onEvent = [&] {
            if (what == 0) {
                (*reader.device)->close(reader.device);
            } else if (what == 1) {
                reader.closeAll();
            } else {
                reader.stop();
            }
        };
        reader.onCallout = [&] {
            reader.drains = false;
            after = reader.drainEvents();
        };
        send({1, 0, 0, 0});
        send({2, 0, 0, 0});
        runDue();
        EXPECT_EQ("|9=1 ", reader.take()) << "case " << what;
        EXPECT_EQ(what == 0 ? kIOReturnNotOpen : kIOReturnNoDevice, after) << "case " << what;
        reader.stop();
        device.unplug();
    }
}

TEST_F(HidQueueTest, ADeviceDroppedWithoutCloseSilencesItsQueues)
{
    auto reader = std::make_unique<QueueReader>(plug(fake::makeMouse()), std::vector<IOHIDElementCookie>{kMouseReport});
    IOHIDDeviceInterface122** interface = std::exchange(reader->device, nullptr);
    IOHIDQueueInterface** queue = std::exchange(reader->queue, nullptr);
    CFRunLoopSourceRef source = std::exchange(reader->source, nullptr);
    send({1, 0, 0, 0});
    (*interface)->Release(interface);
    reader.reset(); // a callout would reach freed memory
    runDue();
    EXPECT_FALSE(CFRunLoopSourceIsValid(source));
    EXPECT_EQ(kIOReturnNoDevice, (*queue)->stop(queue));
    (*queue)->Release(queue);
    CFRelease(source);
}

TEST_F(HidQueueTest, AnUnpluggedDevicesQueuedReportsComeAndThenTheQueueIsNotAttached)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
    send({1, 0, 0, 0});
    device.unplug();
    runDue();
    EXPECT_EQ("|9=1 ", reader.take());
    EXPECT_EQ(kIOReturnNotAttached, reader.drainEvents());
    EXPECT_EQ(kIOReturnNotAttached, (*reader.queue)->stop(reader.queue));
    EXPECT_EQ(kIOReturnNotAttached, (*reader.queue)->dispose(reader.queue));
}

TEST_F(HidQueueTest, EventsLeftAtTheEndAreNotReadable)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
    reader.drains = false;
    send({1, 0, 0, 0});
    device.unplug();
    runDue();
    EXPECT_EQ(kIOReturnNotAttached, reader.drainEvents());
}

TEST_F(HidQueueTest, ACalloutLeftByAnExceptionIsCalledAgainForTheRest)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseButton1, kMouseX});
    bool isFirst = true;
    reader.onEvent = [&] {
        if (std::exchange(isFirst, false)) {
            throw std::runtime_error("from a callout");
        }
    };
    send({1, 5, 0, 0});
    EXPECT_THROW(runDue(), std::runtime_error);
    runDue();
    EXPECT_EQ("|3=1 |6=5 ", reader.take());
}

TEST_F(HidQueueTest, AQueueWorksAgainAfterCloseAndOpenWithoutAStart)
{
    QueueReader reader(plug(fake::makeMouse()), {kMouseReport});
    (*reader.device)->close(reader.device);
    send({1, 0, 0, 0});
    (*reader.device)->open(reader.device, 0);
    send({2, 0, 0, 0});
    runDue();
    EXPECT_EQ("|9=2 ", reader.take());
}
