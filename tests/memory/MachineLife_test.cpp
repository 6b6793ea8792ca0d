/// What an observer of a machine's devices goes through, with too little memory. The machine is a folder.

#include "Delegates.h"
#include "FakeMonitor.h"
#include "Linux/LinuxProvider.h"
#include "Sweep.h"
#include "SysfsTree.h"

#include <QrxDeviceTree.h>
#include <QrxHIDDevice.h>
#include <QrxVirtualDevice.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using qrx::platform::test::EventSource;
using qrx::platform::test::hidInterface;
using qrx::platform::test::SysfsTree;
using qrx::platform::test::TreeDevice;

/// What was missed for lack of memory is looked at again after this.
constexpr std::chrono::milliseconds kSettle{2};

struct Machine {
    explicit Machine(SysfsTree& root) : tree(root) { events.followsRules = true; }

    SysfsTree& tree;
    EventSource events;
};

/// One for the process, as the provider that finds it.
Machine* sm_Machine = nullptr;

TreeDevice deviceNamed(const std::string& name, int hidraw)
{
    TreeDevice device;
    device.name = name;
    device.interfaces = {hidInterface(0, hidraw), hidInterface(1, hidraw + 1)};
    return device;
}

class MachineLife {
public:
    explicit MachineLife(Application& application) : _application(application)
    {
        // What a process before this one left there when it crashed.
        for (const char* name : {"1-1", "1-2"}) {
            if (std::filesystem::exists(_machine.tree.devicePath(name))) {
                _machine.tree.unplug(name);
            }
        }
        _machine.tree.plug(_first);
        _machine.events.lose();
    }

    void live()
    {
        CapturedLines lines;
        if (begin() && arrive("1-1")) {
            leave("1-1");
            leave("1-2");
        }
        _tree.release();
        _application.run();
        if (!_application.isMemoryGone()) {
            EXPECT_EQ(lines.count(), 2) << "removals that were told";
            EXPECT_EQ(_arrivals.count, 2);
        }
    }

private:
    unsigned int listed() { return _tree->getHIDDeviceCount(); }

    bool begin()
    {
        if (!_application.attempt([&] { _tree = QrxDeviceTree::NewInstance(); })) {
            return false;
        }
        _tree->setDelegate(&_arrivals);
        if (!_application.attempt([&] { _tree->populate(0, 0); })) {
            return false;
        }
        EXPECT_EQ(listed(), 1U);
        return _application.attempt([&] { _tree->observe(0, 0); });
    }

    void tell(const char* what, const std::string& name)
    {
        _machine.events.tell(what, _machine.tree.eventPath(_machine.tree.devicePath(name)));
    }

    bool arrive(const std::string& name)
    {
        {
            const memory::Pause pause;
            _machine.tree.plug(_second);
            tell("add usb_device", name);
            for (const auto& interface : _second.interfaces) {
                const auto node = _machine.tree.hidPath(_second, interface) / "hidraw";
                _machine.events.tell("add hidraw",
                                     _machine.tree.eventPath(node / ("hidraw" + std::to_string(interface.hidraw))));
            }
        }
        return _application.runUntil("the device has arrived", [&] { return listed() == 2; });
    }

    void leave(const std::string& name)
    {
        const unsigned int before = listed();
        {
            const memory::Pause pause;
            _machine.tree.unplug(name);
            tell("remove usb_device", name);
        }
        _application.runUntil("the device has left", [&] { return listed() + 1 == before; });
    }

    Application& _application;
    Machine& _machine = *sm_Machine;
    const TreeDevice _first = deviceNamed("1-2", 2);
    const TreeDevice _second = deviceNamed("1-1", 0);
    Arrivals _arrivals;
    mis::swizzler<QrxDeviceTree> _tree;
};

class MachineLives : public testing::TestWithParam<Famine> {};

TEST_P(MachineLives, AnyAllocationMayFailWhileDevicesComeAndGo)
{
    SysfsTree tree;
    sweepAllocations(GetParam(), [&tree](Application& application) {
        auto pause = std::make_optional<memory::Pause>();
        if (sm_Machine == nullptr) {
            sm_Machine = new Machine(tree);
        }
        {
            MachineLife life(application);
            pause.reset();
            life.live();
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Famines, MachineLives, testing::Values(Famine::once, Famine::aWhile, Famine::lasting),
                         [](const auto& famine) { return nameOf(famine.param); });

} // namespace

/// Instead of the library's own.
std::vector<std::unique_ptr<qrx::platform::Provider>> qrx::platform::makeProviders()
{
    std::vector<std::unique_ptr<Provider>> providers;
    if (sm_Machine != nullptr) {
        LinuxPaths paths;
        {
            const memory::Pause pause;
            paths = sm_Machine->tree.paths();
            qrx::platform::test::setWaits(paths, kSettle);
            paths.monitors = sm_Machine->events.factory();
        }
        providers.push_back(makeLinuxProvider(paths));
    }
    return providers;
}
