#include "DescriptorLimit.h"
#include "HidapiTest.h"

#include <poll.h>

namespace qrx::tests {

namespace {

class HidapiArrival : public HidapiTest {
protected:
    ~HidapiArrival() override { qrx_hid_set_callback(nullptr, nullptr); }

    void watch()
    {
        const auto tell = [](const hid_device_info* info, int arrived, void* context) {
            EXPECT_EQ(info->next, nullptr);
            static_cast<HidapiArrival*>(context)->told.push_back((arrived != 0 ? "+" : "-") +
                                                                 textOf(info->product_string));
        };
        descriptor = qrx_hid_set_callback(tell, this);
        ASSERT_GE(descriptor, 0) << errorOf(nullptr);
    }
    bool isReadable() const
    {
        pollfd awaited{descriptor, POLLIN, 0};
        return ::poll(&awaited, 1, 0) == 1;
    }
    static void look() { DeviceList(hid_enumerate(0, 0)); }

    std::vector<std::string> told;
    int descriptor = -1;
};

TEST_F(HidapiArrival, TheDescriptorIsReadableFromAChangeUntilItIsTold)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    watch();
    EXPECT_FALSE(isReadable());
    device.plug();
    EXPECT_TRUE(isReadable());
    // Other calls look for devices as well, and leave the telling to hid_enumerate.
    openFirst(1).reset();
    EXPECT_TRUE(isReadable());
    look();
    EXPECT_FALSE(isReadable());
    device.unplug();
    EXPECT_TRUE(isReadable());
}

TEST_F(HidapiArrival, ArrivalsAndRemovalsAreToldInTheirOrderByTheNextEnumeration)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    watch();
    device.plug();
    device.unplug();
    device.plug();
    EXPECT_TRUE(told.empty());
    look();
    EXPECT_EQ(told, (std::vector<std::string>{"+Plain", "-Plain", "+Plain"}));
    look();
    EXPECT_EQ(told.size(), 3U);
}

TEST_F(HidapiArrival, WhatIsThereAlreadyIsNotTold)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    watch();
    look();
    EXPECT_TRUE(told.empty());
}

TEST_F(HidapiArrival, EachCollectionIsTold)
{
    QrxVirtualDevice device(recordingOf(numberedDevice()));
    watch();
    device.plug();
    look();
    EXPECT_EQ(told, std::vector<std::string>(4, "+Numbered"));
}

TEST_F(HidapiArrival, NothingIsToldAfterTheCallbackIsRemoved)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    watch();
    device.plug();
    EXPECT_EQ(qrx_hid_set_callback(nullptr, nullptr), 0);
    look();
    watch();
    look();
    EXPECT_TRUE(told.empty());
}

TEST_F(HidapiArrival, AMachineThatCannotBeWatchedForLackOfDescriptorsSaysSoAndIsWatchedOnceThereAreSome)
{
    ::unsetenv("QRX_HIDAPI_ONLY_VIRTUAL");
    const auto ignore = [](const hid_device_info*, int, void*) {};
    // The set and the descriptor of changes are ours; from then on it is the machine's provider that lacks one.
    constexpr std::size_t kOurs = 2;
    std::size_t free = 0;
    testing::internal::CaptureStderr();
    for (; descriptor < 0 && free < 50; ++free) {
        const DescriptorLimit limit(free);
        descriptor = qrx_hid_set_callback(ignore, nullptr);
        if (descriptor < 0) {
            EXPECT_EQ(errorOf(nullptr), "devices cannot be watched: Too many open files") << free << " free";
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GE(descriptor, 0);
    EXPECT_GT(free, kOurs + 1);
}

} // namespace

} // namespace qrx::tests
