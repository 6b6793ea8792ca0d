#include "BackendTest.h"

#include "QrxHIDDeviceConnectionImpl.h"
#include "QrxHIDInterfaceMac.h"

#include <cstdlib>
#include <stdexcept>

using fake::Bytes;
using fake::Dict;
using fake::FakeEvent;
using fake::List;
using world::Sample;

namespace {

/// A connection that writes down what it hands up.
class RecordingConnection : public _QrxHIDDeviceConnectionImpl {
public:
    void handleReport(std::valarray<uint8_t> report, int interfaceNumber) override
    {
        lines.push_back(std::to_string(interfaceNumber) + ": " + hexText(report));
        if (onReport) {
            const auto action = onReport;
            action();
        }
        _QrxHIDDeviceConnectionImpl::handleReport(report, interfaceNumber);
    }

    std::vector<std::string> lines;
    std::function<void()> onReport;
};

/// Another kind of connection: what the platform could only hold by mistake.
class ForeignConnection : public QrxHIDDeviceConnection {
public:
    void open() override {}
    void close() override {}
    void setReport(unsigned int, unsigned int, std::valarray<uint8_t>) override {}
};

class ConnectionInputTest : public BackendTest {
protected:
    void init(Dict properties, int systemVersion)
    {
        platform.systemVersion = systemVersion;
        driver = &platform.registry.add(nullptr, "hid", "IOHIDDevice", std::move(properties));
        connection = new RecordingConnection;
        connection->_initWithEntry(driver->handle);
        connection->open();
    }
    void initByQueue()
    {
        init({{"InputReportElements",
               List{Dict{{"ElementCookie", 1}, {"ReportSize", 12}}, Dict{{"ElementCookie", 2}, {"ReportSize", 8}},
                    Dict{{"ElementCookie", 3}, {"ReportSize", 48}}, Dict{{"ElementCookie", 4}, {"ReportSize", -8}}}}},
             0x1040);
    }
    void TearDown() override
    {
        connection.release();
        BackendTest::TearDown();
    }
    void push(FakeEvent event) { platform.hid.queue(*driver)->push(std::move(event)); }
    void deliver(std::vector<FakeEvent> events)
    {
        for (FakeEvent& event : events) {
            push(std::move(event));
        }
        platform.runLoop.run();
    }
    fake::FakeHIDDevice& device() { return *platform.hid.device(*driver); }

    fake::FakeEntry* driver = nullptr;
    mis::swizzler<RecordingConnection> connection;
};

} // namespace

TEST_F(ConnectionInputTest, ALongValueIsTheReport)
{
    initByQueue();
    deliver({{1, 0, {1, 2, 3, 4, 5}}, {9, 7, {0xff, 0, 0, 0, 0, 0, 0, 0xfe}}});
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 01 02 03 04 05", "0: ff 00 00 00 00 00 00 fe"));
    connection->close();
}

TEST_F(ConnectionInputTest, AValueIsCutToTheElementsSizeLowByteFirst)
{
    initByQueue();
    deliver({{1, 0x0a0b0c0d, {}}, {2, -1, {}}});
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 0d 0c", "0: ff"));
    connection->close();
}

TEST_F(ConnectionInputTest, AValueOfAnUnknownElementIsFourBytes)
{
    initByQueue();
    deliver({{77, 0x0a0b0c0d, {}}, {4, 0x01020304, {}}});
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 0d 0c 0b 0a", "0: 04 03 02 01"));
    connection->close();
}

TEST_F(ConnectionInputTest, AValueShorterThanItsReportIsFilledWithZeros)
{
    initByQueue();
    deliver({{3, 0x0a0b0c0d, {}}});
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 0d 0c 0b 0a 00 00"));
    connection->close();
}

TEST_F(ConnectionInputTest, ABlockOfAtMostFourBytesIsFreedAndTheValueTaken)
{
    initByQueue();
    deliver({{2, 0x55, {1, 2, 3, 4}}});
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 55"));
    connection->close();
}

TEST_F(ConnectionInputTest, OneCalloutDrainsTheQueue)
{
    initByQueue();
    deliver({{2, 1, {}}, {2, 2, {}}, {2, 3, {}}});
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 01", "0: 02", "0: 03"));
    EXPECT_EQ(platform.log.countOf("hid.queue.getNextEvent"), 4);
    connection->close();
}

TEST_F(ConnectionInputTest, AFailedReadEndsTheDrain)
{
    initByQueue();
    platform.log.failCall("queue.getNextEvent", 2);
    deliver({{2, 1, {}}, {2, 2, {}}});
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 01"));
    connection->close();
}

TEST_F(ConnectionInputTest, AClosedQueueIsNotAskedAgain)
{
    initByQueue();
    connection->onReport = [this] { connection->close(); };
    deliver({{1, 0, {1, 2, 3, 4, 5}}, {2, 2, {}}});
    EXPECT_EQ(connection->lines.size(), 1U);
    EXPECT_EQ(platform.log.countOf("hid.queue.getNextEvent"), 1);
}

TEST_F(ConnectionInputTest, AnExceptionLeavesNoBlockAndNoEventBehind)
{
    initByQueue();
    connection->onReport = [this] {
        connection->onReport = nullptr;
        throw std::runtime_error("no");
    };
    EXPECT_THROW(deliver({{1, 0, {1, 2, 3, 4, 5}}, {2, 2, {}}}), std::runtime_error);
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 01 02 03 04 05", "0: 02"));
    deliver({{2, 3, {}}});
    EXPECT_EQ(connection->lines.back(), "0: 03") << "the queue was emptied, so the platform tells of the next";
    connection->close();
}

TEST_F(ConnectionInputTest, AQueueOfAnotherIsDrainedToo)
{
    initByQueue();
    fake::FakeHIDQueue* other = platform.hid.makeQueue(&device());
    other->push({2, 1, {}});
    other->push({2, 2, {}});
    connection->_reportQueueHandler(reinterpret_cast<IOHIDQueueInterface**>(&other->face));
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 01", "0: 02"));
    other->references = 0;
    connection->close();
}

TEST_F(ConnectionInputTest, SendersWithoutAFunctionTableAreIgnored)
{
    init({{"MaxInputReportSize", 4}}, 0);
    IOHIDQueueInterface* noQueue = nullptr;
    IOHIDDeviceInterface122* noDevice = nullptr;
    connection->_reportQueueHandler(nullptr);
    connection->_reportQueueHandler(&noQueue);
    connection->_reportHandler(nullptr, 1);
    connection->_reportHandler(&noDevice, 1);
    EXPECT_TRUE(connection->lines.empty());
    connection->close();
}

TEST_F(ConnectionInputTest, AnInterruptReportIsACopyOfTheBuffersBeginning)
{
    init({{"MaxInputReportSize", 4}}, 0);
    platform.hid.deliver(*driver, {1, 2, 3, 4});
    platform.hid.deliver(*driver, {9});
    platform.hid.deliver(*driver, {5, 6, 7, 8, 9, 10});
    platform.runLoop.run();
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: 01 02 03 04", "0: 09", "0: 05 06 07 08"));
    connection->close();
}

TEST_F(ConnectionInputTest, AnEmptyInterruptReportIsHandedUp)
{
    init({}, 0);
    platform.hid.deliver(*driver, {});
    platform.runLoop.run();
    EXPECT_THAT(connection->lines, testing::ElementsAre("0: "));
    connection->close();
}

TEST_F(ConnectionInputTest, AReportThatComesAfterCloseIsDropped)
{
    init({{"MaxInputReportSize", 4}}, 0);
    const fake::FakeHIDDevice& object = device();
    connection->close();
    object.callback(object.target, 0, nullptr, const_cast<fake::DeviceFace*>(&object.device), 4);
    EXPECT_TRUE(connection->lines.empty());
}

TEST_F(ConnectionInputTest, ACallbackWithAnErrorOrWithoutATargetDeliversNothing)
{
    init({{"MaxInputReportSize", 4}}, 0);
    fake::FakeHIDDevice& object = device();
    object.callback(object.target, -1, nullptr, &object.device, 4);
    object.callback(nullptr, 0, nullptr, &object.device, 4);
    EXPECT_TRUE(connection->lines.empty());
    connection->close();

    initByQueue();
    push({2, 1, {}});
    fake::FakeHIDQueue& queue = *platform.hid.queue(*driver);
    queue.callout(queue.target, -1, nullptr, &queue.face);
    queue.callout(nullptr, 0, nullptr, &queue.face);
    EXPECT_TRUE(connection->lines.empty());
    connection->close();
}

TEST_F(ConnectionInputTest, ACallbackWithATargetOfAnotherKindDeliversNothing)
{
    init({{"MaxInputReportSize", 4}}, 0);
    const mis::swizzler<ForeignConnection> foreign(new ForeignConnection);
    fake::FakeHIDDevice& object = device();
    object.callback(static_cast<QrxHIDDeviceConnection*>(foreign.get()), 0, nullptr, &object.device, 4);
    EXPECT_TRUE(connection->lines.empty());
    EXPECT_EQ(foreign->getReferenceCount(), 1U);
    connection->close();
}

TEST_F(ConnectionInputTest, TheConnectionLivesUntilTheCallbackReturns)
{
    for (const int systemVersion : {0, 0x1040}) {
        systemVersion == 0 ? init({{"MaxInputReportSize", 8}}, 0) : initByQueue();
        RecordingConnection* raw = connection.get();
        bool wasAlive = false;
        raw->onReport = [&, raw] {
            raw->close();
            connection.release();
            wasAlive = raw->getReferenceCount() > 0 && !raw->isCollecting();
        };
        if (systemVersion == 0) {
            platform.hid.deliver(*driver, {1});
        } else {
            push({2, 1, {}});
        }
        platform.log.clear();
        platform.runLoop.run();
        EXPECT_TRUE(wasAlive);
        EXPECT_EQ(platform.log.countOf("hid.Release"), 1) << "the callback's handle was the last";
    }
}

TEST_F(ConnectionInputTest, DroppedOpenInsideItsCallbackItHandsUpTheRestAndEnds)
{
    initByQueue();
    RecordingConnection* raw = connection.get();
    int count = 0;
    raw->onReport = [&] {
        ++count;
        connection.release();
    };
    deliver({{1, 0, {1, 2, 3, 4, 5}}, {2, 2, {}}});
    EXPECT_EQ(count, 2);
    deliver({});
    expectedLeaks = {"hid queue x1", "hid-queue-source"};
}

TEST_F(ConnectionInputTest, TheInterfaceAboveGivesItsNumber)
{
    auto& entry = platform.registry.add(nullptr, "if", kIOUSBInterfaceClassName, {{"bInterfaceNumber", 6}});
    const mis::swizzler<_QrxHIDInterfaceMac> interface(new _QrxHIDInterfaceMac);
    interface->_initWithEntry(entry.handle);
    initByQueue();
    connection->_setParent(mis::swizzler<QrxDeviceTreeNode>(interface));
    deliver({{2, 1, {}}});
    connection->close();
    EXPECT_THAT(connection->lines, testing::ElementsAre("6: 01"));
    connection->_forgetParent(nullptr);
}

TEST_F(ConnectionInputTest, ADrainOfAConnectionThatNobodyHoldsLeavesItAlive)
{
    initByQueue();
    push({2, 1, {}});
    RecordingConnection onStack;
    onStack._reportQueueHandler(reinterpret_cast<IOHIDQueueInterface**>(&platform.hid.queue(*driver)->face));
    EXPECT_THAT(onStack.lines, testing::ElementsAre("0: 01 00 00 00"));
    EXPECT_EQ(onStack.getReferenceCount(), 0U);
    connection->close();
}
