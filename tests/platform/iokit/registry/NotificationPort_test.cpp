#include "DescriptorLimit.h"
#include "FaultyCalls.h"
#include "Observer.h"

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>

using NotificationPortTest = IOKitTest;

TEST_F(NotificationPortTest, TheSourceIsMadeOnceAndBorrowed)
{
    IONotificationPortRef port = IONotificationPortCreate(kIOMasterPortDefault);
    CFRunLoopSourceRef source = IONotificationPortGetRunLoopSource(port);
    EXPECT_EQ(source, IONotificationPortGetRunLoopSource(port));
    EXPECT_EQ(1, CFGetRetainCount(source));
    IONotificationPortDestroy(port);
}

TEST_F(NotificationPortTest, APortMayBeDestroyedWithItsSourceStillInTheRunLoop)
{
    IONotificationPortRef port = IONotificationPortCreate(kIOMasterPortDefault);
    CFRunLoopSourceRef source = IONotificationPortGetRunLoopSource(port);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    IONotificationPortDestroy(port);
    IONotificationPortDestroy(port); // unknown by now
    EXPECT_EQ(nullptr, IONotificationPortGetRunLoopSource(port));
    runDue();
}

TEST_F(NotificationPortTest, ADestroyedPortEndsItsSourceAndGivesItsReferenceBack)
{
    IONotificationPortRef port = IONotificationPortCreate(kIOMasterPortDefault);
    CFRunLoopSourceRef source = IONotificationPortGetRunLoopSource(port);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    CFRetain(source);
    IONotificationPortDestroy(port);
    EXPECT_FALSE(CFRunLoopSourceIsValid(source));
    EXPECT_FALSE(CFRunLoopContainsSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode));
    EXPECT_EQ(1, CFGetRetainCount(source));
    EXPECT_EQ(nullptr, IONotificationPortGetRunLoopSource(port)) << "unknown by now, though its source is still held";
    CFRelease(source);
}

TEST_F(NotificationPortTest, APortSurvivesTheSourceThatItsUserReleased)
{
    fake::Device mouse = fake::makeMouse();
    Observer observer;
    const io_iterator_t iterator = observer.arrivals;
    IOObjectRetain(iterator);
    observer.stop();
    mouse.plug();
    EXPECT_EQ(IO_OBJECT_NULL, IOIteratorNext(iterator)) << "events for a port without a source are dropped";
    IOObjectRelease(iterator);
    EXPECT_EQ(nullptr, IONotificationPortGetRunLoopSource(observer.port));
    mouse.unplug();
    IONotificationPortDestroy(observer.port);
}

TEST_F(NotificationPortTest, ASourceThatOnlyTheRunLoopHoldsStillDelivers)
{
    fake::Device mouse = fake::makeMouse();
    Observer observer;
    CFRelease(observer.source);
    mouse.plug();
    runDue();
    EXPECT_EQ("|+c077", observer.take());
    CFRunLoopSourceInvalidate(std::exchange(observer.source, nullptr));
    mouse.unplug();
    runDue();
    EXPECT_EQ("", observer.take());
    IONotificationPortDestroy(observer.port);
}

TEST_F(NotificationPortTest, ProvidersWatchWhileAnybodyObserves)
{
    {
        Observer first;
        EXPECT_EQ("startWatching\nrefresh\nrefresh\n", fake::callLog().take());
        Observer second;
        EXPECT_EQ("refresh\nrefresh\n", fake::callLog().take());
        first.stop();
        EXPECT_EQ("", fake::callLog().take());
    }
    EXPECT_EQ("stopWatching\n", fake::callLog().take());
}

TEST_F(NotificationPortTest, AProvidersEventsReachEveryPort)
{
    fake::Device mouse = fake::makeMouse();
    Observer first;
    Observer second;
    fake::provider().queue([&] { mouse.plug(); });
    runDue();
    EXPECT_EQ("|+c077", first.take());
    EXPECT_EQ("|+c077", second.take());
    fake::provider().queue([&] { mouse.unplug(); });
    first.stop();
    runDue();
    EXPECT_EQ("", first.take());
    EXPECT_EQ("|-c077", second.take());
}

TEST_F(NotificationPortTest, WhatCameBeforeTheWatchingIsNotMissed)
{
    fake::Device mouse = fake::makeMouse();
    fake::provider().queue([&] { mouse.plug(); });
    Observer observer;
    EXPECT_EQ("+c077", observer.take());
    mouse.unplug();
}

TEST_F(NotificationPortTest, DisabledProvidersDoNotWatch)
{
    fake::Device mouse = fake::makeMouse();
    Observer observer;
    fake::callLog().take();
    qrx::platform::setProvidersEnabled(false);
    EXPECT_EQ("stopWatching\n", fake::callLog().take());
    fake::provider().queue([&] { mouse.plug(); });
    runDue();
    EXPECT_EQ("", observer.take());
    qrx::platform::setProvidersEnabled(true);
    EXPECT_EQ("startWatching\nrefresh\n", fake::callLog().take());
    runDue();
    EXPECT_EQ("|+c077", observer.take());
    qrx::platform::setProvidersEnabled(false);
    Observer without;
    EXPECT_EQ("+c077", without.take()) << "what is published stays";
    qrx::platform::setProvidersEnabled(true);
    mouse.unplug();
}

TEST_F(NotificationPortTest, APortWithoutWatchingStillSeesDevicesThatPublishThemselves)
{
    fake::faults().failCall(1, false); // startWatching
    Observer observer;
    fake::faults().failCall(0, false);
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    runDue();
    EXPECT_EQ("|+c077", observer.take());
    mouse.unplug();
}

TEST_F(NotificationPortTest, AProviderThatCannotWatchIsAskedAgainUntilItCan)
{
    fake::provider().canWatch = false;
    Observer first;
    Observer second;
    fake::Device mouse = fake::makeMouse();
    fake::provider().queue([&] { mouse.plug(); });
    fake::callLog().take();
    ASSERT_TRUE(runUntil([] { return fake::callLog().take().find("startWatching") != std::string::npos; }));
    EXPECT_FALSE(fake::provider().isWatching());
    fake::provider().canWatch = true;
    ASSERT_TRUE(runUntil([] { return fake::provider().isWatching(); }));
    runDue();
    EXPECT_EQ("|+c077", first.take());
    EXPECT_EQ("|+c077", second.take());
    mouse.unplug();
}

/// A kernel whose epoll sets have no room for the descriptors of providers.
class FullSets : public qrx::platform::test::FaultyCalls {
public:
    FullSets() : _earlier(replaceOfProcess(this)) {}
    ~FullSets() override { replaceOfProcess(_earlier); }

    int epollAdd(int epollFd, int fd, epoll_event& interest) override
    {
        if (areFull && fake::provider().isWatching()) {
            errno = ENOSPC;
            return -1;
        }
        return FaultyCalls::epollAdd(epollFd, fd, interest);
    }

    bool areFull = true;

private:
    SystemCalls* const _earlier;
};

TEST_F(NotificationPortTest, AProviderForWhichThereWasNoRoomIsHeardOnceThereIs)
{
    using std::chrono::milliseconds;
    FullSets calls;
    Observer observer;
    fake::Device mouse = fake::makeMouse();
    fake::provider().queue([&] { mouse.plug(); });
    runDue();
    EXPECT_EQ("", observer.take());
    calls.areFull = false;
    calls.advance(milliseconds(1000));
    runDue();
    EXPECT_EQ("|+c077", observer.take()) << "looked at with the retry";
    fake::provider().queue([&] { mouse.unplug(); });
    runDue();
    EXPECT_EQ("|-c077", observer.take()) << "heard by its descriptor";
    observer.stop();
    IONotificationPortDestroy(observer.port);
}

TEST_F(NotificationPortTest, AnEnumerationIsAnotherTryForAProviderThatCouldNotWatch)
{
    fake::provider().canWatch = false;
    const Observer observer;
    fake::provider().canWatch = true;
    for (const io_object_t service : servicesOf("IOService")) {
        IOObjectRelease(service);
    }
    EXPECT_TRUE(fake::provider().isWatching());
}

TEST_F(NotificationPortTest, NobodyIsAskedAgainOnceNobodyObserves)
{
    fake::provider().canWatch = false;
    Observer staying("IOService");
    {
        const Observer leaving;
    }
    staying.stop();
    fake::callLog().take();
    fake::provider().canWatch = true;
    for (const io_object_t service : servicesOf("IOService")) {
        IOObjectRelease(service);
    }
    EXPECT_EQ("refresh\n", fake::callLog().take());
}

TEST_F(NotificationPortTest, WithoutADescriptorThereIsNoPortUntilThereIsOneAgain)
{
    IONotificationPortDestroy(IONotificationPortCreate(kIOMasterPortDefault)); // see DescriptorLimit
    for (const std::size_t free : {0u, 1u, 2u}) {
        const DescriptorLimit limit(free);
        EXPECT_THROW(IONotificationPortCreate(kIOMasterPortDefault), std::system_error) << free;
    }
    IONotificationPortRef port = IONotificationPortCreate(kIOMasterPortDefault);
    EXPECT_NE(nullptr, IONotificationPortGetRunLoopSource(port));
    IONotificationPortDestroy(port);
}

TEST_F(NotificationPortTest, AFailedObservationLeavesNothingBehind)
{
    IONotificationPortRef port = IONotificationPortCreate(kIOMasterPortDefault);
    io_iterator_t iterator = 77;
    fake::faults().failCall(1, true);
    EXPECT_THROW(IOServiceAddMatchingNotification(
                     port, kIOFirstMatchNotification, IOServiceMatching("IOUSBDevice"), [](void*, io_iterator_t) {},
                     nullptr, &iterator),
                 std::runtime_error);
    EXPECT_EQ(77u, iterator);
    fake::faults().failCall(0, false);
    IONotificationPortDestroy(port);
}
