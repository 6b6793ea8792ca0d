#include "Observer.h"

#include <stdexcept>

namespace {

fake::Device device(std::uint16_t productID)
{
    return fake::makeDevice(0x1000, productID);
}

} // namespace

using NotificationTest = IOKitTest;

TEST_F(NotificationTest, WhatIsPresentIsListedAtInstallationInTheOrderOfArrival)
{
    auto a = device(0xa);
    auto b = device(0xb);
    a.plug();
    b.plug();
    Observer observer;
    EXPECT_EQ("+000a+000b", observer.take());
    runDue();
    EXPECT_EQ("", observer.take()) << "not told again";
    a.unplug();
    b.unplug();
    runDue();
    EXPECT_EQ("|-000a-000b", observer.take()) << "one callback for a burst";
}

TEST_F(NotificationTest, ABurstIsOneCallbackAndEachDrainArmsAgain)
{
    Observer observer;
    auto a = device(0xa);
    auto b = device(0xb);
    auto c = device(0xc);
    a.plug();
    b.plug();
    runDue();
    EXPECT_EQ("|+000a+000b", observer.take());
    c.plug();
    runDue();
    EXPECT_EQ("|+000c", observer.take());
    a.unplug();
    b.unplug();
    c.unplug();
}

TEST_F(NotificationTest, NoCallbackComesBeforeTheFirstDrainOrAfterAnIncompleteOne)
{
    Observer observer;
    observer.drains = false;
    auto a = device(0xa);
    auto b = device(0xb);
    a.plug();
    runDue();
    EXPECT_EQ("|", observer.take()) << "the callback came, and took nothing";
    b.plug();
    runDue();
    EXPECT_EQ("", observer.take()) << "not armed";
    EXPECT_EQ("1000:000a 1000:000b", drain(observer.arrivals));
    observer.drains = true;
    auto c = device(0xc);
    c.plug();
    runDue();
    EXPECT_EQ("|+000c", observer.take());
    a.unplug();
    b.unplug();
    c.unplug();
}

TEST_F(NotificationTest, ArrivalsAndEndsComeInTheOrderInWhichTheyHappened)
{
    auto a = device(0xa);
    a.plug();
    Observer observer;
    observer.take();
    auto b = device(0xb);
    auto c = device(0xc);
    b.plug();
    a.unplug();
    c.plug();
    runDue();
    EXPECT_EQ("|+000b|-000a|+000c", observer.take());
    b.unplug();
    c.unplug();
}

TEST_F(NotificationTest, ADeviceThatLeavesAndComesBackIsEndedBeforeItArrives)
{
    auto a = device(0xa);
    a.plug();
    Observer observer;
    observer.take();
    a.unplug();
    a.plug();
    runDue();
    EXPECT_EQ("|-000a|+000a", observer.take());
    a.unplug();
}

TEST_F(NotificationTest, AnArrivalThatNobodySawIsWithdrawnTogetherWithItsEnd)
{
    Observer observer;
    auto a = device(0xa);
    auto b = device(0xb);
    a.plug();
    b.plug();
    a.unplug();
    runDue();
    EXPECT_EQ("|+000b", observer.take());
    b.unplug();
    auto c = device(0xc);
    c.plug();
    c.unplug();
    runDue();
    EXPECT_EQ("|-000b", observer.take());
}

TEST_F(NotificationTest, TheEndOfADeviceThatWasFoundByEnumerationIsToldThoughItsArrivalWasNot)
{
    Observer observer;
    auto a = device(0xa);
    a.plug();
    const auto found = servicesOf("IOUSBDevice");
    a.unplug();
    runDue();
    EXPECT_EQ("|-000a", observer.take()) << "its holder would keep it for ever";
    IOObjectRelease(found[0]);
}

TEST_F(NotificationTest, ADevicePulledBeforeObservingIsListedAsEndedWhileSomebodyHoldsIt)
{
    auto a = device(0xa);
    auto b = device(0xb);
    a.plug();
    b.plug();
    const auto held = servicesOf("IOUSBDevice");
    IOObjectRelease(held[1]);
    a.unplug();
    b.unplug();
    Observer observer;
    EXPECT_EQ("-000a", observer.take()) << "nobody holds b any more";
    IOObjectRelease(held[0]);
}

TEST_F(NotificationTest, AnEndedDevicesHandleIsEqualToTheOneKeptSinceItsArrival)
{
    auto a = device(0xa);
    a.plug();
    const auto kept = servicesOf("IOUSBDevice");
    Observer observer;
    observer.drains = false;
    a.unplug();
    runDue();
    const io_object_t ended = IOIteratorNext(observer.ends);
    EXPECT_TRUE(IOObjectIsEqualTo(kept[0], ended));
    IOObjectRelease(ended);
    IOObjectRelease(kept[0]);
}

TEST_F(NotificationTest, AReleasedIteratorHasNoCallbackAnyMore)
{
    Observer observer;
    auto a = device(0xa);
    a.plug();
    IOObjectRelease(std::exchange(observer.arrivals, IO_OBJECT_NULL));
    runDue();
    EXPECT_EQ("", observer.take());
    a.unplug();
    runDue();
    EXPECT_EQ("|-000a", observer.take()) << "the other goes on";
}

TEST_F(NotificationTest, AnotherTypeIsUnsupportedAndConsumesTheDictionary)
{
    IONotificationPortRef port = IONotificationPortCreate(kIOMasterPortDefault);
    CFMutableDictionaryRef dictionary = IOServiceMatching("IOUSBDevice");
    CFRetain(dictionary);
    io_iterator_t iterator = 77;
    const auto callback = [](void*, io_iterator_t) {};
    EXPECT_EQ(kIOReturnUnsupported, IOServiceAddMatchingNotification(port, "IOServiceBusyStateChange", dictionary,
                                                                     callback, nullptr, &iterator));
    EXPECT_EQ(77u, iterator);
    EXPECT_EQ(1, CFGetRetainCount(dictionary));
    EXPECT_EQ(kIOReturnBadArgument, IOServiceAddMatchingNotification(nullptr, kIOFirstMatchNotification, dictionary,
                                                                     callback, nullptr, &iterator));
    IONotificationPortDestroy(port);
}

TEST_F(NotificationTest, OnlyWhatMatchesIsTold)
{
    Observer hid("IOHIDDevice");
    auto plain = device(0xa);
    auto mouse = fake::makeMouse();
    plain.plug();
    mouse.plug();
    runDue();
    EXPECT_NE(std::string::npos, hid.take().find("|+")) << "a HID driver arrives with its device";
    plain.unplug();
    mouse.unplug();
    runDue();
    EXPECT_EQ(0u, hid.take().find("|-"));
}

TEST_F(NotificationTest, AnIteratorOfAnObserverSurvivesAReset)
{
    Observer observer;
    auto a = device(0xa);
    a.plug();
    IOIteratorReset(observer.arrivals);
    EXPECT_TRUE(IOIteratorIsValid(observer.arrivals));
    runDue();
    EXPECT_EQ("|+000a", observer.take()) << "a reset does nothing here";
    a.unplug();
}

TEST_F(NotificationTest, PlugsAndUnplugsWithinACallbackComeInOrder)
{
    auto a = device(0xa);
    auto b = device(0xb);
    auto c = device(0xc);
    Observer observer;
    observer.onName = [&](const std::string& name) {
        if (name == "+000a") {
            b.plug();
            a.unplug();
            c.plug();
        }
    };
    a.plug();
    runDue();
    EXPECT_EQ("|+000a+000b|-000a|+000c", observer.take());
    b.unplug();
    c.unplug();
}

TEST_F(NotificationTest, AnEndDuringACallbackThatHasRunTheLoopWaitsForTheNextCallback)
{
    auto a = device(0xa);
    auto b = device(0xb);
    auto c = device(0xc);
    a.plug();
    b.plug();
    c.plug();
    Observer observer;
    observer.take();
    observer.onName = [&](const std::string& name) {
        if (name == "-000a") {
            // Read to its end, the iterator lets the inner run call back again.
            EXPECT_EQ(IO_OBJECT_NULL, IOIteratorNext(observer.ends));
            b.unplug();
            runDue();
            c.unplug();
        }
    };
    a.unplug();
    runDue();
    EXPECT_EQ("|-000a|-000b|-000c", observer.take()) << "what c has sent is delivered before its end";
}

TEST_F(NotificationTest, ArrivalsDuringACallbackThatRunsTheLoopAreToldOnceAndInOrder)
{
    auto a = device(0xa);
    auto b = device(0xb);
    auto c = device(0xc);
    Observer observer;
    observer.onName = [&](const std::string& name) {
        if (name == "+000a") {
            EXPECT_EQ(IO_OBJECT_NULL, IOIteratorNext(observer.arrivals));
            b.plug();
            runDue();
            c.plug();
        }
    };
    a.plug();
    runDue();
    EXPECT_EQ("|+000a|+000b+000c", observer.take());
    for (auto* each : {&a, &b, &c}) {
        each->unplug();
    }
}

TEST_F(NotificationTest, ACallbackMayGiveUpEverything)
{
    auto a = device(0xa);
    auto b = device(0xb);
    b.plug();
    for (const bool destroysPort : {false, true}) {
        Observer observer;
        observer.take();
        observer.onArrival = [&] {
            observer.drains = false;
            observer.stop();
            if (destroysPort) {
                IONotificationPortDestroy(observer.port);
            }
        };
        a.plug();
        b.unplug();
        runDue();
        EXPECT_EQ("|", observer.take()) << "the end of b has nobody to be told to";
        a.unplug();
        b.plug();
    }
    b.unplug();
}

TEST_F(NotificationTest, ACallbackMayObserveAnew)
{
    auto a = device(0xa);
    Observer observer;
    std::unique_ptr<Observer> second;
    observer.onArrival = [&] { second = std::make_unique<Observer>(); };
    a.plug();
    runDue();
    EXPECT_EQ("|+000a", observer.take());
    ASSERT_NE(nullptr, second);
    EXPECT_EQ("+000a", second->take());
    a.unplug();
    runDue();
    EXPECT_EQ("|-000a", observer.take());
    EXPECT_EQ("|-000a", second->take());
}

TEST_F(NotificationTest, AnExceptionLeavesThroughTheRunLoopAndNothingIsLost)
{
    auto a = device(0xa);
    a.plug();
    Observer observer;
    observer.take();
    auto b = device(0xb);
    bool isFirst = true;
    observer.onArrival = [&] {
        if (std::exchange(isFirst, false)) {
            drain(observer.arrivals);
            throw std::runtime_error("from a callback");
        }
    };
    b.plug();
    a.unplug();
    EXPECT_THROW(runDue(), std::runtime_error);
    runDue();
    EXPECT_EQ("||-000a", observer.take());
    b.unplug();
}
