/// Plugged and pulled while input flows, again and again.

#include "Library.h"

#include <cstdlib>

#include <malloc.h>

using namespace qrx::guest;

namespace {

using Churn = Library;

/// 50; the environment variable QRX_GUEST_CYCLES asks for more.
int cycles()
{
    const char* wanted = std::getenv("QRX_GUEST_CYCLES");
    return wanted != nullptr ? std::atoi(wanted) : 50;
}

std::size_t openDescriptors()
{
    return listFolder("/proc/self/fd").size();
}

std::size_t usedBytes()
{
    return ::mallinfo2().uordblks;
}

} // namespace

TEST_F(Churn, EachComingAndGoingIsToldOnceAndNothingStaysBehind)
{
    const TreeHandle tree = observingTree();
    VhciDevice plug(identityOf("restless"), {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(64))});
    std::size_t descriptors = 0;
    std::size_t bytes = 0;
    const int count = cycles();
    for (int cycle = 0; cycle <= count; ++cycle) {
        told.arrivals.clear();
        const CapturedOutput output;
        plug.plug();
        plug.flood(0, [](std::uint64_t) { return Bytes(8); });
        plug.flood(1, [](std::uint64_t) { return Bytes(64); });
        ASSERT_TRUE(runUntil([&] { return !told.arrivals.empty(); })) << "cycle " << cycle;
        {
            const DeviceHandle device = tree->getDeviceAtIndex(0);
            const auto log = openWithLog(device);
            // Each cycle ends at another moment of the flow.
            const auto enough = static_cast<std::size_t>(cycle % 50) * 4 + 1;
            ASSERT_TRUE(runUntil([&] { return log->input.size() >= enough; })) << "cycle " << cycle;
            plug.unplug();
            ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; })) << "cycle " << cycle;
            device->close();
        }
        runWhileBusy();
        ASSERT_EQ(told.arrivals, Names{"restless"}) << "cycle " << cycle;
        ASSERT_EQ(output.text(), "device notification: id 2\n") << "cycle " << cycle;
        if (cycle == 0) {
            // What is made once is made by now.
            descriptors = openDescriptors();
            bytes = usedBytes();
        }
        ASSERT_EQ(openDescriptors(), descriptors) << "cycle " << cycle;
    }
    RecordProperty("BytesBefore", std::to_string(bytes));
    const auto growth = static_cast<std::ptrdiff_t>(usedBytes()) - static_cast<std::ptrdiff_t>(bytes);
    std::cout << "memory in use: " << bytes << " bytes after the first cycle, " << growth << " more after " << count
              << "\n";
}
