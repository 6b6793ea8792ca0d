/// Several iterators at one port, several events at a time, and devices that ended before anybody observed.

#include "Observer.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

/// Several iterators at one port; what they are told is written down in one order, with the iterator's letter.
class SharedPort {
public:
    SharedPort() : _port(IONotificationPortCreate(kIOMasterPortDefault))
    {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), IONotificationPortGetRunLoopSource(_port), kCFRunLoopDefaultMode);
    }
    SharedPort(const SharedPort&) = delete;
    SharedPort& operator=(const SharedPort&) = delete;
    ~SharedPort()
    {
        for (const auto& iterator : _iterators) {
            IOObjectRelease(iterator->handle);
        }
        IONotificationPortDestroy(_port);
    }

    void observe(const char* type, const char* name, const char* className = "IOUSBDevice")
    {
        auto& iterator = *_iterators.emplace_back(std::make_unique<Iterator>(Iterator{*this, name, IO_OBJECT_NULL}));
        EXPECT_EQ(KERN_SUCCESS, IOServiceAddMatchingNotification(_port, type, IOServiceMatching(className), called,
                                                                 &iterator, &iterator.handle));
        iterator.drain();
    }
    void give(const char* name)
    {
        const auto place = std::find_if(_iterators.begin(), _iterators.end(),
                                        [&](const auto& iterator) { return iterator->name == name; });
        IOObjectRelease((*place)->handle);
        _iterators.erase(place);
    }
    std::string take() { return std::exchange(_text, {}); }

private:
    struct Iterator {
        SharedPort& owner;
        std::string name;
        io_iterator_t handle;

        void drain() const
        {
            while (const io_object_t device = IOIteratorNext(handle)) {
                owner._text += " " + name + nameOf(device).substr(5);
                IOObjectRelease(device);
            }
        }
    };

    static void called(void* refcon, io_iterator_t iterator)
    {
        const auto& self = *static_cast<Iterator*>(refcon);
        EXPECT_EQ(self.handle, iterator);
        self.owner._text += "|";
        self.drain();
    }

    IONotificationPortRef _port;
    std::vector<std::unique_ptr<Iterator>> _iterators;
    std::string _text;
};

fake::Device device(std::uint16_t productID)
{
    return fake::makeDevice(0x1000, productID);
}

} // namespace

using ObserversTogether = IOKitTest;

TEST_F(ObserversTogether, EventsOfOneTimeComeInTheOrderOfInstallationAndLaterOnesAfterThem)
{
    SharedPort port;
    port.observe(kIOFirstMatchNotification, "x");
    port.observe(kIOFirstMatchNotification, "y");
    auto a = device(0xa);
    auto b = device(0xb);
    a.plug();
    b.plug();
    runDue();
    EXPECT_EQ("| x000a| y000a y000b| x000b", port.take());
    a.unplug();
    b.unplug();
    runDue();
    EXPECT_EQ("", port.take());
}

TEST_F(ObserversTogether, EventsOfTwoKindsComeByTheirTimeWhicheverIteratorWasFirst)
{
    SharedPort port;
    port.observe(kIOTerminatedNotification, "-");
    port.observe(kIOFirstMatchNotification, "+");
    auto a = device(0xa);
    auto b = device(0xb);
    a.plug();
    runDue();
    b.plug();
    a.unplug();
    runDue();
    EXPECT_EQ("| +000a| +000b| -000a", port.take());
    b.unplug();
}

TEST_F(ObserversTogether, AnIteratorThatIsGivenUpLeavesTheOthersTheirEvents)
{
    SharedPort port;
    port.observe(kIOFirstMatchNotification, "x");
    port.observe(kIOFirstMatchNotification, "y");
    port.observe(kIOFirstMatchNotification, "z");
    auto a = device(0xa);
    a.plug();
    port.give("y");
    runDue();
    EXPECT_EQ("| x000a| z000a", port.take());
    a.unplug();
}

TEST_F(ObserversTogether, AnEndIsToldToBothThoughOneHasNotSeenTheArrival)
{
    auto a = device(0xa);
    SharedPort first;
    first.observe(kIOFirstMatchNotification, "+");
    first.observe(kIOTerminatedNotification, "-");
    a.plug();
    runDue();
    SharedPort second;
    second.observe(kIOTerminatedNotification, "-");
    first.take();
    a.unplug();
    runDue();
    EXPECT_EQ("| -000a", first.take());
    EXPECT_EQ("| -000a", second.take());
}

TEST_F(ObserversTogether, AnArrivalThatOnlyOneOfTwoIteratorsSawIsFollowedByItsEnd)
{
    SharedPort port;
    port.observe(kIOFirstMatchNotification, "h", "IOHIDDevice");
    port.observe(kIOFirstMatchNotification, "u");
    port.observe(kIOTerminatedNotification, "-");
    auto a = device(0xa);
    auto b = device(0xb);
    a.plug();
    runDue();
    b.plug();
    a.unplug();
    b.unplug();
    runDue();
    EXPECT_EQ("| u000a| -000a", port.take()) << "nobody saw b";
}

TEST_F(ObserversTogether, DevicesThatEndedBeforeObservationAreListedInTheOrderOfTheirEnds)
{
    std::vector<fake::Device> devices;
    for (std::uint16_t number = 1; number <= 4; ++number) {
        devices.push_back(device(number));
        devices.back().plug();
    }
    const auto held = servicesOf("IOUSBDevice");
    for (const std::size_t index : {2u, 0u, 3u, 1u}) {
        devices[index].unplug();
    }
    Observer observer;
    EXPECT_EQ("-0003-0001-0004-0002", observer.take());
    std::for_each(held.begin(), held.end(), IOObjectRelease);
}

TEST_F(ObserversTogether, OnlyEndedDevicesThatMatchAreListed)
{
    auto plain = device(0xa);
    auto mouse = fake::makeMouse();
    auto present = device(0xb);
    plain.plug();
    mouse.plug();
    present.plug();
    const auto held = servicesOf("IOUSBDevice");
    const auto drivers = servicesOf("IOHIDDevice");
    plain.unplug();
    mouse.unplug();
    {
        Observer devices;
        EXPECT_EQ("+000b-000a-c077", devices.take());
    }
    Observer hid("IOHIDDevice");
    EXPECT_EQ(1, std::ranges::count(hid.take(), '-')) << "the mouse's driver";
    std::for_each(held.begin(), held.end(), IOObjectRelease);
    std::for_each(drivers.begin(), drivers.end(), IOObjectRelease);
    present.unplug();
}

TEST_F(ObserversTogether, APortWhoseSourceHasEndedGivesIteratorsWithoutDevices)
{
    auto a = device(0xa);
    a.plug();
    Observer observer;
    observer.stop();
    io_iterator_t late = IO_OBJECT_NULL;
    EXPECT_EQ(KERN_SUCCESS, IOServiceAddMatchingNotification(
                                observer.port, kIOFirstMatchNotification, IOServiceMatching("IOUSBDevice"),
                                [](void*, io_iterator_t) {}, nullptr, &late));
    EXPECT_NE(IO_OBJECT_NULL, late);
    EXPECT_EQ(IO_OBJECT_NULL, IOIteratorNext(late));
    EXPECT_FALSE(fake::provider().isWatching());
    IOObjectRelease(late);
    IONotificationPortDestroy(observer.port);
    a.unplug();
}

TEST_F(ObserversTogether, AnObserverThatComesAgainIsToldAgain)
{
    auto a = device(0xa);
    a.plug();
    for (int life = 0; life < 2; ++life) {
        Observer observer;
        EXPECT_EQ("+000a", observer.take());
        auto b = device(0xb);
        b.plug();
        runDue();
        EXPECT_EQ("|+000b", observer.take());
        b.unplug();
        runDue();
        EXPECT_EQ("|-000b", observer.take());
    }
    a.unplug();
}
