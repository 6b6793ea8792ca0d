/// How devices come and go in the library.

#include "Library.h"

#include "devices/UhidDevice.h"

#include <array>
#include <sstream>

#include <sys/inotify.h>
#include <unistd.h>

using namespace qrx::guest;

namespace {

class Arrival : public Library {
protected:
    static VhciDevice compositeDevice()
    {
        UsbIdentity identity = identityOf("Ærø 北京");
        identity.manufacturer = "Prøve \xF0\x9F\x8E\xB9";
        UsbInterface vendor;
        vendor.isHid = false;
        return {identity, {hidInterface(plainDescriptor(8)), vendor, hidInterface(qrx::guest::numberedDescriptor())}};
    }
};

/// Names, and sizes of input, output and feature reports by interface.
std::string describe(const DeviceHandle& device)
{
    std::ostringstream text;
    text << device->getVendorName() << "|" << device->getProductName() << "\n";
    for (int number = 0; number < 4; ++number) {
        text << number << ": " << device->getInputReportSize(number) << " " << device->getOutputReportSize(number)
             << " " << device->getFeatureReportSize(number) << "\n";
    }
    return text.str();
}

/// Sees every opening of some files, by anybody.
class OpenWatch {
public:
    explicit OpenWatch(const std::vector<std::string>& files) : _fd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        for (const std::string& file : files) {
            EXPECT_GE(::inotify_add_watch(_fd, file.c_str(), IN_OPEN), 0) << file;
        }
    }
    ~OpenWatch() { ::close(_fd); }
    OpenWatch(const OpenWatch&) = delete;
    OpenWatch& operator=(const OpenWatch&) = delete;

    /// Since the last call; the same file twice in a row counts once.
    std::size_t count()
    {
        std::array<char, 4096> events{};
        const ssize_t size = ::read(_fd, events.data(), events.size());
        return size > 0 ? static_cast<std::size_t>(size) / sizeof(inotify_event) : 0;
    }

private:
    int _fd;
};

} // namespace

TEST_F(Arrival, ACompositeDeviceComesOnceAndWhole)
{
    const TreeHandle tree = observingTree();
    std::string described;
    told.onArrival = [&](const DeviceHandle& device) { described = describe(device); };
    VhciDevice device = compositeDevice();
    device.plug();
    ASSERT_TRUE(runUntil([&] { return !told.arrivals.empty(); }));
    EXPECT_EQ(described, "Prøve \xF0\x9F\x8E\xB9|Ærø 北京\n"
                         "0: 8 8 8\n"
                         "1: 0 0 0\n"
                         "2: 9 9 9\n"
                         "3: 0 0 0\n");
    // All that the kernel has to say of the arrival changes nothing.
    plugWhole(device);
    runWhileBusy();
    EXPECT_EQ(told.arrivals, Names{"Ærø 北京"});
    const CapturedOutput output;
    device.unplug();
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
    EXPECT_EQ(output.text(), "device notification: id 2\n");
}

TEST_F(Arrival, PopulatingAndObservingAskTheDeviceNothingAndOpenNoNode)
{
    VhciDevice device = compositeDevice();
    plugWhole(device);
    device.takeControlRequests();
    OpenWatch opens(device.waitForNodes());
    const TreeHandle tree = makeTree();
    tree->populate(0, 0);
    tree->populate(0, 0);
    tree->observe(0, 0);
    runWhileBusy();
    ASSERT_EQ(told.arrivals, Names{"Ærø 北京"});
    EXPECT_TRUE(device.takeControlRequests().empty());
    EXPECT_EQ(opens.count(), 0U);
    const DeviceHandle found = tree->getDeviceAtIndex(0);
    found->open();
    EXPECT_EQ(opens.count(), 2U);
    EXPECT_TRUE(waitUntil([&] { return isPolled(device, 0) && isPolled(device, 2); }));
    found->close();
    EXPECT_FALSE(isPolled(device, 0)) << "the kernel polls while a node is open";
    EXPECT_FALSE(isPolled(device, 2));
}

TEST_F(Arrival, PopulatingAndThenObservingTellsOfEachDeviceOnce)
{
    VhciDevice first(identityOf("first", 1), {hidInterface(plainDescriptor(8))});
    VhciDevice second(identityOf("second", 2), {hidInterface(plainDescriptor(8))});
    plugWhole(first);
    const TreeHandle tree = makeTree();
    tree->populate(0, 0);
    plugWhole(second);
    tree->observe(0, 0);
    runWhileBusy();
    tree->populate(0, 0);
    EXPECT_EQ(told.arrivals, (Names{"first", "second"}));
}

TEST_F(Arrival, ADeviceThatIsPluggedAgainIsANewOne)
{
    const TreeHandle tree = observingTree();
    VhciDevice device = compositeDevice();
    const DeviceHandle before = arrive(tree, device);
    ASSERT_TRUE(before);
    const int port = device.port();
    const CapturedOutput output;
    pullWhole(device);
    device.plug(port);
    plugWhole(device);
    ASSERT_TRUE(runUntil([&] { return told.arrivals.size() == 2; }));
    runWhileBusy();
    ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_FALSE(*tree->getDeviceAtIndex(0) == *before);
    EXPECT_EQ(describe(before), describe(tree->getDeviceAtIndex(0)));
    EXPECT_EQ(output.text(), "device notification: id 2\n");
}

TEST_F(Arrival, ADeviceThatLeavesBeforeTheLoopRunsWasNeverThere)
{
    const TreeHandle tree = observingTree();
    VhciDevice device = compositeDevice();
    plugWhole(device);
    const CapturedOutput output;
    pullWhole(device);
    runWhileBusy();
    EXPECT_EQ(told.arrivals, Names{});
    EXPECT_EQ(output.text(), "");
}

TEST_F(Arrival, AnInterfaceThatNeverComesIsNotWaitedForWithoutEnd)
{
    const TreeHandle tree = observingTree();
    VhciDevice device(identityOf("half"), {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(4))});
    device.answerReportDescriptor(1, Answer::stall);
    device.plug();
    ASSERT_TRUE(waitUntil([&] { return isFinished(device); }));
    ASSERT_TRUE(runUntil([&] { return !told.arrivals.empty(); }));
    const DeviceHandle half = tree->getDeviceAtIndex(0);
    EXPECT_EQ(half->getInputReportSize(0), 8U);
    EXPECT_EQ(half->getInputReportSize(1), 0U);
    const auto log = openWithLog(half);
    sendQueued(device, 0, pattern(8, 1));
    ASSERT_TRUE(runUntil([&] { return !log->input.empty(); }));
    EXPECT_EQ(log->input.front(), (ReceivedReport{pattern(8, 1), 0}));
    half->close();
    EXPECT_EQ(told.arrivals, Names{"half"});
}

TEST_F(Arrival, ADeviceOfTheHidCoreWithoutUsbIsNoneOfOurs)
{
    const UhidDevice uhid(UhidIdentity{}, plainDescriptor(4));
    ASSERT_NE(uhid.waitForNode(), "");
    const TreeHandle tree = observingTree();
    UhidIdentity identity;
    identity.phys = "test/1";
    const UhidDevice later(identity, plainDescriptor(4));
    ASSERT_NE(later.waitForNode(), "");
    VhciDevice device = compositeDevice();
    ASSERT_TRUE(arrive(tree, device));
    EXPECT_EQ(told.arrivals, Names{"Ærø 北京"});
}
