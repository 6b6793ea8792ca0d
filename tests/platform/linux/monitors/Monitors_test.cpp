#include "FakeNetlink.h"
#include "Linux/monitors/FolderMonitor.h"
#include "Linux/monitors/LateFolderMonitor.h"
#include "Linux/monitors/NetworkNamespace.h"
#include "Linux/monitors/TimerMonitor.h"
#include "Linux/monitors/UdevMonitor.h"
#include "Linux/monitors/WatchSet.h"
#include "RecordingSink.h"
#include "SysfsTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qrx::platform {
namespace {

using std::chrono::milliseconds;

bool isReadable(int fd, int timeoutMs)
{
    pollfd poll{fd, POLLIN, 0};
    return ::poll(&poll, 1, timeoutMs) == 1;
}

/// Long for a test that fails; none that succeeds waits so long.
constexpr int kDeadlineMs = 10000;

TEST(FolderMonitor, AsksForARescanWhenANodeComesOrGoes)
{
    const test::SysfsTree tree;
    const auto monitor = FolderMonitor::make(SystemCalls::kernel(), (tree.root() / "dev").string());
    ASSERT_NE(monitor, nullptr);
    DeviceEvent event;
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::none);
    test::SysfsTree::write(tree.node(3), "");
    EXPECT_TRUE(isReadable(monitor->descriptor(), kDeadlineMs));
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::rescan);
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::none);
    std::filesystem::remove(tree.node(3));
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::rescan);
}

TEST(FolderMonitor, PassesOverOtherNodes)
{
    const test::SysfsTree tree;
    const auto monitor = FolderMonitor::make(SystemCalls::kernel(), (tree.root() / "dev").string());
    ASSERT_NE(monitor, nullptr);
    test::SysfsTree::write(tree.root() / "dev/ttyUSB0", "");
    test::SysfsTree::write(tree.root() / "dev/hidrawing", "");
    DeviceEvent event;
    EXPECT_TRUE(isReadable(monitor->descriptor(), kDeadlineMs));
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::none);
    EXPECT_FALSE(isReadable(monitor->descriptor(), 0));
}

TEST(FolderMonitor, FindsANodeAmongOtherNodesOfOneReading)
{
    const test::SysfsTree tree;
    const auto monitor = FolderMonitor::make(SystemCalls::kernel(), (tree.root() / "dev").string());
    ASSERT_NE(monitor, nullptr);
    test::SysfsTree::write(tree.root() / "dev/ttyUSB0", "");
    test::SysfsTree::write(tree.root() / "dev/a-name-that-takes-another-length", "");
    test::SysfsTree::write(tree.node(3), "");
    DeviceEvent event;
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::rescan);
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::none);
}

TEST(FolderMonitor, IsNotToBeHadWithoutTheFolder)
{
    EXPECT_EQ(FolderMonitor::make(SystemCalls::kernel(), "/nowhere/at/all"), nullptr);
}

TEST(TimerMonitor, ThatRepeatsAsksForARescanEachTime)
{
    const auto monitor = TimerMonitor::makeRepeating(SystemCalls::kernel(), milliseconds(2));
    ASSERT_NE(monitor, nullptr);
    DeviceEvent event;
    for (int times = 0; times < 3; ++times) {
        ASSERT_TRUE(isReadable(monitor->descriptor(), kDeadlineMs));
        EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::rescan);
    }
}

TEST(LateFolderMonitor, AsksForOneRescanSomeTimeAfterABurstOfNodes)
{
    const test::SysfsTree tree;
    std::vector<std::unique_ptr<DeviceMonitor>> monitors;
    LateFolderMonitor::add(monitors, SystemCalls::kernel(), (tree.root() / "dev").string(), milliseconds(20));
    ASSERT_EQ(monitors.size(), 2U);
    DeviceMonitor& folder = *monitors[0];
    DeviceMonitor& delay = *monitors[1];
    test::SysfsTree::write(tree.root() / "dev/ttyUSB0", "");
    DeviceEvent event;
    EXPECT_EQ(folder.take(event), DeviceMonitor::Next::none);
    EXPECT_FALSE(isReadable(delay.descriptor(), 60)) << "no node of ours";

    test::SysfsTree::write(tree.node(1), "");
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(isReadable(folder.descriptor(), kDeadlineMs));
    EXPECT_EQ(folder.take(event), DeviceMonitor::Next::none);
    test::SysfsTree::write(tree.node(2), "");
    EXPECT_EQ(folder.take(event), DeviceMonitor::Next::none);
    EXPECT_FALSE(isReadable(folder.descriptor(), 0));
    ASSERT_TRUE(isReadable(delay.descriptor(), kDeadlineMs));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(20));
    EXPECT_EQ(delay.take(event), DeviceMonitor::Next::rescan);
    EXPECT_EQ(delay.take(event), DeviceMonitor::Next::none);
    EXPECT_FALSE(isReadable(delay.descriptor(), 60)) << "once for both nodes";
}

/// A monitor of the device folder on a clock that the case sets, with a delay of a second.
class FlappingNode : public testing::Test {
protected:
    FlappingNode() { LateFolderMonitor::add(monitors, calls, (tree.root() / "dev").string(), kDelay); }

    /// The node comes or goes.
    void flap()
    {
        if (!std::filesystem::remove(tree.node(1))) {
            test::SysfsTree::write(tree.node(1), "");
        }
        EXPECT_EQ(monitors[0]->take(event), DeviceMonitor::Next::none);
    }
    bool isRescanAskedForAfter(milliseconds time)
    {
        calls.advance(time);
        return monitors[1]->take(event) == DeviceMonitor::Next::rescan;
    }

    static constexpr milliseconds kDelay{1000};
    static constexpr milliseconds kBetweenFlaps = kDelay / 2;

    const test::SysfsTree tree;
    test::FaultyCalls calls;
    std::vector<std::unique_ptr<DeviceMonitor>> monitors;
    DeviceEvent event;
};

TEST_F(FlappingNode, CannotPutTheRescanOffForEver)
{
    ASSERT_EQ(monitors.size(), 2U);
    std::vector<int> rescans;
    for (int flaps = 1; flaps <= 12; ++flaps) {
        flap();
        if (isRescanAskedForAfter(kBetweenFlaps)) {
            rescans.push_back(flaps);
        }
    }
    // Four delays after the first change, and from then on a delay after a change that came before the last rescan.
    EXPECT_EQ(rescans, (std::vector<int>{8, 9, 10, 11, 12}));
}

TEST_F(FlappingNode, IsLookedForOnceMoreWhenItHasComeToRest)
{
    ASSERT_EQ(monitors.size(), 2U);
    for (int flaps = 1; flaps <= 8; ++flaps) {
        flap();
        EXPECT_EQ(isRescanAskedForAfter(kBetweenFlaps), flaps == 8) << flaps;
    }
    EXPECT_FALSE(isRescanAskedForAfter(kBetweenFlaps - milliseconds(1)));
    EXPECT_TRUE(isRescanAskedForAfter(milliseconds(1))) << "a delay after the last change";
    EXPECT_FALSE(isRescanAskedForAfter(10 * kDelay));
    flap();
    EXPECT_FALSE(isRescanAskedForAfter(kDelay - milliseconds(1)));
    EXPECT_TRUE(isRescanAskedForAfter(milliseconds(1))) << "a new series has the usual delay";
}

class UdevMonitorSocket : public testing::Test {
protected:
    void SetUp() override
    {
        monitor = UdevMonitor::make(UdevMonitor::Group::kernel);
        if (monitor == nullptr) {
            GTEST_SKIP() << "no event socket here";
        }
    }

    std::unique_ptr<UdevMonitor> monitor;
};

TEST_F(UdevMonitorSocket, HasNothingToSayAtFirst)
{
    DeviceEvent event;
    EXPECT_GE(monitor->descriptor(), 0);
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::none);
}

TEST_F(UdevMonitorSocket, HasRoomForMoreEventsThanTheDefault)
{
    int size = 0;
    socklen_t length = sizeof size;
    ASSERT_EQ(::getsockopt(monitor->descriptor(), SOL_SOCKET, SO_RCVBUF, &size, &length), 0);
    EXPECT_GT(size, 212992);
}

TEST_F(UdevMonitorSocket, AsksForARescanAfterLostMessages)
{
    // The loopback interface's events are of no interest, but fill the socket before they are passed over.
    const int uevent = ::open("/sys/class/net/lo/uevent", O_WRONLY | O_CLOEXEC);
    if (uevent < 0) {
        GTEST_SKIP() << "only root can make the kernel send events";
    }
    const int small = 1;
    ASSERT_EQ(::setsockopt(monitor->descriptor(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small), 0);
    for (int times = 0; times < 50; ++times) {
        EXPECT_EQ(::write(uevent, "change", 6), 6);
    }
    ::close(uevent);
    if (!isReadable(monitor->descriptor(), 0)) {
        GTEST_SKIP() << "the kernel's events do not reach this network namespace";
    }
    DeviceEvent event;
    bool hasLost = false;
    for (int times = 0; times < 100 && isReadable(monitor->descriptor(), 0); ++times) {
        hasLost = monitor->take(event) == DeviceMonitor::Next::rescan || hasLost;
    }
    EXPECT_TRUE(hasLost);
    EXPECT_EQ(monitor->take(event), DeviceMonitor::Next::none);
}

class UdevMessages : public testing::Test {
protected:
    DeviceMonitor::Next taken() { return monitor->take(event); }

    test::FaultyCalls calls;
    test::FakeNetlink kernel{calls};
    std::unique_ptr<UdevMonitor> monitor = UdevMonitor::make(UdevMonitor::Group::kernel);
    DeviceEvent event;
};

TEST_F(UdevMessages, AreGivenAsTheKernelWroteThem)
{
    kernel.tell("bind", "usb", "usb_interface", "/devices/usb1/1-1/1-1:1.0");
    ASSERT_EQ(taken(), DeviceMonitor::Next::event);
    EXPECT_EQ(event.action, "bind");
    EXPECT_EQ(event.subsystem, "usb");
    EXPECT_EQ(event.type, "usb_interface");
    EXPECT_EQ(event.path, "/devices/usb1/1-1/1-1:1.0");
    EXPECT_EQ(taken(), DeviceMonitor::Next::none);
}

TEST_F(UdevMessages, OfOtherSubsystemsArePassedOver)
{
    kernel.tell("add", "block", "disk", "/devices/virtual/block/loop0");
    kernel.tell("add", "hidraw", "", "/devices/usb1/1-1/1-1:1.0/0003:1234:ABCD.0001/hidraw/hidraw0");
    ASSERT_EQ(taken(), DeviceMonitor::Next::event);
    EXPECT_EQ(event.subsystem, "hidraw");
    EXPECT_EQ(event.type, "");
    EXPECT_EQ(taken(), DeviceMonitor::Next::none);
}

TEST_F(UdevMessages, ThatAreNoneLoseNoOther)
{
    for (const std::string& noise : {std::string("x"), std::string(9000, 'a'),
                                     std::string("add@/devices/x\0ACTION=add\0", 26), std::string(300, '\0')}) {
        kernel.send(noise);
        kernel.tell("remove", "hid", "", "/devices/usb1/1-1/1-1:1.0/0003:1234:ABCD.0001");
        bool isHeard = false;
        for (int tries = 0; tries < 3 && !isHeard; ++tries) {
            isHeard = taken() == DeviceMonitor::Next::event;
        }
        EXPECT_TRUE(isHeard) << noise.size() << " bytes of noise";
        EXPECT_EQ(event.action, "remove");
    }
}

TEST_F(UdevMessages, ThatCannotBeReceivedAskForARescan)
{
    kernel.tell("add", "usb", "usb_device", "/devices/usb1/1-1");
    for (const int error : {ENOBUFS, ENOMEM, EIO}) {
        calls.failCall(1, error);
        EXPECT_EQ(taken(), DeviceMonitor::Next::rescan) << error;
    }
    calls.failCall(1, EINTR);
    EXPECT_EQ(taken(), DeviceMonitor::Next::none);
    EXPECT_TRUE(isReadable(monitor->descriptor(), 0)) << "it is asked again";
    EXPECT_EQ(taken(), DeviceMonitor::Next::event);
}

TEST(WatchSet, NeedsAMonitor)
{
    EXPECT_EQ(WatchSet::make(SystemCalls::kernel(), {}), nullptr);
}

TEST(WatchSet, TellsWhichMonitorHasSomething)
{
    const test::SysfsTree tree;
    std::vector<std::unique_ptr<DeviceMonitor>> monitors;
    monitors.push_back(TimerMonitor::makeRepeating(SystemCalls::kernel(), std::chrono::hours(1)));
    monitors.push_back(FolderMonitor::make(SystemCalls::kernel(), (tree.root() / "dev").string()));
    const DeviceMonitor* folder = monitors[1].get();
    const auto set = WatchSet::make(SystemCalls::kernel(), std::move(monitors));
    ASSERT_NE(set, nullptr);
    EXPECT_TRUE(set->ready().empty());
    test::SysfsTree::write(tree.node(0), "");
    EXPECT_TRUE(isReadable(set->descriptor(), kDeadlineMs));
    EXPECT_EQ(set->ready(), std::vector<DeviceMonitor*>{const_cast<DeviceMonitor*>(folder)});
}

TEST(WatchSet, BecomesReadableWhenItsTimerRunsOutAndQuietAfterIt)
{
    std::vector<std::unique_ptr<DeviceMonitor>> monitors;
    monitors.push_back(TimerMonitor::makeRepeating(SystemCalls::kernel(), std::chrono::hours(1)));
    const auto set = WatchSet::make(SystemCalls::kernel(), std::move(monitors));
    ASSERT_NE(set, nullptr);
    EXPECT_FALSE(isReadable(set->descriptor(), 0));
    set->setTimer(SystemCalls::kernel().now() - std::chrono::seconds(1));
    EXPECT_TRUE(isReadable(set->descriptor(), kDeadlineMs));
    EXPECT_TRUE(set->ready().empty());
    EXPECT_FALSE(isReadable(set->descriptor(), 0));
    set->setTimer(SystemCalls::kernel().now() + std::chrono::hours(1));
    set->setTimer(std::nullopt);
    EXPECT_FALSE(isReadable(set->descriptor(), 0));
}

/// What makeMonitors puts together for this machine and the given folders.
std::vector<std::string> kindsOf(const LinuxPaths& paths)
{
    std::vector<std::string> kinds;
    for (const auto& monitor : makeMonitors(paths)) {
        const auto* raw = monitor.get();
        kinds.emplace_back(dynamic_cast<const UdevMonitor*>(raw) != nullptr         ? "events"
                           : dynamic_cast<const FolderMonitor*>(raw) != nullptr     ? "folder"
                           : dynamic_cast<const LateFolderMonitor*>(raw) != nullptr ? "late folder"
                           : dynamic_cast<const TimerMonitor*>(raw) != nullptr      ? "timer"
                                                                                    : "unknown");
    }
    return kinds;
}

/// In a container whose network the kernel sends nothing to, a timer comes last.
std::vector<std::string> withTimerIfNeeded(std::vector<std::string> kinds)
{
    if (!isNetworkOfMachine(SystemCalls::kernel())) {
        kinds.emplace_back("timer");
    }
    return kinds;
}

/// Answers what the network namespace belongs to.
class NamespaceCalls : public SystemCalls {
public:
    int openAt(int, const char* path, int) override { return std::string(path) == "/proc/self/ns/net" ? network : -1; }
    int control(int fd, unsigned long, void*) override { return fd == network ? owner : -1; }
    ssize_t readLinkAt(int, const char* path, char* buffer, std::size_t size) override
    {
        if (std::string(path) != "/proc/self/fd/" + std::to_string(owner)) {
            return -1;
        }
        return static_cast<ssize_t>(name.copy(buffer, size));
    }
    int close(int fd) override
    {
        closed.push_back(fd);
        return 0;
    }

    int network = 100;
    int owner = 101;
    std::string name;
    std::vector<int> closed;
};

TEST(NetworkNamespace, IsTheMachinesUnlessAnotherUserNamespaceOwnsIt)
{
    NamespaceCalls calls;
    calls.name = "user:[4026531837]";
    EXPECT_TRUE(isNetworkOfMachine(calls));
    calls.name = "user:[4026532208]";
    EXPECT_FALSE(isNetworkOfMachine(calls));
    EXPECT_EQ(calls.closed, (std::vector<int>{101, 100, 101, 100}));
}

TEST(NetworkNamespace, CountsAsTheMachinesWhereNobodyTells)
{
    NamespaceCalls calls;
    EXPECT_TRUE(isNetworkOfMachine(calls)) << "a link without a name";
    calls.owner = -1;
    EXPECT_TRUE(isNetworkOfMachine(calls)) << "an owner that is not ours to look at";
    calls.network = -1;
    EXPECT_TRUE(isNetworkOfMachine(calls)) << "no such file";
}

TEST(Monitors, AreTheEventsAndALateLookAtTheFolderWhereUdevdRuns)
{
    if (UdevMonitor::make(UdevMonitor::Group::udev) == nullptr) {
        GTEST_SKIP() << "no event socket here";
    }
    const test::SysfsTree tree;
    test::SysfsTree::write(tree.root() / "run/control", "");
    EXPECT_EQ(kindsOf(tree.paths()), withTimerIfNeeded({"events", "late folder", "timer"}));
}

TEST(Monitors, AreTheKernelsEventsAndTheFolderWithoutUdevd)
{
    if (UdevMonitor::make(UdevMonitor::Group::kernel) == nullptr) {
        GTEST_SKIP() << "no event socket here";
    }
    const test::SysfsTree tree;
    EXPECT_EQ(kindsOf(tree.paths()), withTimerIfNeeded({"events", "folder"}));
}

/// A kernel without a free inotify watch.
class CallsWithoutWatches : public SystemCalls {
public:
    int inotifyWatch(int fd, const char* path, std::uint32_t events) override
    {
        if (hasWatches) {
            return SystemCalls::inotifyWatch(fd, path, events);
        }
        errno = ENOSPC;
        return -1;
    }

    bool hasWatches = false;
};

TEST(Monitors, AreTriedAgainWithoutUdevdWhereTheSystemIsOutOfInotifyWatches)
{
    const test::SysfsTree tree;
    CallsWithoutWatches calls;
    LinuxPaths paths = tree.paths();
    paths.calls = &calls;
    test::RecordingSink sink;
    const auto provider = makeLinuxProvider(paths);
    testing::internal::CaptureStderr();
    EXPECT_EQ(provider->startWatching(sink), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QrxHIDManager: Arrivals and removals of devices cannot be watched: No space left on device.\n");
    calls.hasWatches = true;
    testing::internal::CaptureStderr();
    EXPECT_GE(provider->startWatching(sink), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QrxHIDManager: Arrivals and removals of devices are watched again.\n");
    provider->stopWatching();
}

TEST(Monitors, AreUdevdsEventsAloneWhereTheSystemIsOutOfInotifyWatches)
{
    if (UdevMonitor::make(UdevMonitor::Group::udev) == nullptr) {
        GTEST_SKIP() << "no event socket here";
    }
    const test::SysfsTree tree;
    test::SysfsTree::write(tree.root() / "run/control", "");
    CallsWithoutWatches calls;
    LinuxPaths paths = tree.paths();
    paths.calls = &calls;
    EXPECT_EQ(kindsOf(paths), withTimerIfNeeded({"events"}));
}

/// A machine without event sockets: the device folder and a short interval.
class Fallback : public testing::Test {
protected:
    Fallback()
    {
        LinuxPaths paths = tree.paths();
        test::setWaits(paths, milliseconds(5));
        paths.monitors = [this](const LinuxPaths& given) {
            std::vector<std::unique_ptr<DeviceMonitor>> monitors;
            if (watchesFolder) {
                monitors.push_back(FolderMonitor::make(SystemCalls::kernel(), given.device));
            }
            monitors.push_back(TimerMonitor::makeRepeating(
                SystemCalls::kernel(), watchesFolder ? milliseconds(std::chrono::hours(1)) : milliseconds(2)));
            return monitors;
        };
        provider = makeLinuxProvider(paths);
        device.interfaces = {test::hidInterface(0, 0)};
    }
    /// Handles events until something is told.
    std::string awaited(int descriptor)
    {
        const auto deadline = std::chrono::steady_clock::now() + milliseconds(kDeadlineMs);
        while (std::chrono::steady_clock::now() < deadline && isReadable(descriptor, kDeadlineMs)) {
            provider->handleEvents(sink);
            const std::string log = sink.takeLog();
            if (!log.empty()) {
                return log;
            }
        }
        return "nothing";
    }

    bool watchesFolder = true;
    test::SysfsTree tree;
    test::RecordingSink sink;
    test::TreeDevice device;
    std::unique_ptr<Provider> provider;
};

TEST_F(Fallback, FindsArrivalsAndRemovalsByTheDeviceFolder)
{
    const int descriptor = provider->startWatching(sink);
    tree.plug(device);
    EXPECT_EQ(awaited(descriptor), "+ 1-1 hid 1\n");
    tree.unplug("1-1");
    EXPECT_EQ(awaited(descriptor), "- 1-1\n");
}

TEST_F(Fallback, FindsArrivalsAndRemovalsByLookingFromTimeToTime)
{
    watchesFolder = false;
    const int descriptor = provider->startWatching(sink);
    tree.plug(device);
    EXPECT_EQ(awaited(descriptor), "+ 1-1 hid 1\n");
    tree.unplug("1-1");
    EXPECT_EQ(awaited(descriptor), "- 1-1\n");
}

} // namespace
} // namespace qrx::platform
