#include "LibraryTest.h"

#include <atomic>
#include <thread>

namespace {

class Threads : public LibraryTest {};

/// What one application thread does: its own tree, its own devices, its own loop; the registry is everybody's.
void useTheLibrary(std::uint16_t vendorID, std::atomic<int>& failures)
{
    struct Delegate final : QrxDeviceTreeDelegateInterface {
        void deviceAdded(DeviceHandle device) override
        {
            logs.push_back(std::make_shared<RecordingDeviceDelegate::Log>());
            device->setDelegate(new RecordingDeviceDelegate(logs.back()));
            device->open();
        }
        std::vector<std::shared_ptr<RecordingDeviceDelegate::Log>> logs;
    } delegate;

    const auto identity = QrxVirtualIdentity(vendorID, 1).setProductName("thread's own");
    TreeHandle tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&delegate);
    tree->populate(vendorID, 0);
    tree->observe(vendorID, 0);
    QrxRunLoop loop = QrxRunLoop::getCurrent();
    constexpr int kPlugs = 20;
    constexpr std::size_t kReports = 40;
    for (int plug = 1; plug <= kPlugs; ++plug) {
        QrxVirtualDevice device(identity, {{0, plainDescriptor()}});
        device.plug();
        const auto wait = [&](auto condition) {
            for (int pass = 0; pass < 10000 && !condition(); ++pass) {
                loop.runOnce(0.01);
            }
            if (!condition()) {
                ++failures;
            }
        };
        wait([&] { return delegate.logs.size() == static_cast<std::size_t>(plug); });
        if (failures != 0) {
            return;
        }
        for (std::uint8_t i = 0; i < kReports; ++i) {
            device.sendInputReport(0, {i, 1, 2, 3});
        }
        wait([&] { return delegate.logs.back()->input.size() == kReports; });
        tree->getDeviceAtIndex(0)->setReport(1, 0, {1, 2}, 0);
        failures += device.takeSentReports().size() == 1 ? 0 : 1;
        tree->getDeviceAtIndex(0)->close();
        device.unplug();
        wait([&] { return tree->getHIDDeviceCount() == 0; });
    }
}

TEST_F(Threads, TwoThreadsEachWithATreeOfTheirOwn)
{
    // Both write lines about removals: standard output itself may be shared, a captured stream may not.
    std::atomic<int> failures = 0;
    std::thread first([&] { useTheLibrary(0x1111, failures); });
    std::thread second([&] { useTheLibrary(0x2222, failures); });
    first.join();
    second.join();
    EXPECT_EQ(0, failures);
}

TEST_F(Threads, ADeviceOfOneThreadIsDrivenFromAnother)
{
    TestDevice driven = makeDevice("driven", plainDescriptor());
    QrxVirtualDevice& device = *driven.virtualDevice();
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    std::shared_ptr<RecordingDeviceDelegate::Log> log;
    DeviceHandle handle;
    _treeDelegate.onArrival = [&](const DeviceHandle& arrived) {
        handle = arrived;
        log = openWithLog(arrived);
    };
    constexpr std::uint32_t kCount = 5000;
    std::thread driver([&] {
        device.plug();
        while (device.getOpenCount(0) == 0) {
            std::this_thread::yield();
        }
        for (std::uint32_t i = 0; i < kCount; ++i) {
            const Bytes report{static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8), 0, 0};
            while (!device.hasRoom(0)) {
                std::this_thread::yield();
            }
            device.sendInputReport(0, report);
        }
        device.unplug();
    });
    const CapturedOutput output;
    EXPECT_TRUE(runUntil([&] { return log != nullptr && log->input.size() == kCount; }));
    driver.join();
    EXPECT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
    handle->close();
    for (std::uint32_t i = 0; i < log->input.size(); ++i) {
        ASSERT_EQ(static_cast<std::uint8_t>(i), log->input[i].bytes[0]) << "report " << i;
    }
}

} // namespace
