#include "Observer.h"
#include "Reader.h"

#include <memory>
#include <stdexcept>

namespace {

class HidDeviceTest : public IOKitTest {
protected:
    void SetUp() override
    {
        IOKitTest::SetUp();
        mouse.plug();
    }
    void TearDown() override
    {
        mouse.unplug();
        IOKitTest::TearDown();
    }

    void send(const fake::Bytes& report) { mouse.wires[0]->send(report); }

    fake::Device mouse = fake::makeMouse();
};

} // namespace

TEST_F(HidDeviceTest, ThePlugInAndTheDeviceInterfaceAreOneObjectWithOneCount)
{
    IOCFPlugInInterface** plugIn = nullptr;
    SInt32 score = -1;
    ASSERT_EQ(KERN_SUCCESS, IOCreatePlugInInterfaceForService(driver(), kIOHIDDeviceUserClientTypeID,
                                                              kIOCFPlugInInterfaceID, &plugIn, &score));
    EXPECT_EQ(0, score);
    EXPECT_EQ(1, (*plugIn)->version);
    void* plain = nullptr;
    void* full = nullptr;
    void* unknown = plugIn;
    EXPECT_EQ(S_OK, (*plugIn)->QueryInterface(plugIn, CFUUIDGetUUIDBytes(kIOHIDDeviceInterfaceID), &plain));
    EXPECT_EQ(S_OK, (*plugIn)->QueryInterface(plugIn, CFUUIDGetUUIDBytes(kIOHIDDeviceInterfaceID122), &full));
    EXPECT_EQ(plain, full) << "the plain ID gives the full table";
    EXPECT_EQ(E_NOINTERFACE, (*plugIn)->QueryInterface(plugIn, CFUUIDGetUUIDBytes(kIOHIDQueueInterfaceID), &unknown));
    EXPECT_EQ(nullptr, unknown);
    EXPECT_EQ(4u, (*plugIn)->AddRef(plugIn));
    EXPECT_EQ(3u, (*plugIn)->Release(plugIn));
    EXPECT_EQ(kIOReturnNotOpen, IODestroyPlugInInterface(plugIn));
    auto** device = static_cast<IOHIDDeviceInterface122**>(plain);
    void* again = nullptr;
    EXPECT_EQ(S_OK, (*device)->QueryInterface(device, CFUUIDGetUUIDBytes(kIOHIDDeviceInterfaceID), &again));
    EXPECT_EQ(plain, again);
    EXPECT_EQ(2u, (*device)->Release(device));
    EXPECT_EQ(1u, (*device)->Release(device));
    EXPECT_EQ(0u, (*device)->Release(device));
}

TEST_F(HidDeviceTest, ThePlugInFitsTheDriverThatItWasMadeForAndNeedsNoStart)
{
    IOCFPlugInInterface** plugIn = nullptr;
    SInt32 score = -1;
    ASSERT_EQ(KERN_SUCCESS, IOCreatePlugInInterfaceForService(driver(), kIOHIDDeviceUserClientTypeID,
                                                              kIOCFPlugInInterfaceID, &plugIn, &score));
    SInt32 order = -1;
    EXPECT_EQ(kIOReturnSuccess, (*plugIn)->Probe(plugIn, nullptr, driver(), &order));
    EXPECT_EQ(0, order);
    EXPECT_EQ(kIOReturnSuccess, (*plugIn)->Probe(plugIn, nullptr, driver(), nullptr));
    EXPECT_EQ(kIOReturnSuccess, (*plugIn)->Start(plugIn, nullptr, driver()));
    IODestroyPlugInInterface(plugIn);
}

TEST_F(HidDeviceTest, OnlyAnActiveDriverHasAPlugIn)
{
    IOCFPlugInInterface** plugIn = nullptr;
    SInt32 score = 0;
    const auto devices = servicesOf("IOUSBDevice");
    EXPECT_EQ(kIOReturnUnsupported, IOCreatePlugInInterfaceForService(devices[0], kIOHIDDeviceUserClientTypeID,
                                                                      kIOCFPlugInInterfaceID, &plugIn, &score));
    EXPECT_EQ(kIOReturnUnsupported, IOCreatePlugInInterfaceForService(driver(), kIOHIDDeviceInterfaceID,
                                                                      kIOCFPlugInInterfaceID, &plugIn, &score));
    EXPECT_EQ(kIOReturnUnsupported, IOCreatePlugInInterfaceForService(0, kIOHIDDeviceUserClientTypeID,
                                                                      kIOCFPlugInInterfaceID, &plugIn, &score));
    EXPECT_EQ(kIOReturnNoResources, IOCreatePlugInInterfaceForService(driver(), kIOHIDDeviceUserClientTypeID,
                                                                      kIOHIDQueueInterfaceID, &plugIn, &score));
    const io_object_t ended = driver();
    mouse.unplug();
    EXPECT_EQ(kIOReturnNoResources, IOCreatePlugInInterfaceForService(ended, kIOHIDDeviceUserClientTypeID,
                                                                      kIOCFPlugInInterfaceID, &plugIn, &score));
    EXPECT_EQ(nullptr, plugIn);
    IOObjectRelease(devices[0]);
}

TEST_F(HidDeviceTest, MakingAndReleasingADeviceOpensNothing)
{
    IOHIDDeviceInterface122** device = openable(driver());
    CFRunLoopSourceRef source = nullptr;
    EXPECT_EQ(kIOReturnSuccess, (*device)->createAsyncEventSource(device, &source));
    CFRelease(source);
    EXPECT_EQ(0u, (*device)->Release(device));
    EXPECT_EQ("", fake::callLog().take().substr(sizeof "refresh\n" - 1));
}

TEST_F(HidDeviceTest, OpeningTwiceOpensOneChannelAndASecondCloseIsNotOpen)
{
    IOHIDDeviceInterface122** device = openable(driver());
    fake::callLog().take();
    EXPECT_EQ(kIOReturnNotOpen, (*device)->close(device));
    EXPECT_EQ(kIOReturnSuccess, (*device)->open(device, 0));
    EXPECT_EQ(kIOReturnSuccess, (*device)->open(device, 0));
    EXPECT_EQ(kIOReturnSuccess, (*device)->close(device));
    EXPECT_EQ(kIOReturnNotOpen, (*device)->close(device));
    EXPECT_EQ("open\nclose\n", fake::callLog().take());
    EXPECT_EQ(kIOReturnUnsupported, (*device)->open(device, kIOHIDOptionsTypeSeizeDevice));
    (*device)->Release(device);
}

TEST_F(HidDeviceTest, TheSourceIsOneAndEachCallGivesAReference)
{
    IOHIDDeviceInterface122** device = openable(driver());
    EXPECT_EQ(nullptr, (*device)->getAsyncEventSource(device));
    CFRunLoopSourceRef first = nullptr;
    CFRunLoopSourceRef second = nullptr;
    EXPECT_EQ(kIOReturnSuccess, (*device)->createAsyncEventSource(device, &first));
    EXPECT_EQ(kIOReturnSuccess, (*device)->createAsyncEventSource(device, &second));
    EXPECT_EQ(first, second);
    EXPECT_EQ(first, (*device)->getAsyncEventSource(device));
    EXPECT_EQ(3, CFGetRetainCount(first));
    (*device)->Release(device);
    EXPECT_FALSE(CFRunLoopSourceIsValid(first)) << "the last release ends the source";
    CFRelease(first);
    CFRelease(second);
}

TEST_F(HidDeviceTest, EveryReportReachesTheHandlerInOrder)
{
    InterruptReader reader(driver());
    send({1, 2, 3, 4});
    send({5, 6, 7, 8});
    runDue();
    EXPECT_EQ("01 02 03 04; 05 06 07 08; ", reader.take());
    EXPECT_EQ(reader.sender, reader.device);
}

TEST_F(HidDeviceTest, LongReportsAreCutToTheBufferAndShortOnesComeAsTheyAre)
{
    InterruptReader reader(driver(), 3);
    send({1, 2, 3, 4, 5});
    send({6});
    send({});
    runDue();
    EXPECT_EQ("01 02 03; 06; ; ", reader.take());
}

TEST_F(HidDeviceTest, TheSourceMayBeMadeBeforeTheDeviceIsOpened)
{
    IOHIDDeviceInterface122** device = openable(driver());
    CFRunLoopSourceRef source = nullptr;
    (*device)->createAsyncEventSource(device, &source);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    std::uint8_t buffer[4] = {};
    int calls = 0;
    (*device)->setInterruptReportHandlerCallback(
        device, buffer, sizeof buffer,
        [](void* target, IOReturn, void*, void*, UInt32) { ++*static_cast<int*>(target); }, &calls, nullptr);
    send({1});
    (*device)->open(device, 0);
    send({2});
    runDue();
    EXPECT_EQ(1, calls);
    EXPECT_EQ(2, buffer[0]);
    (*device)->Release(device);
    CFRelease(source);
}

TEST_F(HidDeviceTest, EveryOpenDeviceGetsEveryReport)
{
    InterruptReader first(driver());
    InterruptReader second(driver());
    send({1});
    runDue();
    second.stop();
    send({2});
    runDue();
    EXPECT_EQ("01; 02; ", first.take());
    EXPECT_EQ("01; ", second.take()) << "closing one never disturbs another";
}

TEST_F(HidDeviceTest, NothingIsDeliveredAfterCloseAndDeliveryResumesAfterOpen)
{
    InterruptReader reader(driver());
    send({1});
    (*reader.device)->close(reader.device);
    runDue();
    EXPECT_EQ("", reader.take());
    (*reader.device)->open(reader.device, 0);
    send({2});
    runDue();
    EXPECT_EQ("02; ", reader.take()) << "the handler stays";
}

TEST_F(HidDeviceTest, ManyReportsArriveInPassesThatLetOthersHaveTheirTurn)
{
    InterruptReader reader(driver());
    for (const bool inBatches : {false, true}) {
        mouse.wires[0]->fetchesInBatches = inBatches;
        reader.reports = 0;
        for (int sent = 0; sent < 200; ++sent) {
            send({static_cast<std::uint8_t>(sent)});
        }
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
        EXPECT_EQ(64, reader.reports) << "one pass, in batches: " << inBatches;
        runDue();
        EXPECT_EQ(200, reader.reports) << "in batches: " << inBatches;
    }
}

TEST_F(HidDeviceTest, AnExceptionLeavesTheRestForTheNextPass)
{
    InterruptReader reader(driver());
    mouse.wires[0]->fetchesInBatches = true;
    reader.onReport = [&] {
        if (reader.reports == 1) {
            throw std::runtime_error("from a handler");
        }
    };
    send({1});
    send({2});
    send({3});
    EXPECT_THROW(runDue(), std::runtime_error);
    runDue();
    EXPECT_EQ("01; 02; 03; ", reader.take());
}

namespace {

/// Reads a device whose channel fetches in batches and leaves it to its descriptor whether more have come, and is told
/// of the device's end.
class BatchesBeforeTheEnd : public HidDeviceTest {
protected:
    void SetUp() override
    {
        HidDeviceTest::SetUp();
        mouse.wires[0]->fetchesInBatches = true;
        mouse.wires[0]->trustsItsDescriptor = true;
        reader = std::make_unique<InterruptReader>(driver());
        observer = std::make_unique<Observer>();
        observer->take();
        observer->onEnd = [this] { toldAtTheEnd = reader->take(); };
    }
    void TearDown() override
    {
        observer.reset();
        reader.reset();
        keyboard.unplug();
        HidDeviceTest::TearDown();
    }
    /// The notification port has its turn before the device's source, which nothing waits for at first.
    void sendAndUnplug(const fake::Bytes& report)
    {
        runDue();
        keyboard.plug();
        send(report);
        mouse.unplug();
    }

    fake::Device keyboard = fake::makeKeyboard();
    std::unique_ptr<InterruptReader> reader;
    std::unique_ptr<Observer> observer;
    std::string toldAtTheEnd;
};

} // namespace

TEST_F(BatchesBeforeTheEnd, WhatComesAfterAnExceptionIsDeliveredBeforeIt)
{
    reader->onReport = [this] {
        if (reader->reports == 2) {
            throw std::runtime_error("from a handler");
        }
    };
    send({1});
    send({2});
    EXPECT_THROW(runDue(), std::runtime_error);
    sendAndUnplug({3});
    runDue();
    EXPECT_EQ("01; 02; 03; ", toldAtTheEnd);
}

TEST_F(BatchesBeforeTheEnd, WhatComesDuringANestedRunIsDeliveredBeforeIt)
{
    reader->onReport = [this] {
        if (reader->reports == 2) {
            sendAndUnplug({3});
            runDue();
        }
    };
    send({1});
    send({2});
    runDue();
    EXPECT_EQ("01; 02; 03; ", toldAtTheEnd);
}

TEST_F(HidDeviceTest, TheDescriptorOfAClosedDeviceMayServeTheNextOne)
{
    InterruptReader first(driver());
    InterruptReader second(driver());
    for (int round = 1; round <= 3; ++round) {
        // The sources stay in the run loop; the system gives the lowest descriptor that is free.
        (*first.device)->close(first.device);
        (*second.device)->close(second.device);
        (*second.device)->open(second.device, 0);
        (*first.device)->open(first.device, 0);
        send({static_cast<std::uint8_t>(round)});
        runDue();
    }
    first.stop();
    send({4});
    runDue();
    EXPECT_EQ("01; 02; 03; ", first.take());
    EXPECT_EQ("01; 02; 03; 04; ", second.take());
}

TEST_F(HidDeviceTest, WithoutABufferTheHandlerHearsOfReportsWithoutBytes)
{
    InterruptReader reader(driver());
    int size = -1;
    (*reader.device)
        ->setInterruptReportHandlerCallback(
            reader.device, nullptr, 64,
            [](void* target, IOReturn, void*, void*, UInt32 count) {
                *static_cast<int*>(target) = static_cast<int>(count);
            },
            &size, nullptr);
    send({1, 2});
    runDue();
    EXPECT_EQ(0, size);
}

TEST_F(HidDeviceTest, AHandlerMayCloseOpenAgainOrReleaseTheDevice)
{
    for (const int what : {0, 1, 2, 3}) {
        InterruptReader reader(driver());
        reader.onReport = [&] {
            if (reader.reports > 1) {
                return;
            }
            if (what == 0) {
                (*reader.device)->close(reader.device);
            } else if (what == 1) {
                reader.close();
                reader.open();
                send({9});
            } else if (what == 2) {
                reader.stop();
            } else {
                IOHIDDeviceInterface122** last = std::exchange(reader.device, nullptr);
                (*last)->Release(last); // open, with its source in the run loop
                CFRelease(std::exchange(reader.source, nullptr));
            }
        };
        send({1});
        send({2});
        runDue();
        EXPECT_EQ(what == 1 ? "01; 09; " : "01; ", reader.take()) << "case " << what;
    }
}

TEST_F(HidDeviceTest, AHandlerMayRunTheRunLoop)
{
    InterruptReader reader(driver());
    reader.onReport = [&] {
        if (reader.reports == 1) {
            runDue();
        }
    };
    send({1});
    send({2});
    runDue();
    EXPECT_EQ("01; 02; ", reader.take());
}

TEST_F(HidDeviceTest, TheLastReleaseSilencesASourceThatIsStillInTheRunLoop)
{
    auto reader = std::make_unique<InterruptReader>(driver());
    IOHIDDeviceInterface122** device = std::exchange(reader->device, nullptr);
    CFRunLoopSourceRef source = reader->source;
    send({1});
    EXPECT_EQ(0u, (*device)->Release(device));
    reader.reset(); // a callback would write into freed memory
    EXPECT_EQ(0, fake::openChannels());
    runDue();
    CFRelease(source);
}

TEST_F(HidDeviceTest, WhatWasQueuedComesBeforeTheEndAndThenTheSourceRests)
{
    InterruptReader reader(driver());
    int removals = 0;
    (*reader.device)
        ->setRemovalCallback(
            reader.device, [](void* target, IOReturn, void*, void*) { ++*static_cast<int*>(target); }, &removals,
            nullptr);
    send({1});
    send({2});
    mouse.unplug();
    runDue(); // fails if the end keeps the run loop busy
    EXPECT_EQ("01; 02; ", reader.take());
    EXPECT_EQ(1, removals);
    EXPECT_EQ(kIOReturnNotAttached, (*reader.device)->open(reader.device, 0));
    EXPECT_EQ(kIOReturnSuccess, (*reader.device)->close(reader.device));
    EXPECT_EQ(kIOReturnNotOpen, (*reader.device)->close(reader.device));
    EXPECT_EQ(kIOReturnNotAttached, (*reader.device)->open(reader.device, 0));
}

TEST_F(HidDeviceTest, AHandlerMayUnplugTheDevice)
{
    InterruptReader reader(driver());
    reader.onReport = [&] {
        if (reader.reports == 1) {
            mouse.unplug();
        }
    };
    send({1});
    send({2});
    runDue();
    EXPECT_EQ("01; 02; ", reader.take()) << "what was queued at the unplug still comes";
}

TEST_F(HidDeviceTest, TakingAReportMayCloseTheDevice)
{
    InterruptReader reader(driver());
    mouse.wires[0]->onTakeReport = [&] {
        if (reader.device != nullptr) {
            (*reader.device)->close(reader.device);
        }
    };
    send({1});
    runDue();
    EXPECT_EQ("", reader.take());
    mouse.wires[0]->onTakeReport = nullptr;
}

TEST_F(HidDeviceTest, WhatIsNotSupportedSaysSo)
{
    IOHIDDeviceInterface122** device = openable(driver());
    mach_port_t port = 0;
    IOHIDEventStruct event{};
    CFArrayRef elements = nullptr;
    EXPECT_EQ(kIOReturnUnsupported, (*device)->createAsyncPort(device, &port));
    EXPECT_EQ(MACH_PORT_NULL, (*device)->getAsyncPort(device));
    EXPECT_EQ(kIOReturnUnsupported, (*device)->setElementValue(device, 3, &event, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kIOReturnUnsupported, (*device)->queryElementValue(device, 3, &event, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kIOReturnUnsupported, (*device)->copyMatchingElements(device, nullptr, &elements));
    EXPECT_EQ(nullptr, (*device)->allocOutputTransaction(device));
    (*device)->Release(device);
}
