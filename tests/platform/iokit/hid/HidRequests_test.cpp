#include "Reader.h"

#include "Provider/Provider.h"

using qrx::platform::Status;

namespace {

class HidRequests : public IOKitTest {
protected:
    void SetUp() override
    {
        IOKitTest::SetUp();
        vendor.plug();
        device = openable(driver());
    }
    void TearDown() override
    {
        if (device != nullptr) {
            (*device)->Release(device);
        }
        vendor.unplug();
        IOKitTest::TearDown();
    }

    IOReturn set(IOHIDReportType type, std::uint32_t id, fake::Bytes bytes)
    {
        return (*device)->setReport(device, type, id, bytes.data(), static_cast<UInt32>(bytes.size()), 0, nullptr,
                                    nullptr, nullptr);
    }

    fake::Device vendor = fake::makeVendorDevice();
    IOHIDDeviceInterface122** device = nullptr;
};

struct Done {
    int calls = 0;
    IOReturn result = kIOReturnBusy;
    std::uint32_t size = 77;

    static void call(void* target, IOReturn result, void*, void*, std::uint32_t size)
    {
        auto& self = *static_cast<Done*>(target);
        ++self.calls;
        self.result = result;
        self.size = size;
    }
};

} // namespace

TEST_F(HidRequests, AClosedDeviceTakesNoRequest)
{
    std::uint8_t bytes[4] = {};
    UInt32 size = 4;
    IOHIDEventStruct event{};
    EXPECT_EQ(kIOReturnNotOpen, set(kIOHIDReportTypeOutput, 2, {2, 1}));
    EXPECT_EQ(kIOReturnNotOpen,
              (*device)->getReport(device, kIOHIDReportTypeFeature, 3, bytes, &size, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kIOReturnNotOpen, (*device)->getElementValue(device, 2, &event));
    EXPECT_EQ(4u, size);
}

TEST_F(HidRequests, BytesAreSentAsTheyAreAndTheResultComesBack)
{
    (*device)->open(device, 0);
    fake::callLog().take();
    EXPECT_EQ(kIOReturnSuccess, set(kIOHIDReportTypeOutput, 2, {2, 0xAB}));
    EXPECT_EQ(kIOReturnSuccess, set(kIOHIDReportTypeFeature, 3, {}));
    EXPECT_EQ("setReport 1 id 2: 02 ab\nsetReport 2 id 3:\n", fake::callLog().take());
    for (const Status status : {Status::timeout, Status::pipeStalled, Status::notAttached, Status::notPermitted}) {
        vendor.wires[0]->requestResult = status;
        EXPECT_EQ(static_cast<IOReturn>(status), set(kIOHIDReportTypeOutput, 2, {2, 1}));
    }
}

TEST_F(HidRequests, WrongArgumentsReachNoDevice)
{
    (*device)->open(device, 0);
    fake::callLog().take();
    UInt32 size = 4;
    EXPECT_EQ(kIOReturnBadArgument, set(kIOHIDReportTypeCount, 1, {1}));
    EXPECT_EQ(kIOReturnBadArgument,
              (*device)->setReport(device, kIOHIDReportTypeOutput, 2, nullptr, 3, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kIOReturnBadArgument,
              (*device)->getReport(device, kIOHIDReportTypeFeature, 3, nullptr, &size, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kIOReturnBadArgument,
              (*device)->getReport(device, kIOHIDReportTypeFeature, 3, &size, nullptr, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ("", fake::callLog().take());
}

TEST_F(HidRequests, AReportIsFetchedIntoTheCallersRoom)
{
    (*device)->open(device, 0);
    vendor.wires[0]->answer = {3, 0x11, 0x22, 0x33};
    std::uint8_t bytes[8] = {};
    UInt32 size = sizeof bytes;
    EXPECT_EQ(kIOReturnSuccess,
              (*device)->getReport(device, kIOHIDReportTypeFeature, 3, bytes, &size, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ("03 11 22 33", hexOf(bytes, size));
    size = 2;
    EXPECT_EQ(kIOReturnSuccess,
              (*device)->getReport(device, kIOHIDReportTypeFeature, 3, bytes, &size, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(2u, size);
    vendor.wires[0]->requestResult = Status::ioError;
    EXPECT_EQ(kIOReturnIOError,
              (*device)->getReport(device, kIOHIDReportTypeFeature, 3, bytes, &size, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(2u, size) << "unchanged on failure";
}

TEST_F(HidRequests, ARequestWithACallbackIsAnsweredFromTheSource)
{
    (*device)->open(device, 0);
    Done done;
    std::uint8_t bytes[] = {2, 1};
    EXPECT_EQ(kIOReturnUnsupported,
              (*device)->setReport(device, kIOHIDReportTypeOutput, 2, bytes, 2, 100, Done::call, &done, nullptr))
        << "there is no source to call back from";
    CFRunLoopSourceRef source = nullptr;
    (*device)->createAsyncEventSource(device, &source);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    EXPECT_EQ(kIOReturnSuccess,
              (*device)->setReport(device, kIOHIDReportTypeOutput, 2, bytes, 2, 100, Done::call, &done, nullptr));
    EXPECT_EQ(0, done.calls);
    runDue();
    EXPECT_EQ(1, done.calls);
    EXPECT_EQ(kIOReturnSuccess, done.result);
    EXPECT_EQ(2u, done.size);
    vendor.wires[0]->requestResult = Status::timeout;
    Done failed;
    UInt32 size = 2;
    EXPECT_EQ(kIOReturnSuccess, (*device)->getReport(device, kIOHIDReportTypeFeature, 3, bytes, &size, 100, Done::call,
                                                     &failed, nullptr));
    runDue();
    EXPECT_EQ(kIOReturnTimeout, failed.result);
    EXPECT_EQ(0u, failed.size);
    (*device)->setReport(device, kIOHIDReportTypeOutput, 2, bytes, 2, 100, Done::call, &done, nullptr);
    (*device)->close(device);
    runDue();
    EXPECT_EQ(1, done.calls) << "a close drops what has not been called back";
    CFRelease(source);
}

TEST_F(HidRequests, SendingMayUnplugOrReleaseTheDevice)
{
    (*device)->open(device, 0);
    vendor.wires[0]->onSetReport = [&] {
        vendor.unplug();
        (*device)->close(device);
        (*device)->Release(device);
        return Status::success;
    };
    EXPECT_EQ(kIOReturnSuccess, set(kIOHIDReportTypeOutput, 2, {2, 1}));
    device = nullptr;
    EXPECT_EQ(0, fake::openChannels());
    vendor.wires[0]->onSetReport = nullptr;
}

TEST_F(HidRequests, AnUnpluggedDeviceIsNotAttached)
{
    InterruptReader reader(driver());
    (*device)->open(device, 0);
    vendor.unplug();
    EXPECT_EQ(kIOReturnNotAttached, set(kIOHIDReportTypeOutput, 2, {2, 1})) << "the channel says so";
    runDue();
    std::uint8_t bytes[] = {2, 1};
    EXPECT_EQ(
        kIOReturnNotAttached,
        (*reader.device)->setReport(reader.device, kIOHIDReportTypeOutput, 2, bytes, 2, 0, nullptr, nullptr, nullptr))
        << "the end has been seen";
    IOHIDEventStruct event{};
    EXPECT_EQ(kIOReturnNotAttached, (*reader.device)->getElementValue(reader.device, 2, &event));
}

TEST_F(HidRequests, AnElementsValueIsThatOfTheLastReport)
{
    InterruptReader reader(driver());
    vendor.wires[0]->answer = {3, 0x11, 0x22, 0x33};
    IOHIDEventStruct event{};
    EXPECT_EQ(kIOReturnSuccess, (*reader.device)->getElementValue(reader.device, 76, &event));
    EXPECT_EQ(0x22, event.value) << "a feature is asked for";
    EXPECT_EQ(kIOHIDElementTypeFeature, event.type);
    vendor.wires[0]->answer = {1, 5, 6};
    EXPECT_EQ(kIOReturnSuccess, (*reader.device)->getElementValue(reader.device, 4, &event));
    EXPECT_EQ(6, event.value) << "the first question asks the device";
    fake::Bytes report(64, 9);
    report[0] = 1;
    vendor.wires[0]->send(report);
    runDue();
    EXPECT_EQ(kIOReturnSuccess, (*reader.device)->getElementValue(reader.device, 4, &event));
    EXPECT_EQ(9, event.value);
    EXPECT_EQ(kIOReturnSuccess, (*reader.device)->getElementValue(reader.device, 2, &event));
    EXPECT_EQ(63u, event.longValueSize);
    std::free(event.longValue);
    EXPECT_EQ(kIOReturnBadArgument, (*reader.device)->getElementValue(reader.device, 1, &event)) << "a collection";
    EXPECT_EQ(kIOReturnBadArgument, (*reader.device)->getElementValue(reader.device, 0, &event));
    EXPECT_EQ(kIOReturnBadArgument, (*reader.device)->getElementValue(reader.device, 500, &event));
}
