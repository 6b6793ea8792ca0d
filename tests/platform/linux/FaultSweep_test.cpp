/// Every call of the provider fails once in every way that it can, in the stories that an application goes through.

#include "FakeMonitor.h"
#include "FakeNetlink.h"
#include "Linux/monitors/FolderMonitor.h"
#include "Linux/monitors/TimerMonitor.h"
#include "Linux/monitors/UdevMonitor.h"
#include "ProviderStory.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <poll.h>

namespace qrx::platform {
namespace {

using test::Fault;
using test::ProviderStory;
using test::TreeDevice;

template <typename Kind>
std::unique_ptr<test::Story> make()
{
    return std::make_unique<Kind>();
}

class EnumerationStory : public ProviderStory {
public:
    EnumerationStory() { _tree.plug(composite("1-1", 0)); }

    void tell(const std::optional<Fault>& fault) override
    {
        const std::unique_ptr<Provider> provider = makeLinuxProvider(paths());
        provider->refresh(_sink);
        if (isUnnoticed(fault)) {
            EXPECT_EQ(countWhole(), 2U);
        } else if (fault->number > kCallsOfTheListing) {
            EXPECT_GE(countWhole(), 1U) << "one call concerns one device";
        }
        provider->refresh(_sink);
        if (!isUnnoticed(fault)) { // it may have been this one
            provider->refresh(_sink);
        }
        EXPECT_EQ(places(), (Names{"1-1", "1-2"}));
        EXPECT_GE(countWhole(), 1U);
    }

private:
    /// For each of the folders of devices and of report nodes: open, getdents twice.
    static constexpr int kCallsOfTheListing = 6;
};

TEST(FaultSweep, OfAnEnumerationCostsNoOtherDeviceAndTheNextOneMakesGood)
{
    test::sweepFaults(make<EnumerationStory>,
                      {"access", "close", "fstatfs", "getdents", "open", "read", "readlink", "stat"});
}

/// What an observer sees while devices come and go.
class HotPlugStory : public ProviderStory {
protected:
    void start()
    {
        _provider = makeLinuxProvider(watchedPaths());
        _descriptor = _provider->startWatching(_sink);
    }
    void stop()
    {
        _provider->stopWatching();
        _provider.reset();
    }
    virtual LinuxPaths watchedPaths() = 0;

    /// The run loop: handles events while there are any. Where none can be heard the application enumerates.
    void look()
    {
        if (_descriptor < 0) {
            _provider->refresh(_sink);
            return;
        }
        pollfd poll{_descriptor, POLLIN, 0};
        for (int turns = 0; ::poll(&poll, 1, 0) > 0; ++turns) {
            ASSERT_LT(turns, 100) << "readable for good";
            _provider->handleEvents(_sink);
        }
    }
    /// What the kernel tells of devices that were away for a moment.
    virtual void tellOfReturn() {}
    /// That the devices are those, at once or, after a fault that cannot go unnoticed, when some time has passed.
    void expectSoon(const Names& devices, const std::optional<Fault>& fault)
    {
        look();
        if (!isUnnoticed(fault) && places() != devices) {
            if (fault->error == ENOENT || fault->error == ENODEV) {
                tellOfReturn();
            }
            _calls.advance(kPatience);
            look();
        }
        EXPECT_EQ(places(), devices);
        // What is there and could not be read is read again while somebody observes.
        if (_descriptor >= 0 && fault && fault->error != ENOENT && fault->error != ENODEV) {
            EXPECT_EQ(countWhole(), devices.size());
        }
    }

    static constexpr std::chrono::milliseconds kPatience{2000};
    std::unique_ptr<Provider> _provider;
    int _descriptor = -1;
};

/// Where no event socket can be had.
class FolderStory : public HotPlugStory {
public:
    void tell(const std::optional<Fault>& fault) override
    {
        start();
        expectSoon({"1-2"}, fault);
        TreeDevice device = composite("1-1", 0);
        device.connectedMs = 0;
        const test::TreeInterface second = device.interfaces[1];
        device.interfaces[1].hidraw = -1;
        _tree.plug(device);
        look();
        device.interfaces[1] = second;
        _tree.addNode(device, second);
        expectSoon({"1-1", "1-2"}, fault);
        _tree.unplug("1-1");
        expectSoon({"1-2"}, fault);
        stop();
        if (isUnnoticed(fault)) {
            EXPECT_EQ(_sink.takeLog(), "+ 1-2 hid 2\n+ 1-1 hid 2\n- 1-1\n");
        }
    }

private:
    LinuxPaths watchedPaths() override
    {
        LinuxPaths watched = paths();
        watched.monitors = [this](const LinuxPaths& given) {
            std::vector<std::unique_ptr<DeviceMonitor>> monitors;
            monitors.push_back(FolderMonitor::make(_calls, given.device));
            monitors.push_back(TimerMonitor::makeRepeating(_calls, kPatience));
            std::erase(monitors, nullptr);
            return monitors;
        };
        return watched;
    }
};

TEST(FaultSweep, OfAnObservationByFolderAndTimerEndsInTheRightPicture)
{
    test::sweepFaults(make<FolderStory>,
                      {"close", "epoll_create", "epoll_ctl", "epoll_wait", "fstatfs", "getdents", "inotify_add_watch",
                       "inotify_init", "open", "read", "readlink", "stat", "timerfd_create", "timerfd_settime"});
}

/// Where udevd tells of what has happened, also after messages were lost.
class EventStory : public HotPlugStory {
public:
    EventStory()
    {
        _events.followsRules = true;
        std::filesystem::create_directories(_tree.root() / "run/data");
        test::SysfsTree::write(_tree.root() / "run/control", "");
        // Plain files have no device number.
        test::SysfsTree::write(_tree.root() / "run/data/c0:0", "");
    }

    void tell(const std::optional<Fault>& fault) override
    {
        start();
        expectSoon({"1-2"}, fault);
        arrive(composite("1-1", 0));
        expectSoon({"1-1", "1-2"}, fault);
        _tree.plug(composite("1-3", 4));
        _events.lose();
        expectSoon({"1-1", "1-2", "1-3"}, fault);
        _tree.unplug("1-1");
        tellOf("remove usb_device", "1-1");
        expectSoon({"1-2", "1-3"}, fault);
        _tree.unplug("1-3");
        _events.lose();
        expectSoon({"1-2"}, fault);
        stop();
        if (isUnnoticed(fault)) {
            EXPECT_EQ(_sink.takeLog(), "+ 1-2 hid 2\n+ 1-1 hid 2\n+ 1-3 hid 2\n- 1-1\n- 1-3\n");
        }
    }

private:
    LinuxPaths watchedPaths() override
    {
        LinuxPaths watched = paths();
        watched.monitors = _events.factory();
        return watched;
    }
    void tellOf(const std::string& what, const std::string& device)
    {
        _events.tell(what, _tree.eventPath(_tree.devicePath(device)));
    }
    void tellOfReturn() override
    {
        for (const char* device : {"1-1", "1-2", "1-3"}) {
            tellOf("add usb_device", device);
        }
    }
    void arrive(TreeDevice device)
    {
        device.connectedMs = 0;
        _tree.plug(device);
        tellOf("add usb_device", "1-1");
        look();
        for (const test::TreeInterface& one : {device.interfaces[0], device.interfaces[1]}) {
            _events.tell("add hidraw", _tree.eventPath(_tree.hidPath(device, one) / "hidraw" /
                                                       ("hidraw" + std::to_string(one.hidraw))));
        }
    }

    test::EventSource _events;
};

TEST(FaultSweep, OfAnObservationByEventsEndsInTheRightPicture)
{
    test::sweepFaults(make<EventStory>,
                      {"access", "close", "epoll_create", "epoll_ctl", "epoll_wait", "fstatfs", "getdents", "open",
                       "read", "readlink", "stat", "timerfd_create", "timerfd_settime"});
}

/// Where no udevd runs: the kernel's own messages through libudev.
class KernelStory : public HotPlugStory {
public:
    void tell(const std::optional<Fault>& fault) override
    {
        start();
        expectSoon({"1-2"}, fault);
        TreeDevice device = composite("1-1", 0);
        device.connectedMs = 0;
        _tree.plug(device);
        tellOf("add");
        tellOf("bind");
        expectSoon({"1-1", "1-2"}, fault);
        _tree.unplug("1-1");
        tellOf("remove");
        expectSoon({"1-2"}, fault);
        stop();
        if (isUnnoticed(fault)) {
            EXPECT_EQ(_sink.takeLog(), "+ 1-2 hid 2\n+ 1-1 hid 2\n- 1-1\n");
        }
    }

private:
    LinuxPaths watchedPaths() override
    {
        LinuxPaths watched = paths();
        watched.monitors = [](const LinuxPaths&) {
            std::vector<std::unique_ptr<DeviceMonitor>> monitors;
            monitors.push_back(UdevMonitor::make(UdevMonitor::Group::kernel));
            std::erase(monitors, nullptr);
            return monitors;
        };
        return watched;
    }
    void tellOf(const std::string& action)
    {
        _kernel.tell(action, "usb", "usb_device", _tree.eventPath(_tree.devicePath("1-1")));
    }
    void tellOfReturn() override
    {
        for (const char* device : {"1-1", "1-2"}) {
            _kernel.tell("add", "usb", "usb_device", _tree.eventPath(_tree.devicePath(device)));
        }
    }

    test::FakeNetlink _kernel{_calls};
};

TEST(FaultSweep, OfAnObservationOfTheKernelsMessagesEndsInTheRightPicture)
{
    test::sweepFaults(make<KernelStory>,
                      {"close", "epoll_create", "epoll_ctl", "epoll_wait", "getdents", "netlink_bind",
                       "netlink_getsockname", "netlink_recv", "netlink_recvmsg", "netlink_setsockopt", "netlink_socket",
                       "open", "read", "readlink", "stat", "timerfd_create"});
}

/// The same with everything that such a machine offers: the device folder too.
class MachineStory : public KernelStory {
private:
    LinuxPaths watchedPaths() override { return paths(); }
};

TEST(FaultSweep, OfAnObservationOfAllThatAMachineOffersEndsInTheRightPicture)
{
    test::sweepFaults(make<MachineStory>, {"access",
                                           "close",
                                           "epoll_create",
                                           "epoll_ctl",
                                           "epoll_wait",
                                           "fstatfs",
                                           "getdents",
                                           "inotify_add_watch",
                                           "inotify_init",
                                           "ioctl",
                                           "netlink_bind",
                                           "netlink_getsockname",
                                           "netlink_recv",
                                           "netlink_recvmsg",
                                           "netlink_setsockopt",
                                           "netlink_socket",
                                           "open",
                                           "read",
                                           "readlink",
                                           "stat",
                                           "timerfd_create"});
}

} // namespace
} // namespace qrx::platform
