#include "AdditionsTest.h"
#include "HeapBytes.h"

#include <QrxDeviceTreeInterface.h>
#include <QrxDeviceTreeRemovalInterface.h>
#include <QrxHIDDeviceEventInterface.h>
#include <QrxRequests.h>

#include <stdexcept>

namespace {

using Lines = std::vector<std::string>;

/// Writes down what it is told; `onRemoval` is done in the middle of it.
class TreeListener : public QrxDeviceTreeDelegateInterface, public QrxDeviceTreeRemovalInterface {
public:
    explicit TreeListener(Lines& lines) : _lines(lines) {}
    void deviceAdded(DeviceHandle device) override { _lines.push_back("added " + device->getProductName()); }
    void deviceRemoved(DeviceHandle device) override
    {
        _lines.push_back("removed " + device->getProductName() + (QrxIsOpen(*device) ? ", open" : ""));
        if (const auto hook = onRemoval) {
            hook(device);
        }
    }

    std::function<void(const DeviceHandle&)> onRemoval;

private:
    Lines& _lines;
};

/// The same for a device. It is the device's in the end.
class DeviceListener : public QrxHIDDeviceDelegateInterface, public QrxHIDDeviceEventInterface {
public:
    explicit DeviceListener(Lines& lines, std::function<void()> onEvent = {})
        : _lines(lines), _onEvent(std::move(onEvent))
    {
    }
    ~DeviceListener() override { _lines.push_back("deleted"); }
    void handleReport(std::valarray<uint8_t>, DeviceHandle, int) override { _lines.push_back("report"); }
    void handleSetReport(unsigned, unsigned, std::valarray<uint8_t>, DeviceHandle, int) override {}
    void deviceRemoved(DeviceHandle device) override
    {
        tell(std::string("left") + (QrxIsOpen(*device) ? ", open" : ""));
    }
    void inputMayBeLost(DeviceHandle, int interfaceNumber, uint64_t count) override
    {
        tell("lost on " + std::to_string(interfaceNumber) + (count != 0 ? "" : " never"));
    }

private:
    void tell(const std::string& line)
    {
        _lines.push_back(line);
        if (const auto hook = _onEvent) {
            hook();
        }
    }

    Lines& _lines;
    std::function<void()> _onEvent;
};

class Departures : public AdditionsTest {
protected:
    Departures() : _listener(_lines) {}
    TreeHandle observingTree()
    {
        TreeHandle tree = QrxDeviceTree::NewInstance();
        tree->setDelegate(&_listener);
        tree->observe(0, 0);
        return tree;
    }

    CapturedOutput _output;
    Lines _lines;
    TreeListener _listener;
};

const char* const kRemovalLine = "device notification: id 2\n";

TEST_F(Departures, AreToldOnceForEachArrivalAfterTheLineIsPrinted)
{
    const TreeHandle tree = observingTree();
    TestDevice first = makeDevice("first", plainDescriptor());
    TestDevice second = makeDevice("second", plainDescriptor());
    first.plug();
    second.plug();
    runWhileBusy();
    _listener.onRemoval = [&](const DeviceHandle&) {
        EXPECT_EQ(kRemovalLine, _output.text());
        EXPECT_EQ(1u, tree->getHIDDeviceCount());
    };
    first.unplug();
    runWhileBusy();
    EXPECT_EQ((Lines{"added first", "added second", "removed first"}), _lines);
}

TEST_F(Departures, AreToldToTheTreeAndToTheDeviceAndThenItIsClosed)
{
    const TreeHandle tree = observingTree();
    TestDevice plug = makeDevice("mouse", plainDescriptor(), {0, 1});
    plug.plug();
    runWhileBusy();
    DeviceHandle device = tree->getDeviceAtIndex(0);
    device->setDelegate(new DeviceListener(_lines));
    device->open();
    plug.sendInputReport(0, {1, 2, 3, 4});
    plug.unplug();
    runWhileBusy();
    EXPECT_EQ((Lines{"added mouse", "report", "removed mouse, open", "left, open"}), _lines);
    EXPECT_FALSE(QrxIsOpen(*device));
    device.release();
    EXPECT_EQ("deleted", _lines.back());
}

TEST_F(Departures, AreToldToADeviceAloneOfATreeThatDoesNotAsk)
{
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    plug.plug();
    runWhileBusy();
    const DeviceHandle device = tree->getDeviceAtIndex(0);
    device->setDelegate(new DeviceListener(_lines));
    device->open();
    plug.unplug();
    runWhileBusy();
    EXPECT_EQ((Lines{"left, open"}), _lines);
    EXPECT_FALSE(QrxIsOpen(*device));
}

TEST_F(Departures, WithoutTheExtensionsTheDeviceStaysOpen)
{
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    plug.plug();
    runWhileBusy();
    const DeviceHandle device = tree->getDeviceAtIndex(0);
    openWithLog(device);
    plug.unplug();
    runWhileBusy();
    EXPECT_EQ(0u, tree->getHIDDeviceCount());
    EXPECT_TRUE(QrxIsOpen(*device));
    device->close();
}

TEST_F(Departures, OfDevicesFromBeforeTheDelegateAreToldToo)
{
    const TreeHandle tree = QrxDeviceTree::NewInstance();
    TestDevice plug = makeDevice("early", plainDescriptor());
    plug.plug();
    tree->observe(0, 0);
    tree->setDelegate(&_listener);
    plug.unplug();
    runWhileBusy();
    EXPECT_EQ((Lines{"removed early"}), _lines);
}

TEST_F(Departures, AreNotToldToAListenerThatWasReplaced)
{
    const TreeHandle tree = observingTree();
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    plug.plug();
    runWhileBusy();
    const DeviceHandle device = tree->getDeviceAtIndex(0);
    DeviceListener replaced(_lines);
    device->setDelegate(&replaced);
    device->setDelegate(nullptr);
    tree->setDelegate(nullptr);
    plug.unplug();
    runWhileBusy();
    EXPECT_EQ((Lines{"added mouse"}), _lines);
}

TEST_F(Departures, MayDropTheTreeAndEverythingElse)
{
    TreeHandle tree = observingTree();
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    plug.plug();
    runWhileBusy();
    DeviceListener replaced(_lines);
    tree->getDeviceAtIndex(0)->setDelegate(&replaced);
    tree->getDeviceAtIndex(0)->open();
    _listener.onRemoval = [&](const DeviceHandle& device) {
        tree.release();
        device->setDelegate(nullptr);
    };
    plug.unplug();
    runWhileBusy();
    EXPECT_EQ((Lines{"added mouse", "removed mouse, open"}), _lines);
}

TEST_F(Departures, ThatThrowHaveClosedTheDevice)
{
    const TreeHandle tree = observingTree();
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    plug.plug();
    runWhileBusy();
    const DeviceHandle device = tree->getDeviceAtIndex(0);
    device->setDelegate(new DeviceListener(_lines, [] { throw std::runtime_error("later"); }));
    device->open();
    _listener.onRemoval = [](const DeviceHandle&) { throw std::runtime_error("first"); };
    plug.unplug();
    try {
        runWhileBusy();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ("first", error.what());
    }
    EXPECT_EQ((Lines{"added mouse", "removed mouse, open", "left, open"}), _lines);
    EXPECT_FALSE(QrxIsOpen(*device));
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// An application of the facade that asks for removals.
class Facade : public QrxDeviceTreeInterface, public QrxDeviceTreeRemovalInterface {
public:
    explicit Facade(Lines& lines) : _lines(lines) {}
    void deviceRemoved(DeviceHandle device) override { _lines.push_back("removed " + device->getProductName()); }
    TreeHandle tree() const { return _deviceTree; }

private:
    Lines& _lines;
};

#pragma GCC diagnostic pop

TEST_F(Departures, AreToldThroughTheFacade)
{
    TreeHandle kept;
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    {
        Facade facade(_lines);
        facade.createDeviceTree({{0, 0}});
        facade.startTheDeviceService();
        plug.plug();
        runWhileBusy();
        plug.unplug();
        runWhileBusy();
        EXPECT_EQ((Lines{"removed mouse"}), _lines);
        kept = facade.tree();
        plug.plug();
        runWhileBusy();
    }
    plug.unplug();
    runWhileBusy();
    EXPECT_EQ((Lines{"removed mouse"}), _lines) << "the facade is gone, its tree is not";
}

/// As the README's example: opens what arrives, and keeps nothing.
class OpenArrivals : public QrxDeviceTreeDelegateInterface, public QrxDeviceTreeRemovalInterface {
public:
    void deviceAdded(DeviceHandle device) override
    {
        device->setDelegate(new DeviceListener(lines));
        device->open();
    }
    void deviceRemoved(DeviceHandle) override {}

    Lines lines;
};

TEST_F(Departures, OfTwoThousandOpenDevicesLeaveNothingBehind)
{
    OpenArrivals arrivals;
    const TreeHandle tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&arrivals);
    tree->observe(0, 0);
    TestDevice plug = makeDevice("mouse", plainDescriptor(), {0, 1});
    const auto replug = [&](int times) {
        for (int round = 0; round < times; ++round) {
            plug.plug();
            runWhileBusy();
            plug.sendInputReport(0, {1, 2, 3, 4});
            plug.unplug();
            runWhileBusy();
            EXPECT_EQ((Lines{"report", "left, open", "deleted"}), arrivals.lines);
            arrivals.lines.clear();
            _output.forget();
        }
        return heapBytes();
    };
    constexpr int kRounds = 2000;
    const auto before = replug(kRounds / 10);
    const auto after = replug(kRounds);
    EXPECT_LT(after - before, kRounds / 2) << "bytes of " << kRounds << " replugs";
}

class Losses : public AdditionsTest, public testing::WithParamInterface<bool> {
protected:
    Losses() { setQueueMode(GetParam()); }
    static void flood(TestDevice& plug, int interfaceNumber)
    {
        for (std::size_t number = 0; number < TestDevice::kQueuedReports + 5; ++number) {
            plug.sendInputReport(interfaceNumber, {1, 0, 0, 0});
        }
    }

    Lines _lines;
};

INSTANTIATE_TEST_SUITE_P(Modes, Losses, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "queue" : "interrupt"; });

TEST_P(Losses, AreToldAfterTheReportsThatCameBefore)
{
    TestDevice plug = makeDevice("flood", plainDescriptor(), {0, 3});
    const DeviceHandle device = arrived(plug);
    device->setDelegate(new DeviceListener(_lines));
    device->open();
    flood(plug, 3);
    runWhileBusy();
    Lines expected(TestDevice::kQueuedReports, "report");
    expected.push_back("lost on 3");
    EXPECT_EQ(expected, _lines);
    plug.sendInputReport(3, {1, 2, 3, 4});
    runWhileBusy();
    expected.push_back("report");
    EXPECT_EQ(expected, _lines) << "it is told once";
    flood(plug, 0);
    runWhileBusy();
    EXPECT_EQ("lost on 0", _lines.back());
    device->close();
}

TEST_P(Losses, MayDropTheDeviceWhenTheyAreTold)
{
    TestDevice plug = makeDevice("flood", plainDescriptor());
    DeviceHandle device = arrived(plug);
    _tree = {};
    device->setDelegate(new DeviceListener(_lines, [&] {
        device->close();
        device.release();
    }));
    device->open();
    flood(plug, 0);
    runWhileBusy();
    EXPECT_EQ("deleted", _lines.back());
}

TEST_P(Losses, AreNotToldToADelegateThatDoesNotAsk)
{
    TestDevice plug = makeDevice("flood", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    const auto log = openWithLog(device);
    flood(plug, 0);
    runWhileBusy();
    EXPECT_EQ(TestDevice::kQueuedReports, log->input.size());
    device->close();
}

} // namespace
