/// Requests with arguments at their limits, values of selectors, and what the children of a driver tell.

#include "Reader.h"

#include "Provider/Provider.h"

#include <chrono>
#include <cstdint>

namespace {

using qrx::platform::Status;

/// The keyboard's selector of usage 0; those of the following usages come after it.
constexpr IOHIDElementCookie kFirstSelector = 17;

class RequestLimits : public IOKitTest {
protected:
    void SetUp() override
    {
        IOKitTest::SetUp();
        keyboard.plug();
        entry = driver();
    }
    void TearDown() override
    {
        keyboard.unplug();
        IOKitTest::TearDown();
    }

    static int valueOf(IOHIDDeviceInterface122** interface, IOHIDElementCookie cookie)
    {
        IOHIDEventStruct event{};
        EXPECT_EQ(kIOReturnSuccess, (*interface)->getElementValue(interface, cookie, &event));
        return event.value;
    }

    fake::Device keyboard = fake::makeKeyboard();
    io_object_t entry = IO_OBJECT_NULL;
};

TEST_F(RequestLimits, AReportOfATypeThatDoesNotExistCannotBeFetched)
{
    InterruptReader reader(entry);
    std::uint8_t bytes[8] = {};
    UInt32 size = sizeof bytes;
    const auto get = [&](std::uint32_t type) {
        return (*reader.device)
            ->getReport(reader.device, static_cast<IOHIDReportType>(type), 0, bytes, &size, 0, nullptr, nullptr,
                        nullptr);
    };
    keyboard.wires[0]->answer = {1};
    EXPECT_EQ(kIOReturnSuccess, get(kIOHIDReportTypeCount - 1));
    EXPECT_EQ(kIOReturnBadArgument, get(kIOHIDReportTypeCount));
}

TEST_F(RequestLimits, ASelectorsValueIsWhetherItsKeyIsInTheLastReport)
{
    InterruptReader reader(entry);
    keyboard.wires[0]->answer = {0, 0, 0, 4, 0, 0, 0, 0};
    EXPECT_EQ(1, valueOf(reader.device, kFirstSelector + 4));
    EXPECT_EQ(0, valueOf(reader.device, kFirstSelector + 5));
    keyboard.wires[0]->send({0, 0, 5, 0, 0, 0, 0, 0});
    runDue();
    EXPECT_EQ(0, valueOf(reader.device, kFirstSelector + 4));
    EXPECT_EQ(1, valueOf(reader.device, kFirstSelector + 5));
}

TEST_F(RequestLimits, ValuesOfADeviceThatDoesNotAnswerAreZero)
{
    InterruptReader reader(entry);
    keyboard.wires[0]->requestResult = Status::timeout;
    EXPECT_EQ(0, valueOf(reader.device, kFirstSelector + 4));
    EXPECT_EQ(0, valueOf(reader.device, 2));
}

TEST_F(RequestLimits, AQueueTakesTheLastElementAndNoneBehindIt)
{
    InterruptReader reader(entry);
    IOHIDQueueInterface** queue = (*reader.device)->allocQueue(reader.device);
    (*queue)->create(queue, 0, 8);
    constexpr IOHIDElementCookie kLast = 124;
    EXPECT_EQ(kIOReturnSuccess, (*queue)->addElement(queue, kLast, 0));
    EXPECT_EQ(kIOReturnBadArgument, (*queue)->addElement(queue, kLast + 1, 0));
    void* face = &face;
    EXPECT_EQ(E_NOINTERFACE, (*queue)->QueryInterface(queue, CFUUIDGetUUIDBytes(kIOCFPlugInInterfaceID), &face));
    EXPECT_EQ(nullptr, face);
    (*queue)->Release(queue);
}

TEST_F(RequestLimits, AnEventHasTheTypeOfItsElementAndTheTimeOfItsReport)
{
    const auto now = [] {
        return static_cast<std::uint64_t>(
            std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
    };
    QueueReader reader(entry, {kFirstSelector + 4});
    reader.drains = false;
    const std::uint64_t before = now();
    keyboard.wires[0]->send({0, 0, 4, 0, 0, 0, 0, 0});
    runDue();
    IOHIDEventStruct event{};
    event.type = kIOHIDElementTypeFeature;
    EXPECT_EQ(kIOReturnSuccess, (*reader.queue)->getNextEvent(reader.queue, &event, {0, 0}, 0));
    EXPECT_EQ(kIOHIDElementTypeInput_Button, event.type);
    const std::uint64_t time = std::uint64_t{event.timestamp.hi} << 32 | event.timestamp.lo;
    EXPECT_LE(before, time);
    EXPECT_GE(now(), time);
}

TEST_F(RequestLimits, APlugInIsNotMadeWithoutAPlaceForEachAnswer)
{
    IOCFPlugInInterface** plugIn = nullptr;
    SInt32 score = 0;
    const auto type = kIOHIDDeviceUserClientTypeID;
    const auto face = kIOCFPlugInInterfaceID;
    EXPECT_EQ(kIOReturnBadArgument, IOCreatePlugInInterfaceForService(entry, nullptr, face, &plugIn, &score));
    EXPECT_EQ(kIOReturnBadArgument, IOCreatePlugInInterfaceForService(entry, type, nullptr, &plugIn, &score));
    EXPECT_EQ(kIOReturnBadArgument, IOCreatePlugInInterfaceForService(entry, type, face, nullptr, &score));
    EXPECT_EQ(kIOReturnBadArgument, IOCreatePlugInInterfaceForService(entry, type, face, &plugIn, nullptr));
    EXPECT_EQ(nullptr, plugIn);
    EXPECT_EQ(kIOReturnBadArgument, IODestroyPlugInInterface(nullptr));
    EXPECT_EQ(kIOReturnBadArgument, IORegistryEntryGetChildIterator(entry, kIOServicePlane, nullptr));
}

TEST_F(RequestLimits, TheClientBelowADriverTellsWhichDeviceItIsOf)
{
    const auto clients = childrenOf(entry);
    ASSERT_EQ(1u, clients.size());
    EXPECT_TRUE(IOObjectConformsTo(clients[0], "IOHIDInterface"));
    EXPECT_EQ("USB", textOf(clients[0], "Transport"));
    EXPECT_EQ(keyboard.facts.vendorID, numberOf(clients[0], "VendorID"));
    EXPECT_EQ(keyboard.facts.productID, numberOf(clients[0], "ProductID"));
    EXPECT_EQ(keyboard.facts.releaseNumber, numberOf(clients[0], "VersionNumber"));
    EXPECT_EQ(keyboard.facts.locationID, numberOf(clients[0], "LocationID"));
    IOObjectRelease(clients[0]);
}

} // namespace
