/// A process that may open no file, one, two and so on goes through an application's whole life. Whatever fails is
/// told, by an exception or a line, and once descriptors are free again nothing is missing and nothing is left over.

#include "DescriptorLimit.h"
#include "ErrorOf.h"
#include "FakeNodes.h"
#include "LibraryWorld.h"
#include "SysfsTree.h"

#include <gmock/gmock.h>

#include "CoreFoundation/SystemVersion.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <thread>

namespace {

using qrx::platform::LinuxPaths;
namespace linux_test = qrx::platform::test;

constexpr std::chrono::seconds kDeadline{10};
/// More than a life takes.
constexpr std::size_t kPlenty = 32;

/// The machine that the process's Linux provider finds.
struct Machine {
    linux_test::SysfsTree tree;
    linux_test::FakeNodes nodes{(tree.root() / "dev").string()};

    static Machine& shared()
    {
        static Machine sm_Machine;
        return sm_Machine;
    }
    LinuxPaths paths()
    {
        LinuxPaths paths = tree.paths();
        qrx::platform::test::setWaits(paths, std::chrono::milliseconds(20));
        paths.times.rescanInterval = paths.times.lateRescan = std::chrono::milliseconds(20);
        paths.calls = &nodes;
        return paths;
    }
};

/// The device of a life.
class World {
public:
    virtual ~World() = default;
    virtual void plug() = 0;
    virtual void unplug() = 0;
    virtual void send(const Bytes& report) = 0;
    virtual bool hasTakenOutput() = 0;
};

class VirtualWorld final : public World {
public:
    void plug() override { _device.plug(); }
    void unplug() override { _device.unplug(); }
    void send(const Bytes& report) override { _device.sendInputReport(0, report); }
    bool hasTakenOutput() override { return !_device.takeSentReports().empty(); }

private:
    QrxVirtualDevice _device{QrxVirtualIdentity(0x1234, 1).setProductName("limited"), {{0, plainDescriptor()}}};
};

class LinuxWorld final : public World {
public:
    LinuxWorld()
    {
        _device.connectedMs = 0;
        _device.interfaces = {linux_test::hidInterface(0, 0)};
        _device.interfaces[0].reportDescriptor = plainDescriptor();
    }
    void plug() override { _machine.tree.plug(_device); }
    void unplug() override
    {
        _machine.nodes.unplug(0);
        _machine.tree.unplug(_device.name);
    }
    void send(const Bytes& report) override { _machine.nodes.queue(0, report); }
    bool hasTakenOutput() override { return !_machine.nodes.takeRequests(0).empty(); }

private:
    Machine& _machine = Machine::shared();
    linux_test::TreeDevice _device;
};

/// One life in a thread, and so with a run loop, of its own.
class Life {
public:
    Life(World& world, std::size_t free) : _world(world), _limit(free)
    {
        attempt([this] { _tree->populate(0, 0); });
        _observes = attempt([this] { _tree->observe(0, 0); });
        run();
        unlimited([this] { _world.plug(); });
        run();
        use();
        _limit.lift();
        recover();
    }

    /// The limit was not felt.
    bool wasUndisturbed() const { return _wasUndisturbed; }

private:
    /// False if there was no descriptor for it.
    static bool attempt(const std::function<void()>& step)
    {
        try {
            step();
        } catch (const std::system_error& failure) {
            EXPECT_EQ(failure.code(), std::errc::too_many_files_open);
            return false;
        }
        return true;
    }
    void unlimited(const std::function<void()>& step)
    {
        _limit.lift();
        step();
        _limit.impose();
    }
    /// What is due, as far as there is a loop.
    static void run()
    {
        attempt([] {
            constexpr int kMostPasses = 100;
            int passes = 0;
            while (passes < kMostPasses && QrxRunLoop::getCurrent().runOnce(0.002) == QrxRunLoop::Outcome::handled) {
                ++passes;
            }
            EXPECT_LT(passes, kMostPasses) << "the loop spins";
        });
    }
    static bool runUntil(const std::function<bool()>& condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            QrxRunLoop::getCurrent().runOnce(0.01);
        }
        return condition();
    }

    void use()
    {
        for (unsigned int index = 0; index < _tree->getHIDDeviceCount(); ++index) {
            const DeviceHandle device = _tree->getDeviceAtIndex(index);
            device->setDelegate(new RecordingDeviceDelegate(_log));
            attempt([&] { device->open(); });
            unlimited([this] { _world.send({1, 2, 3, 4}); });
            run();
            attempt([&] { device->setReport(1, 0, {5, 6}, 0); });
        }
        _wasUndisturbed = _log->input.size() == 1 && _world.hasTakenOutput();
    }

    void recover()
    {
        if (!_observes) {
            _tree->observe(0, 0);
        }
        ASSERT_TRUE(runUntil([this] { return _tree->getHIDDeviceCount() == 1; })) << _tree->getHIDDeviceCount();
        const DeviceHandle device = _tree->getDeviceAtIndex(0);
        device->close();
        if (_log->delegate == nullptr) { // the device was not there yet
            device->setDelegate(new RecordingDeviceDelegate(_log));
        }
        device->open();
        _log->input.clear();
        _world.send({7, 8, 9, 10});
        EXPECT_TRUE(runUntil([this] { return !_log->input.empty(); })) << "opened, but deaf";
        device->setReport(1, 0, {5, 6}, 0);
        EXPECT_TRUE(_world.hasTakenOutput());
        device->close();
        _world.unplug();
        EXPECT_TRUE(runUntil([this] { return _tree->getHIDDeviceCount() == 0; })) << "a ghost";
    }

    World& _world;
    DescriptorLimit _limit;
    TreeHandle _tree = QrxDeviceTree::NewInstance();
    std::shared_ptr<RecordingDeviceDelegate::Log> _log = std::make_shared<RecordingDeviceDelegate::Log>();
    bool _observes = false;
    bool _wasUndisturbed = false;
};

class DescriptorSweep : public testing::Test {
protected:
    static std::size_t openDescriptors()
    {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    /// Returns what was told on standard error.
    template <typename Kind>
    std::string sweep()
    {
        std::string told;
        std::size_t disturbed = 0;
        // The undisturbed life first: see DescriptorLimit for what sanitizers need.
        for (std::size_t free = kPlenty + 1; free-- > 0;) {
            SCOPED_TRACE(std::to_string(free) + " free descriptors");
            const std::size_t before = openDescriptors();
            bool wasUndisturbed = false;
            testing::internal::CaptureStderr();
            std::thread([&] {
                const CapturedOutput output;
                Kind world;
                wasUndisturbed = Life(world, free).wasUndisturbed();
            }).join();
            told += testing::internal::GetCapturedStderr();
            EXPECT_EQ(openDescriptors(), before) << "a descriptor was left behind";
            EXPECT_TRUE(wasUndisturbed || free < kPlenty);
            disturbed += wasUndisturbed ? 0 : 1;
        }
        EXPECT_GT(disturbed, 3U);
        return told;
    }
};

const auto kTellsOfWatching = testing::HasSubstr("cannot be watched: Too many open files");
const auto kTellsOfOpening = testing::HasSubstr("of the virtual device \"limited\" cannot be opened: ");

TEST_F(DescriptorSweep, OfALifeWithAVirtualDeviceLosesNothing)
{
    EXPECT_THAT(sweep<VirtualWorld>(), testing::AllOf(kTellsOfWatching, kTellsOfOpening));
}

TEST_F(DescriptorSweep, OfALifeWithAVirtualDeviceInQueueModeLosesNothing)
{
    constexpr std::int32_t kQueueModeVersion = 0x1068;
    qrx::platform::setSystemVersion(kQueueModeVersion);
    EXPECT_THAT(sweep<VirtualWorld>(), testing::AllOf(kTellsOfWatching, kTellsOfOpening));
    qrx::platform::setSystemVersion(std::nullopt);
}

TEST_F(DescriptorSweep, OfALifeWithADeviceOfTheKernelLosesNothing)
{
    EXPECT_THAT(sweep<LinuxWorld>(), kTellsOfWatching);
}

/// The kernel, for a user who may have no more epoll watches while `isFull`.
class LimitedWatches : public qrx::platform::SystemCalls {
public:
    LimitedWatches() : _earlier(replaceOfProcess(this)) {}
    ~LimitedWatches() override { replaceOfProcess(_earlier); }

    int epollAdd(int set, int descriptor, epoll_event& interest) override
    {
        if (isFull) {
            errno = ENOSPC;
            return -1;
        }
        return SystemCalls::epollAdd(set, descriptor, interest);
    }

    bool isFull = false;

private:
    SystemCalls* const _earlier;
};

TEST(LimitOfWatches, IsToldByOpenAndObserveWhichMayBeCalledAgain)
{
    LimitedWatches calls;
    // A loop of its own, made with those calls.
    std::thread([&calls] {
        const CapturedOutput output;
        VirtualWorld world;
        world.plug();
        const TreeHandle tree = QrxDeviceTree::NewInstance();
        tree->populate(0x1234, 1);
        ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
        const DeviceHandle device = tree->getDeviceAtIndex(0);
        const auto log = std::make_shared<RecordingDeviceDelegate::Log>();
        device->setDelegate(new RecordingDeviceDelegate(log));
        QrxRunLoop loop = QrxRunLoop::getCurrent();
        calls.isFull = true;
        EXPECT_EQ(errorOf([&] { device->open(); }), ENOSPC);
        EXPECT_EQ(errorOf([&] { tree->observe(0x1234, 1); }), ENOSPC);
        calls.isFull = false;
        tree->observe(0x1234, 1);
        device->open();
        world.send({7, 8, 9, 10});
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (log->input.empty() && std::chrono::steady_clock::now() < deadline) {
            loop.runOnce(0.01);
        }
        EXPECT_EQ(log->input.size(), 1U);
        device->close();
    }).join();
}

} // namespace

namespace qrx::platform {

std::vector<std::unique_ptr<Provider>> makeProviders()
{
    std::vector<std::unique_ptr<Provider>> providers;
    providers.push_back(makeLinuxProvider(Machine::shared().paths()));
    return providers;
}

} // namespace qrx::platform
