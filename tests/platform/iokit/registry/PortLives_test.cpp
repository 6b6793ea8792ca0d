/// What a port owes after an interruption: an exception, a pause of the watching, an end of the observation.

#include "Observer.h"
#include "Reader.h"

#include <cstdlib>
#include <new>
#include <stdexcept>

namespace {

/// Longer than the second between two tries to watch what could not be watched.
constexpr double kMoreThanOnePeriod = 1.3;

class PortLives : public IOKitTest {
protected:
    void TearDown() override
    {
        fake::provider().canWatch = true;
        qrx::platform::setProvidersEnabled(true);
        IOKitTest::TearDown();
    }

    /// Whether a port wakes the run loop.
    static bool isWoken(double seconds)
    {
        return CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, true) == kCFRunLoopRunHandledSource;
    }
};

} // namespace

TEST_F(PortLives, AnArrivalIsNotHandedOutBeforeTheEndsThatCameBeforeIt)
{
    fake::Device mouse = fake::makeMouse();
    fake::Device keyboard = fake::makeKeyboard();
    fake::Device vendor = fake::makeVendorDevice();
    mouse.plug();
    vendor.plug();
    Observer observer;
    EXPECT_EQ("+c077+0001", observer.take());
    mouse.unplug();
    keyboard.plug();
    vendor.unplug();
    EXPECT_EQ(IO_OBJECT_NULL, IOIteratorNext(observer.arrivals)) << "the mouse left first";
    runDue();
    EXPECT_EQ("|-c077|+1503|-0001", observer.take());
    keyboard.unplug();
}

TEST_F(PortLives, APortThatHasDeliveredReleasesTheSourceThatItsUserEnded)
{
    fake::Device mouse = fake::makeMouse();
    Observer observer;
    mouse.plug();
    runDue();
    EXPECT_EQ("|+c077", observer.take());
    CFRunLoopSourceInvalidate(std::exchange(observer.source, nullptr));
    IONotificationPortDestroy(observer.port); // what is not released shows at the test's end
    mouse.unplug();
}

TEST_F(PortLives, AfterACallbackThatThrewTheOthersAreStillCalled)
{
    fake::Device mouse = fake::makeMouse();
    fake::Device keyboard = fake::makeKeyboard();
    mouse.plug();
    Observer observer;
    observer.take();
    observer.onEnd = [] { throw std::runtime_error("callback"); };
    mouse.unplug();
    keyboard.plug();
    EXPECT_THROW(runDue(), std::runtime_error);
    EXPECT_EQ("|", observer.take());
    runDue();
    EXPECT_EQ("|+1503", observer.take());
    EXPECT_EQ("c077", drain(observer.ends).substr(5)) << "what the callback did not take is still there";
    keyboard.unplug();
    observer.onEnd = nullptr;
    runDue();
    EXPECT_EQ("|-1503", observer.take());
}

TEST_F(PortLives, ACallbackWithoutMemoryIsCalledAgainThoughItTookNothing)
{
    fake::Device mouse = fake::makeMouse();
    Observer observer;
    observer.onArrival = [&observer] {
        observer.onArrival = nullptr;
        throw std::bad_alloc();
    };
    mouse.plug();
    EXPECT_THROW(runDue(), std::bad_alloc);
    EXPECT_EQ("|", observer.take());
    runDue();
    EXPECT_EQ("|+c077", observer.take());
    mouse.unplug();
}

TEST_F(PortLives, AnEndDuringACallbackLeavesTheEarlierOneToIt)
{
    fake::Device mouse = fake::makeMouse();
    fake::Device keyboard = fake::makeKeyboard();
    mouse.plug();
    keyboard.plug();
    Observer observer;
    observer.take();
    observer.onEnd = [&] {
        observer.onEnd = nullptr;
        keyboard.unplug();
    };
    mouse.unplug();
    runDue();
    EXPECT_EQ("|-c077|-1503", observer.take());
}

TEST_F(PortLives, AnEndDeliversTheRestOfItsOwnDeviceOnly)
{
    fake::Device mouse = fake::makeMouse();
    fake::Device keyboard = fake::makeKeyboard();
    mouse.plug();
    keyboard.plug();
    const auto drivers = servicesOf("IOHIDDevice");
    ASSERT_EQ(2u, drivers.size());
    InterruptReader ofMouse(drivers[0]);
    InterruptReader ofKeyboard(drivers[1]);
    Observer observer;
    observer.take();
    std::string before;
    observer.onEnd = [&] { before = ofMouse.take() + "/" + ofKeyboard.take(); };
    // Each time another one of the waiting sources may be served first.
    mouse.wires[0]->send({1, 2, 3, 4});
    mouse.unplug();
    CFRunLoopRemoveSource(CFRunLoopGetCurrent(), ofMouse.source, kCFRunLoopDefaultMode);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), ofMouse.source, kCFRunLoopDefaultMode);
    keyboard.wires[0]->onTakeReport = [&] {
        EXPECT_EQ("|-c077", observer.take()) << "the keyboard's turn is after the end";
        keyboard.wires[0]->onTakeReport = nullptr;
    };
    keyboard.wires[0]->send({0, 0, 4, 0, 0, 0, 0, 0});
    runDue();
    EXPECT_EQ("01 02 03 04; /", before);
    EXPECT_EQ("00 00 04 00 00 00 00 00; ", ofKeyboard.take());
    for (const io_object_t entry : drivers) {
        IOObjectRelease(entry);
    }
    keyboard.unplug();
}

TEST_F(PortLives, EachFirstObserverStartsTheWatchingAnew)
{
    for (int round = 0; round < 3; ++round) {
        {
            const Observer observer;
            EXPECT_EQ("startWatching\nrefresh\nrefresh\n", fake::callLog().take()) << round;
        }
        EXPECT_EQ("stopWatching\n", fake::callLog().take()) << round;
    }
}

TEST_F(PortLives, WatchingThatFailedAltogetherIsStartedByTheNextObserver)
{
    fake::faults().failCall(1, true);
    EXPECT_THROW(Observer(), std::runtime_error);
    fake::faults().failCall(0, false);
    EXPECT_FALSE(fake::provider().isWatching());
    const Observer observer;
    EXPECT_TRUE(fake::provider().isWatching());
}

TEST_F(PortLives, ProvidersThatAreEnabledAgainWakeTheObservers)
{
    fake::Device mouse = fake::makeMouse();
    Observer observer;
    qrx::platform::setProvidersEnabled(false);
    qrx::platform::setProvidersEnabled(false);
    qrx::platform::setProvidersEnabled(true);
    EXPECT_FALSE(isWoken(0));
    fake::provider().queue([&] { mouse.plug(); });
    EXPECT_TRUE(isWoken(0));
    EXPECT_EQ("|+c077", observer.take());
    mouse.unplug();
}

TEST_F(PortLives, APortThatObservesNothingAnyMoreIsNotWokenForAnotherTry)
{
    fake::provider().canWatch = false;
    const Observer staying;
    Observer leaving;
    IOObjectRelease(std::exchange(leaving.arrivals, IO_OBJECT_NULL));
    IOObjectRelease(std::exchange(leaving.ends, IO_OBJECT_NULL));
    CFRunLoopRemoveSource(CFRunLoopGetCurrent(), staying.source, kCFRunLoopDefaultMode);
    EXPECT_FALSE(isWoken(kMoreThanOnePeriod));
}

TEST_F(PortLives, WhileProvidersAreDisabledNobodyIsWokenForAnotherTry)
{
    fake::provider().canWatch = false;
    const Observer observer;
    qrx::platform::setProvidersEnabled(false);
    EXPECT_FALSE(isWoken(kMoreThanOnePeriod));
}

TEST_F(PortLives, OnceEverythingIsWatchedNobodyIsWokenForAnotherTry)
{
    fake::provider().canWatch = false;
    const Observer observer;
    fake::provider().canWatch = true;
    for (const io_object_t service : servicesOf("IOService")) {
        IOObjectRelease(service);
    }
    EXPECT_FALSE(isWoken(kMoreThanOnePeriod));
}

TEST(ProvidersDeathTest, AreMadeByAnObservationThatIsTheFirstCall)
{
    // In a process of its own, in which nothing was enumerated.
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto observe = [] {
        const Observer observer;
        std::_Exit(fake::provider().isWatching() ? 0 : 1);
    };
    EXPECT_EXIT(observe(), testing::ExitedWithCode(0), "");
}
