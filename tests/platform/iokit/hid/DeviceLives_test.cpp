/// A device interface that is closed and opened again, completions in numbers, and interfaces of two kinds in a device.

#include "Reader.h"

#include "Provider/Provider.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

using qrx::platform::Status;

namespace {

/// A byte of the vendor device's input report.
constexpr IOHIDElementCookie kInputByte = 4;

class DeviceLives : public IOKitTest {
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

    fake::Device device;
};

/// Writes down how the requests ended.
struct Ends {
    std::string text;
    std::function<void()> onEnd;

    static void call(void* target, IOReturn result, void* refcon, void*, std::uint32_t size)
    {
        auto& self = *static_cast<Ends*>(target);
        self.text += static_cast<const char*>(refcon) + std::string(result == kIOReturnSuccess ? "" : "!") +
                     std::to_string(size) + " ";
        if (self.onEnd) {
            self.onEnd();
        }
    }

    IOReturn send(IOHIDDeviceInterface122** interface, const char* name, std::uint32_t size)
    {
        std::uint8_t bytes[4] = {2};
        return (*interface)
            ->setReport(interface, kIOHIDReportTypeOutput, 2, bytes, size, 0, call, this, const_cast<char*>(name));
    }
};

int valueOf(IOHIDDeviceInterface122** interface, IOHIDElementCookie cookie)
{
    IOHIDEventStruct event{};
    EXPECT_EQ(kIOReturnSuccess, (*interface)->getElementValue(interface, cookie, &event));
    return event.value;
}

} // namespace

TEST_F(DeviceLives, TheLastReportIsForgottenWithTheClose)
{
    InterruptReader reader(plug(fake::makeVendorDevice()));
    device.wires[0]->answer = {1, 5, 6};
    EXPECT_EQ(6, valueOf(reader.device, kInputByte));
    device.wires[0]->answer = {1, 7, 8};
    EXPECT_EQ(6, valueOf(reader.device, kInputByte)) << "it is known";
    (*reader.device)->close(reader.device);
    (*reader.device)->open(reader.device, 0);
    fake::Bytes report(64, 9);
    report[0] = 1;
    device.wires[0]->send(report);
    runDue();
    EXPECT_EQ(8, valueOf(reader.device, kInputByte)) << "the first question asks the device again";
}

TEST_F(DeviceLives, CompletionsComeInTheOrderOfTheRequests)
{
    InterruptReader reader(plug(fake::makeVendorDevice()));
    Ends ends;
    EXPECT_EQ(kIOReturnSuccess, ends.send(reader.device, "a", 1));
    device.wires[0]->requestResult = Status::timeout;
    EXPECT_EQ(kIOReturnSuccess, ends.send(reader.device, "b", 2));
    device.wires[0]->requestResult = Status::success;
    EXPECT_EQ(kIOReturnSuccess, ends.send(reader.device, "c", 3));
    EXPECT_EQ("", ends.text);
    runDue();
    EXPECT_EQ("a1 b!2 c3 ", ends.text);
}

TEST_F(DeviceLives, ACompletionMayAskForMoreAndThatComesInALaterPass)
{
    InterruptReader reader(plug(fake::makeVendorDevice()));
    Ends ends;
    ends.onEnd = [&] {
        if (ends.text.size() < 9) {
            ends.send(reader.device, "n", 1);
        }
    };
    ends.send(reader.device, "a", 1);
    ends.send(reader.device, "b", 1);
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
    EXPECT_EQ("a1 b1 ", ends.text) << "others get their turn before what was asked for meanwhile";
    runDue();
    EXPECT_EQ("a1 b1 n1 n1 ", ends.text);
}

TEST_F(DeviceLives, ACompletionThatThrowsLeavesTheOthersDue)
{
    InterruptReader reader(plug(fake::makeVendorDevice()));
    Ends ends;
    ends.onEnd = [&] {
        if (ends.text == "a1 ") {
            throw std::runtime_error("from a completion");
        }
    };
    ends.send(reader.device, "a", 1);
    ends.send(reader.device, "b", 1);
    EXPECT_THROW(runDue(), std::runtime_error);
    runDue();
    EXPECT_EQ("a1 b1 ", ends.text);
}

TEST_F(DeviceLives, ACompletionMayCloseTheDeviceWhichDropsTheOthersForGood)
{
    InterruptReader reader(plug(fake::makeVendorDevice()));
    Ends ends;
    ends.onEnd = [&] { (*reader.device)->close(reader.device); };
    ends.send(reader.device, "a", 1);
    ends.send(reader.device, "b", 1);
    runDue();
    (*reader.device)->open(reader.device, 0);
    runDue();
    EXPECT_EQ("a1 ", ends.text);
    ends.onEnd = nullptr;
    ends.send(reader.device, "c", 1);
    runDue();
    EXPECT_EQ("a1 c1 ", ends.text);
}

TEST_F(DeviceLives, AReopenedDeviceTellsOfItsRemovalAgain)
{
    const io_object_t entry = plug(fake::makeMouse());
    InterruptReader reader(entry);
    (*reader.device)->close(reader.device);
    (*reader.device)->open(reader.device, 0);
    int removals = 0;
    (*reader.device)
        ->setRemovalCallback(
            reader.device, [](void* target, IOReturn, void*, void*) { ++*static_cast<int*>(target); }, &removals,
            nullptr);
    device.unplug();
    runDue();
    EXPECT_EQ(1, removals);
    EXPECT_EQ(kIOReturnNotAttached, (*reader.device)->open(reader.device, 0)) << "open, of what has left";
    EXPECT_EQ(kIOReturnSuccess, (*reader.device)->close(reader.device));
    EXPECT_NE(kIOReturnSuccess, (*reader.device)->open(reader.device, 0));
    runDue();
    EXPECT_EQ(1, removals);
}

TEST_F(DeviceLives, AHandlerIsKeptThroughCloseAndOpenUntilItIsReplaced)
{
    InterruptReader reader(plug(fake::makeMouse()));
    for (std::uint8_t life = 1; life <= 2; ++life) {
        (*reader.device)->close(reader.device);
        (*reader.device)->open(reader.device, 0);
        device.wires[0]->send({life, 0, 0, 0});
        runDue();
        EXPECT_EQ(hexOf(&life, 1) + " 00 00 00; ", reader.take());
    }
    (*reader.device)->setInterruptReportHandlerCallback(reader.device, nullptr, 0, nullptr, nullptr, nullptr);
    device.wires[0]->send({3, 0, 0, 0});
    runDue();
    EXPECT_EQ("", reader.take());
}

TEST_F(DeviceLives, ANumberedAndAnUnnumberedInterfaceOfOneDeviceKeepApart)
{
    fake::Device both = fake::makeVendorDevice();
    both.addHid(fake::mouseDescriptor());
    device = std::move(both);
    device.plug();
    const auto drivers = servicesOf("IOHIDDevice");
    ASSERT_EQ(2u, drivers.size());
    InterruptReader numbered(drivers[0]);
    QueueReader mouse(drivers[1], {3, 6});
    fake::Bytes report(64, 9);
    report[0] = 1;
    device.wires[0]->send(report);
    device.wires[1]->send({1, 2, 0, 0});
    device.wires[1]->send({2, 2, 0, 0});
    runDue();
    EXPECT_EQ("|3=1 6=2 |3=0 6=2 ", mouse.take()) << "its first byte is no number";
    EXPECT_EQ(1, numbered.reports);
    device.wires[0]->answer = {1, 5, 6};
    EXPECT_EQ(6, valueOf(numbered.device, kInputByte));
    device.wires[0]->send(report);
    runDue();
    EXPECT_EQ(9, valueOf(numbered.device, kInputByte)) << "its first byte is";
    for (const io_object_t entry : drivers) {
        IOObjectRelease(entry);
    }
}

TEST_F(DeviceLives, OfTwoReadersOneMayCloseWhileTheOtherReads)
{
    const io_object_t entry = plug(fake::makeMouse());
    InterruptReader first(entry);
    InterruptReader second(entry);
    first.onReport = [&] { second.close(); };
    device.wires[0]->send({1, 0, 0, 0});
    runDue();
    EXPECT_EQ("01 00 00 00; ", first.take());
    second.open();
    first.onReport = nullptr;
    device.wires[0]->send({2, 0, 0, 0});
    runDue();
    EXPECT_EQ("02 00 00 00; ", first.take());
    EXPECT_NE(std::string::npos, second.take().find("02 00 00 00; "));
}

TEST_F(DeviceLives, ASourceDeliversInWhateverModeItIs)
{
    const io_object_t entry = plug(fake::makeMouse());
    // A mode stays with its run loop, which ends with the thread.
    std::thread([&] {
        InterruptReader reader(entry);
        CFStringRef mode = CFSTR("qrx.other");
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), reader.source, kCFRunLoopDefaultMode);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), reader.source, mode);
        device.wires[0]->send({1, 2, 3, 4});
        runDue();
        EXPECT_EQ("", reader.take());
        EXPECT_EQ(kCFRunLoopRunHandledSource, CFRunLoopRunInMode(mode, 0, true));
        EXPECT_EQ("01 02 03 04; ", reader.take());
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), reader.source, mode);
    }).join();
}

TEST_F(DeviceLives, NothingIsTakenForADeviceThatWasClosedInItsHandler)
{
    InterruptReader reader(plug(fake::makeMouse()));
    int taken = 0;
    device.wires[0]->onTakeReport = [&] { ++taken; };
    reader.onReport = [&] { reader.close(); };
    device.wires[0]->send({1, 0, 0, 0});
    device.wires[0]->send({2, 0, 0, 0});
    runDue();
    EXPECT_EQ(1, reader.reports);
    EXPECT_EQ(1, taken);
    device.wires[0]->onTakeReport = nullptr;
}

TEST_F(DeviceLives, AFetchThatClosesTheDeviceGivesNoValue)
{
    InterruptReader reader(plug(fake::makeVendorDevice()));
    device.wires[0]->answer = {1, 5, 6};
    device.wires[0]->onGetReport = [&] { reader.close(); };
    EXPECT_EQ(0, valueOf(reader.device, kInputByte));
    device.wires[0]->onGetReport = nullptr;
    reader.open();
    device.wires[0]->answer = {1, 7, 8};
    EXPECT_EQ(8, valueOf(reader.device, kInputByte));
}

TEST_F(DeviceLives, AReportThatWasFetchedFromAnEarlierLifeIsNotQueued)
{
    constexpr IOHIDElementCookie kFeatureByte = 76;
    QueueReader reader(plug(fake::makeVendorDevice()), {kFeatureByte});
    const auto fetch = [&] {
        std::uint8_t bytes[4] = {};
        UInt32 size = sizeof bytes;
        return (*reader.device)
            ->getReport(reader.device, kIOHIDReportTypeFeature, 3, bytes, &size, 0, nullptr, nullptr, nullptr);
    };
    device.wires[0]->answer = {3, 0x11, 0x22, 0x33};
    device.wires[0]->onGetReport = [&] {
        (*reader.device)->close(reader.device);
        (*reader.device)->open(reader.device, 0);
    };
    EXPECT_EQ(kIOReturnSuccess, fetch());
    runDue();
    EXPECT_EQ("", reader.take());
    device.wires[0]->onGetReport = nullptr;
    EXPECT_EQ(kIOReturnSuccess, fetch());
    runDue();
    EXPECT_EQ("|76=34 ", reader.take());
}

TEST_F(DeviceLives, AChannelThatClaimsMoreThanTheRoomIsNotBelieved)
{
    InterruptReader reader(plug(fake::makeVendorDevice()));
    device.wires[0]->answer = {3, 0x11, 0x22, 0x33};
    device.wires[0]->claimedSize = 1000;
    std::uint8_t bytes[4] = {};
    UInt32 size = sizeof bytes;
    EXPECT_EQ(kIOReturnSuccess,
              (*reader.device)
                  ->getReport(reader.device, kIOHIDReportTypeFeature, 3, bytes, &size, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(4u, size);
}

TEST_F(DeviceLives, TheFirstElementMayBeAField)
{
    // Outside of any collection.
    InterruptReader reader(plug(fake::makeDevice(0x1209, 3).addHid({
        0x05, 0x01, // Usage Page (Generic Desktop)
        0x09, 0x30, // Usage (X)
        0x15, 0x00, // Logical Minimum (0)
        0x25, 0x7F, // Logical Maximum (127)
        0x75, 0x08, // Report Size (8)
        0x95, 0x01, // Report Count (1)
        0x81, 0x02  // Input (Data, Variable, Absolute)
    })));
    device.wires[0]->send({5});
    device.wires[0]->answer = {5};
    EXPECT_EQ(5, valueOf(reader.device, 1));
}
