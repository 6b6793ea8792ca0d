/// Every call of the provider fails once in every way that it can, in the stories that an application goes through.

#include "FakeMonitor.h"
#include "FakeNetlink.h"
#include "Linux/FolderMonitor.h"
#include "Linux/IntervalMonitor.h"
#include "Linux/UdevMonitor.h"
#include "ProviderStory.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <poll.h>

namespace qrx::platform {
namespace {

using test::Bytes;
using test::Fault;
using test::kindOf;
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
    /// Of the folders of all devices and of all report nodes: open, getdents twice.
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
            monitors.push_back(IntervalMonitor::make(_calls, kPatience));
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

/// What one device's user sees: a line for each thing done.
using Lines = std::vector<std::pair<std::string, std::string>>;

/// Two devices are opened, read, written to, asked, and pulled.
class NodeStory : public ProviderStory {
public:
    NodeStory()
    {
        _tree.plug(composite("1-1", 0));
        // A descriptor's enumeration is another story.
        _provider->refresh(_sink);
        _calls.resetTrace();
    }

    void tell(const std::optional<Fault>& fault) override
    {
        User first{0, portOf("1-1"), nullptr, {}};
        User second{2, portOf("1-2"), nullptr, {}};
        const std::initializer_list<User*> users = {&first, &second};
        for (User* user : users) {
            open(*user);
            take(*user, "nothing");
        }
        for (User* user : users) {
            _nodes.queue(user->hidraw, Bytes(8, 1));
            _nodes.queue(user->hidraw, Bytes(8, 2));
            take(*user, "input");
            request(*user);
        }
        for (User* user : users) {
            _nodes.queue(user->hidraw, Bytes(8, 3));
            _nodes.unplug(user->hidraw);
            _tree.unplug(user->hidraw == 0 ? "1-1" : "1-2");
            take(*user, "last input");
            user->channel.reset();
        }
        compare(first.lines, second.lines, fault);
        _provider->refresh(_sink);
        if (!isUnnoticed(fault)) {
            _provider->refresh(_sink);
        }
        EXPECT_EQ(places(), Names{});
        EXPECT_EQ(first.port->open(first.channel), Status::notAttached);
        _provider.reset();
    }

private:
    struct User {
        int hidraw;
        std::shared_ptr<HIDPort> port;
        std::unique_ptr<HIDChannel> channel;
        Lines lines;
    };

    std::shared_ptr<HIDPort> portOf(const std::string& place) const { return _sink.at(place).interfaces[0].hid; }
    static std::string textOf(Status status)
    {
        return status == Status::success ? "done" : std::to_string(static_cast<std::int32_t>(status));
    }

    static void open(User& user)
    {
        Status status = user.port->open(user.channel);
        std::string text = textOf(status);
        if (status != Status::success) {
            EXPECT_EQ(user.channel, nullptr);
            status = user.port->open(user.channel);
            text += ", then " + textOf(status);
        }
        user.lines.emplace_back("open", text);
    }
    static void take(User& user, const std::string& name)
    {
        std::string text;
        std::span<const std::uint8_t> report;
        HIDChannel::Next next = HIDChannel::Next::report;
        for (int count = 0; next == HIDChannel::Next::report && count < 10; ++count) {
            next = user.channel->takeReport(report);
            if (next == HIDChannel::Next::report) {
                text += test::hexText(Bytes(report.begin(), report.end())) + ", ";
            } else if (next == HIDChannel::Next::empty && name == "last input" && count < 3) {
                next = HIDChannel::Next::report; // the removal comes after the last report
            }
        }
        user.lines.emplace_back(name, text + (next == HIDChannel::Next::gone ? "gone" : "empty"));
    }
    void request(User& user)
    {
        const Bytes bytes{1, 2};
        user.lines.emplace_back("output", textOf(user.channel->setReport(ReportType::output, 0, bytes)));
        user.lines.emplace_back("feature", textOf(user.channel->setReport(ReportType::feature, 0, bytes)));
        user.lines.emplace_back("set input", textOf(user.channel->setReport(ReportType::input, 0, bytes)));
        for (const ReportType type : {ReportType::feature, ReportType::input, ReportType::output}) {
            _nodes.answer(user.hidraw, {0, 7, 8});
            Bytes buffer(8);
            std::size_t size = 0;
            const Status status = user.channel->getReport(type, 0, buffer, size);
            buffer.resize(size);
            user.lines.emplace_back("get " + std::to_string(static_cast<int>(type)),
                                    textOf(status) + " " + test::hexText(buffer));
        }
        user.lines.emplace_back("device", _nodes.takeRequests(user.hidraw));
    }

    static Lines undisturbed()
    {
        const std::string got = "done 07 08";
        return {{"open", "done"},
                {"nothing", "empty"},
                {"input", "01 01 01 01 01 01 01 01, 02 02 02 02 02 02 02 02, empty"},
                {"output", "done"},
                {"feature", "done"},
                {"set input", "done"},
                {"get 2", got},
                {"get 0", got},
                {"get 1", got},
                {"device", "write 00 01 02\nioctl 06 00 01 02\nioctl 09 00 01 02\n"
                           "ioctl 07 00 00 00 00 00 00 00 00 00\nioctl 0a 00 00 00 00 00 00 00 00 00\n"
                           "ioctl 0c 00 00 00 00 00 00 00 00 00\n"},
                {"last input", "03 03 03 03 03 03 03 03, gone"}};
    }
    /// What differs from the undisturbed story, what the device itself saw left out.
    static Lines differences(const Lines& lines)
    {
        Lines different;
        const Lines expected = undisturbed();
        EXPECT_EQ(lines.size(), expected.size());
        for (std::size_t at = 0; at < expected.size(); ++at) {
            if (lines.at(at) != expected[at] && lines[at].first != "device") {
                different.push_back(lines[at]);
            }
        }
        return different;
    }
    static void compare(const Lines& first, const Lines& second, const std::optional<Fault>& fault)
    {
        if (isUnnoticed(fault)) {
            EXPECT_EQ(first, undisturbed());
            EXPECT_EQ(second, undisturbed());
            return;
        }
        const Lines ofFirst = differences(first);
        const Lines ofSecond = differences(second);
        EXPECT_TRUE(ofFirst.empty() || ofSecond.empty()) << "one call concerns one device";
        judge(ofFirst.empty() ? ofSecond : ofFirst, *fault);
    }
    /// Whether that is what the fault may do.
    static void judge(const Lines& different, const Fault& fault)
    {
        const std::string kind = kindOf(fault.call);
        const bool isOfNode = fault.call.find("/hidraw") != std::string::npos && !fault.call.ends_with("class/hidraw");
        if (kind == "open" && isOfNode && fault.error == EACCES) {
            EXPECT_EQ(different, (Lines{{"output", textOf(Status::notPermitted)}})) << "it may be read only";
        } else if ((kind == "open" || kind == "access") && isOfNode) {
            ASSERT_EQ(different.size(), 1U);
            EXPECT_EQ(different[0].first, "open");
            EXPECT_TRUE(different[0].second.ends_with(", then done")) << different[0].second;
        } else if (kind == "preadv2" || kind == "readv") {
            for (const auto& [name, text] : different) {
                EXPECT_TRUE(text == "gone" || text.ends_with(", gone")) << name << ": " << text;
            }
        } else if (kind == "write" || kind == "ioctl") {
            ASSERT_EQ(different.size(), 1U);
            EXPECT_NE(different[0].second.substr(0, 4), "done") << different[0].first;
        } else {
            EXPECT_EQ(different, Lines{});
        }
    }

    std::unique_ptr<Provider> _provider = makeLinuxProvider(paths());
};

TEST(FaultSweep, OfOpenNodesConcernsOneDeviceAndOneRequest)
{
    test::sweepFaults(make<NodeStory>, {"access", "close", "getdents", "ioctl", "open", "preadv2", "readv", "write"});
}

} // namespace
} // namespace qrx::platform
