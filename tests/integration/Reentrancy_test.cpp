#include "LibraryTest.h"

#include <stdexcept>

namespace {

struct Refusal : std::runtime_error {
    Refusal() : std::runtime_error("the delegate throws") {}
};

/// What an application may do in the middle of being called.
enum class Action { close, dropDevice, destroyTree, unplug, replaceDelegate, reopen, throwException, everything };

std::string nameOf(Action action)
{
    switch (action) {
    case Action::close:
        return "Close";
    case Action::dropDevice:
        return "DropDevice";
    case Action::destroyTree:
        return "DestroyTree";
    case Action::unplug:
        return "Unplug";
    case Action::replaceDelegate:
        return "ReplaceDelegate";
    case Action::reopen:
        return "Reopen";
    case Action::throwException:
        return "Throw";
    default:
        return "Everything";
    }
}

/// One device, open in an observing tree; what is done to them is the parameter.
class Reentrancy : public LibraryTest, public testing::WithParamInterface<std::tuple<Action, bool>> {
protected:
    Reentrancy()
    {
        setQueueMode(std::get<1>(GetParam()));
        _tree = makeTree();
        _tree->observe(0, 0);
    }

    void arrive()
    {
        _plugged.plug();
        ASSERT_TRUE(runUntil([&] { return _tree->getHIDDeviceCount() == 1; }));
        _device = _tree->getDeviceAtIndex(0);
        _log = openWithLog(_device);
    }

    void act()
    {
        ++_actCount;
        if (_actCount > 1) {
            return;
        }
        switch (std::get<0>(GetParam())) {
        case Action::close:
            return close();
        case Action::dropDevice:
            _device = nullptr;
            return;
        case Action::destroyTree:
            return destroyTree();
        case Action::unplug:
            return _plugged.unplug();
        case Action::replaceDelegate:
            return replaceDelegate();
        case Action::reopen:
            close();
            if (_device) {
                _device->open();
            }
            return;
        case Action::throwException:
            throw Refusal();
        case Action::everything:
            replaceDelegate();
            close();
            _plugged.unplug();
            destroyTree();
            throw Refusal();
        }
    }

    void close()
    {
        if (_device) {
            _device->close();
        }
    }

    void destroyTree()
    {
        _device = nullptr;
        _tree = nullptr;
    }

    void replaceDelegate()
    {
        if (_device) {
            _device->setDelegate(nullptr);
            // It may be in the middle of a call, so it lives until the test ends.
            _replacedDelegate.reset(_log->delegate);
        }
    }

    /// Runs the loop dry; exceptions of the delegate are the application's own.
    void run()
    {
        for (int pass = 0; pass < 1000; ++pass) {
            try {
                if (QrxRunLoop::getCurrent().runOnce(0) != QrxRunLoop::Outcome::handled) {
                    return;
                }
            } catch (const Refusal&) {
                ++_refusalCount;
            }
        }
        FAIL() << "the loop never comes to rest";
    }

    bool throws() const
    {
        return std::get<0>(GetParam()) == Action::throwException || std::get<0>(GetParam()) == Action::everything;
    }

    TestDevice _plugged = makeDevice("device", plainDescriptor(), {0, 1});
    TreeHandle _tree;
    DeviceHandle _device;
    std::shared_ptr<RecordingDeviceDelegate::Log> _log;
    std::unique_ptr<RecordingDeviceDelegate> _replacedDelegate;
    int _actCount = 0;
    int _refusalCount = 0;
    CapturedOutput _output;
};

INSTANTIATE_TEST_SUITE_P(Actions, Reentrancy,
                         testing::Combine(testing::Values(Action::close, Action::dropDevice, Action::destroyTree,
                                                          Action::unplug, Action::replaceDelegate, Action::reopen,
                                                          Action::throwException, Action::everything),
                                          testing::Bool()),
                         [](const auto& tested) {
                             return nameOf(std::get<0>(tested.param)) +
                                    (std::get<1>(tested.param) ? "InQueueMode" : "InInterruptMode");
                         });

TEST_P(Reentrancy, FromInsideAnInputReport)
{
    arrive();
    _log->onInput = [&] { act(); };
    for (std::uint8_t i = 0; i < 10; ++i) {
        _plugged.sendInputReport(0, {i, 0, 0, 0});
        _plugged.sendInputReport(1, {i, 1, 1, 1});
    }
    run();
    EXPECT_GE(_actCount, 1);
    EXPECT_EQ(throws() ? 1 : 0, _refusalCount);
    if (std::get<0>(GetParam()) == Action::throwException) {
        EXPECT_EQ(20u, _log->input.size()) << "the exception costs no other report";
    }
}

TEST_P(Reentrancy, FromInsideASentReport)
{
    arrive();
    _log->onSent = [&] { act(); };
    const DeviceHandle device = _device;
    try {
        device->setReport(1, 0, {1, 2}, 0);
    } catch (const Refusal&) {
        ++_refusalCount;
    }
    run();
    EXPECT_EQ(1, _actCount);
    EXPECT_EQ(throws() ? 1 : 0, _refusalCount);
}

TEST_P(Reentrancy, FromInsideAnArrival)
{
    TestDevice other = makeDevice("other", plainDescriptor());
    _treeDelegate.onArrival = [&](const DeviceHandle& device) {
        if (_actCount == 0) {
            _device = device;
            _log = openWithLog(device);
        }
        act();
    };
    _plugged.plug();
    other.plug();
    run();
    EXPECT_GE(_actCount, 1);
    EXPECT_EQ(throws() ? 1 : 0, _refusalCount);
    if (_tree) {
        // Whatever happened to the first, the second was announced and what is unplugged leaves.
        EXPECT_EQ((std::vector<std::string>{"device", "other"}), _treeDelegate.arrivals);
        other.unplug();
        _plugged.unplug();
        run();
        EXPECT_EQ(0u, _tree->getHIDDeviceCount());
    }
}

TEST_P(Reentrancy, FromInsideAnArrivalThatPopulateFinds)
{
    _tree = makeTree();
    _plugged.plug();
    _treeDelegate.onArrival = [&](const DeviceHandle& device) {
        _device = device;
        _log = openWithLog(device);
        act();
    };
    // The application's own handle may be the one that goes.
    const TreeHandle tree = _tree;
    try {
        tree->populate(0, 0);
    } catch (const Refusal&) {
        ++_refusalCount;
    }
    run();
    EXPECT_EQ(1, _actCount);
    EXPECT_EQ(throws() ? 1 : 0, _refusalCount);
}

TEST_P(Reentrancy, FromInsideTheDeviceThatTakesAReport)
{
    if (_plugged.virtualDevice() == nullptr) {
        GTEST_SKIP() << "only a virtual device is in the middle of the call";
    }
    arrive();
    _plugged.virtualDevice()->setSentReportHandler([&](const QrxSentReport&) {
        if (std::get<0>(GetParam()) == Action::throwException || std::get<0>(GetParam()) == Action::everything) {
            _plugged.unplug();
        } else {
            act();
        }
        return true;
    });
    const DeviceHandle device = _device;
    device->setReport(1, 0, {1, 2}, 0);
    run();
    EXPECT_EQ(0, _refusalCount);
}

} // namespace
