// What our library has beyond hidapi, for a program's own event loop, on devices of the kernel.

#include "Functions.h"
#include "library/Plugs.h"
#include "rig_tests/Descriptors.h"
#include "support/Waiting.h"

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>

namespace qrx::guest {
namespace {

bool isReadable(int descriptor, std::chrono::milliseconds limit = std::chrono::milliseconds(0))
{
    pollfd awaited{descriptor, POLLIN, 0};
    return ::poll(&awaited, 1, static_cast<int>(limit.count())) == 1;
}

UsbInterface plainInterface()
{
    UsbInterface interface;
    interface.reportDescriptor = plainDescriptor(4);
    return interface;
}

class HidapiLoop : public testing::Test {
protected:
    ~HidapiLoop() override
    {
        ours().setCallback(nullptr, nullptr);
        ours().exit();
        EXPECT_TRUE(waitUntilBusIsEmpty());
    }

    static void tell(const hid_device_info* info, int arrived, void* context)
    {
        static_cast<HidapiLoop*>(context)->told.push_back((arrived != 0 ? "+" : "-") +
                                                          std::to_string(info->product_id) + "." +
                                                          std::to_string(info->interface_number));
    }
    /// As a program's loop does: looks when the descriptor says so, until there is news of so many entries.
    void waitForNews(std::size_t count)
    {
        while (told.size() < count && isReadable(descriptor, kPatience)) {
            ours().freeEnumeration(ours().enumerate(0, 0));
        }
    }

    std::vector<std::string> told;
    int descriptor = -1;
};

TEST_F(HidapiLoop, OnlyOursHasTheFunctionsForIt)
{
    EXPECT_NE(ours().descriptor, nullptr);
    EXPECT_NE(ours().setCallback, nullptr);
    EXPECT_EQ(peer().descriptor, nullptr);
    EXPECT_EQ(peer().setCallback, nullptr);
}

TEST_F(HidapiLoop, ArrivalsAndRemovalsAreToldWhenTheDescriptorSaysSo)
{
    VhciDevice device({}, {plainInterface(), plainInterface()});
    descriptor = ours().setCallback(&HidapiLoop::tell, this);
    ASSERT_GE(descriptor, 0);
    EXPECT_FALSE(isReadable(descriptor));
    for (int round = 0; round < 2; ++round) {
        plugWhole(device);
        waitForNews(2);
        EXPECT_EQ(told, (std::vector<std::string>{"+1.0", "+1.1"}));
        told.clear();
        pullWhole(device);
        waitForNews(2);
        EXPECT_EQ(told, (std::vector<std::string>{"-1.0", "-1.1"}));
        told.clear();
    }
}

TEST_F(HidapiLoop, TheDescriptorOfADeviceIsReadableWhileReadingHasSomethingToSay)
{
    VhciDevice device({}, {plainInterface()});
    plugWhole(device);
    hid_device* const opened = ours().openPath(device.waitForNodes().at(0).c_str());
    ASSERT_NE(opened, nullptr);
    const int readable = ours().descriptor(opened);
    ASSERT_GE(readable, 0);
    EXPECT_FALSE(isReadable(readable));
    const auto readAll = [&] {
        Bytes bytes(4);
        int count = 0;
        int answer = 0;
        while ((answer = ours().readTimeout(opened, bytes.data(), bytes.size(), 0)) > 0) {
            ++count;
        }
        return std::pair(count, answer);
    };
    for (std::uint8_t number = 0; number < 20; ++number) {
        sendQueued(device, 0, {number, 0, 0, 0});
    }
    EXPECT_TRUE(isReadable(readable));
    EXPECT_EQ(readAll(), std::pair(20, 0));
    EXPECT_FALSE(isReadable(readable));
    pullWhole(device);
    EXPECT_TRUE(isReadable(readable));
    EXPECT_EQ(readAll(), std::pair(0, -1));
    ours().close(opened);
}

} // namespace
} // namespace qrx::guest
