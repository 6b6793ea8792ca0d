/// Plugged and pulled while input flows, again and again.

#include "Library.h"

#include <cstdlib>

#include <malloc.h>

using namespace qrx::guest;

namespace {

/// 50; the environment variable QRX_GUEST_CYCLES asks for more.
int cycles()
{
    const char* wanted = std::getenv("QRX_GUEST_CYCLES");
    return wanted != nullptr ? std::atoi(wanted) : 50;
}

class Churn : public Library {
protected:
    void plugAndWait()
    {
        told.arrivals.clear();
        plugWhole(plug);
        ASSERT_TRUE(runUntil([this] { return !told.arrivals.empty(); }));
    }
    void pullAndWait()
    {
        plug.unplug();
        ASSERT_TRUE(runUntil([this] { return tree->getHIDDeviceCount() == 0; }));
        runWhileBusy();
        plug.takeControlRequests();
        ASSERT_EQ(told.arrivals, Names{"restless"});
    }

    /// The device comes, is read for that many reports while more flow, and is pulled.
    void cycleWithInput(std::size_t reports)
    {
        const CapturedOutput output;
        ASSERT_NO_FATAL_FAILURE(plugAndWait());
        plug.flood(0, [](std::uint64_t) { return Bytes(8); });
        plug.flood(1, [](std::uint64_t) { return Bytes(64); });
        const DeviceHandle device = tree->getDeviceAtIndex(0);
        const auto log = openWithLog(device);
        ASSERT_TRUE(runUntil([&] { return log->input.size() >= reports; }));
        ASSERT_NO_FATAL_FAILURE(pullAndWait());
        device->close();
        ASSERT_EQ(output.text(), "device notification: id 2\n");
    }
    /// The device comes and goes, and nobody opens it.
    void cycleWithoutInput()
    {
        const CapturedOutput output;
        ASSERT_NO_FATAL_FAILURE(plugAndWait());
        ASSERT_NO_FATAL_FAILURE(pullAndWait());
    }

    TreeHandle tree = observingTree();
    VhciDevice plug{identityOf("restless"), {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(64))}};
};

std::size_t openDescriptors()
{
    return listFolder("/proc/self/fd").size();
}

std::ptrdiff_t usedBytes()
{
    return static_cast<std::ptrdiff_t>(::mallinfo2().uordblks);
}

} // namespace

TEST_F(Churn, EachComingAndGoingIsToldOnceAndNothingStaysBehind)
{
    constexpr int kQuietCycles = 5;
    // What is made once is made in the first cycle.
    ASSERT_NO_FATAL_FAILURE(cycleWithInput(1));
    const std::size_t descriptors = openDescriptors();
    // The backend keeps a little of every device for good (see KnownLeaks.cpp of its tests); the rest must come back.
    const std::ptrdiff_t start = usedBytes();
    for (int cycle = 0; cycle < kQuietCycles; ++cycle) {
        ASSERT_NO_FATAL_FAILURE(cycleWithoutInput()) << "quiet cycle " << cycle;
    }
    const std::ptrdiff_t keptPerDevice = (usedBytes() - start) / kQuietCycles;

    const std::ptrdiff_t before = usedBytes();
    const int count = cycles();
    for (int cycle = 0; cycle < count; ++cycle) {
        // Each ends at another moment of the flow.
        ASSERT_NO_FATAL_FAILURE(cycleWithInput(static_cast<std::size_t>(cycle % 50) * 4 + 1)) << "cycle " << cycle;
        ASSERT_EQ(openDescriptors(), descriptors) << "cycle " << cycle;
    }
    constexpr std::ptrdiff_t kLittle = 1024;
    // A cycle: a number of each connection that the backend keeps, and the allocator's rounding.
    constexpr std::ptrdiff_t kTolerance = 512;
    const std::ptrdiff_t perCycle = (usedBytes() - before) / count;
    std::cout << count << " cycles; memory that stays: " << perCycle << " bytes a cycle with input, " << keptPerDevice
              << " without\n";
    EXPECT_LE(keptPerDevice, kLittle);
    EXPECT_LE(perCycle, keptPerDevice + kTolerance);
}
