#include "LibraryTest.h"

#include <QrxInputLoss.h>

#include <system_error>

namespace {

/// Runs each case in both input modes; what is lost is lost before them.
class InputLoss : public LibraryTest, public testing::WithParamInterface<bool> {
protected:
    InputLoss() { setQueueMode(GetParam()); }

    DeviceHandle arrived(TestDevice& device)
    {
        device.plug();
        _tree = populatedTree();
        return _tree->getDeviceAtIndex(0);
    }
    /// Sends so many reports at once and takes what has arrived.
    static void sendBurst(TestDevice& device, int interfaceNumber, std::size_t count)
    {
        for (std::size_t number = 0; number < count; ++number) {
            device.sendInputReport(interfaceNumber, {static_cast<std::uint8_t>(number), 0, 0, 0});
        }
        runWhileBusy();
    }
    /// The interface must be able to tell.
    static std::uint64_t losses(const DeviceHandle& device, int interfaceNumber)
    {
        std::error_code error = std::make_error_code(std::errc::io_error);
        const std::uint64_t count = QrxGetPossibleLosses(*device, interfaceNumber, error);
        EXPECT_FALSE(error) << error.message();
        return count;
    }
    static std::error_code refusal(const DeviceHandle& device, int interfaceNumber)
    {
        std::error_code error;
        EXPECT_EQ(0u, QrxGetPossibleLosses(*device, interfaceNumber, error));
        return error;
    }

    static constexpr std::size_t kMost = TestDevice::kQueuedReports;
    TreeHandle _tree;
};

INSTANTIATE_TEST_SUITE_P(Modes, InputLoss, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "queue" : "interrupt"; });

TEST_P(InputLoss, IsNotToldWhileTheQueueHasRoom)
{
    TestDevice plug = makeDevice("slow", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    openWithLog(device);
    EXPECT_EQ(0u, losses(device, 0));
    for (int burst = 0; burst < 3; ++burst) {
        sendBurst(plug, 0, kMost - 1);
        EXPECT_EQ(0u, losses(device, 0)) << burst;
    }
}

TEST_P(InputLoss, IsToldForTheInterfaceWhoseQueueWasFull)
{
    TestDevice plug = makeDevice("flood", plainDescriptor(), {3, 7});
    const DeviceHandle device = arrived(plug);
    const auto log = openWithLog(device);
    sendBurst(plug, 7, kMost + 7);
    EXPECT_EQ(kMost, log->input.size());
    const std::uint64_t first = losses(device, 7);
    EXPECT_GT(first, 0u);
    EXPECT_EQ(0u, losses(device, 3));
    sendBurst(plug, 7, kMost + 7);
    EXPECT_GT(losses(device, 7), first);
    EXPECT_EQ(0u, losses(device, 3));
}

TEST_P(InputLoss, IsStillToldWhenTheDeviceHasLeft)
{
    TestDevice plug = makeDevice("flood", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    openWithLog(device);
    for (std::size_t number = 0; number < kMost + 7; ++number) {
        plug.sendInputReport(0, {1, 0, 0, 0});
    }
    plug.unplug();
    runWhileBusy();
    EXPECT_GT(losses(device, 0), 0u);
}

TEST_P(InputLoss, IsForgottenWithTheConnection)
{
    TestDevice plug = makeDevice("flood", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    EXPECT_EQ(std::errc::not_connected, refusal(device, 0));
    openWithLog(device);
    sendBurst(plug, 0, kMost + 7);
    EXPECT_GT(losses(device, 0), 0u);
    device->close();
    EXPECT_EQ(std::errc::not_connected, refusal(device, 0));
    device->open();
    EXPECT_EQ(0u, losses(device, 0));
}

TEST_P(InputLoss, IsNoMatterOfAnInterfaceThatIsNotThere)
{
    TestDevice plug = makeDevice("plain", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    openWithLog(device);
    for (const int number : {1, -1, 255}) {
        EXPECT_EQ(std::errc::no_such_device_or_address, refusal(device, number)) << number;
    }
}

} // namespace
