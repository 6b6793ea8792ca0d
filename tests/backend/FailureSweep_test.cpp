#include "BackendTest.h"

#include <algorithm>

using world::Sample;

namespace {

/// What the backend keeps on purpose: "Elements" of each walk and "InputReportElements" of a failed queue, the number
/// that sizes the report buffer, and the source of a port that was made but could not be used.
bool isDocumented(const std::string& leak)
{
    return leak.find("Elements") != std::string::npos || leak.find(".MaxInputReportSize") != std::string::npos ||
           leak == "port-source";
}

/// Populate, observe, open, input, output, close, unplug, end.
void live(fake::FakePlatform& platform, int systemVersion)
{
    platform.systemVersion = systemVersion;
    world::DeviceDescription description;
    description.vendorID = 1;
    description.interfaces = {{0, Sample::kPedal, 0, 0}, {1, Sample::kVendor, 0, 0}};
    auto& first = world::addDeviceEntries(platform, "usb1", description);
    first.properties["USB Vendor Name"] = fake::Value(fake::Text{"Acme", false});
    DeviceRecord record;
    RecordingTreeDelegate told;
    mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&told);
    tree->populate(kAnything);
    tree->observe(kAnything);
    platform.registry.announce(world::addDeviceEntries(platform, "usb2", description));
    platform.runLoop.run();
    std::vector<mis::swizzler<QrxHIDDevice>> devices;
    for (unsigned int index = 0; index < tree->getHIDDeviceCount(); ++index) {
        devices.push_back(tree->getDeviceAtIndex(index));
        devices.back()->getVendorName();
        devices.back()->setDelegate(new RecordingDeviceDelegate(record));
        devices.back()->open();
    }
    for (const std::string name : {"usb1-hid0", "usb2-hid1"}) {
        platform.hid.deliver(platform.registry.entry(name), fake::Bytes(name == "usb1-hid0" ? 1U : 64U, 1));
    }
    platform.runLoop.run();
    for (const mis::swizzler<QrxHIDDevice>& device : devices) {
        device->setReport(1, 2, bytesOf({2, 3}), 1);
        device->close();
    }
    platform.registry.terminate(first);
    platform.runLoop.run();
    devices.clear();
    tree.release();
}

/// One life after the other, in each of which another call of the platform fails: nothing may crash, and nothing may
/// stay behind but what is documented.
void sweep(int systemVersion)
{
    int lives = 0;
    for (int number = 1;; ++number) {
        fake::FakePlatform platform;
        platform.log.withLooks = false;
        platform.log.failAnyCall(number);
        testing::internal::CaptureStdout();
        live(platform, systemVersion);
        testing::internal::GetCapturedStdout();
        std::vector<std::string> leaks = platform.leaks();
        leaks.erase(std::remove_if(leaks.begin(), leaks.end(), isDocumented), leaks.end());
        EXPECT_EQ(leaks, std::vector<std::string>{}) << "call " << number << ", " << platform.log.failed();
        if (platform.log.failed().empty()) {
            break;
        }
        ++lives;
    }
    EXPECT_GT(lives, 100);
}

} // namespace

TEST(FailureSweep, EachCallFailingOnceIsSurvivedByInterrupt)
{
    sweep(0);
}

TEST(FailureSweep, EachCallFailingOnceIsSurvivedByQueue)
{
    sweep(0x1068);
}
