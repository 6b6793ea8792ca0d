#include "Observer.h"
#include "Reader.h"

#include <climits>
#include <memory>
#include <stdexcept>

namespace {

class FaultSweep : public IOKitTest {
protected:
    /// All that an application does with a device, from its arrival to its end. Whatever fails, it goes on as an
    /// application that does not look at results would.
    void useEverything(bool byException, int failingCall)
    {
        const auto vendor = std::make_shared<fake::Device>(fake::makeVendorDevice());
        fake::provider().queue([vendor] { vendor->plug(); });
        fake::faults().failCall(failingCall, byException);
        attempt([&] { useDevice(vendor); });
        attempt([] { runDue(); });
        calls = fake::faults().callsSeen();
        fake::faults().failCall(0, false);
        // What a failed call left in the provider's hands comes now.
        for (const io_object_t service : servicesOf("IOUSBDevice")) {
            IOObjectRelease(service);
        }
        if (vendor->key != 0) {
            vendor->unplug();
        }
    }

    void useDevice(const std::shared_ptr<fake::Device>& vendor)
    {
        Observer observer;
        attempt([] { runDue(); });
        attempt([&] {
            for (const io_object_t driver : servicesOf("IOHIDDevice")) {
                attempt([&] { useDriver(*vendor, driver); });
                IOObjectRelease(driver);
            }
        });
        fake::provider().queue([vendor] {
            if (vendor->key != 0) {
                vendor->unplug();
            }
        });
        attempt([] { runDue(); });
    }

    void useDriver(fake::Device& vendor, io_object_t driver)
    {
        InterruptReader reader(driver);
        std::uint8_t bytes[] = {2, 0, 0, 0};
        UInt32 size = sizeof bytes;
        (*reader.device)->setReport(reader.device, kIOHIDReportTypeOutput, 2, bytes, 2, 0, nullptr, nullptr, nullptr);
        (*reader.device)
            ->getReport(reader.device, kIOHIDReportTypeFeature, 3, bytes, &size, 0, nullptr, nullptr, nullptr);
        vendor.wires[0]->send({1, 2, 3});
        vendor.wires[0]->send({1, 4, 5});
        runDue();
    }

    /// Calls of the fakes in the last use.
    int calls = 0;

    static void attempt(const std::function<void()>& step)
    {
        try {
            step();
        } catch (const std::runtime_error& failure) {
            EXPECT_EQ(0u, std::string(failure.what()).find("failed: "));
        }
    }
};

} // namespace

TEST_F(FaultSweep, AnyCallOfAProviderOrChannelMayFailAndNothingLeaksOrHangs)
{
    useEverything(false, INT_MAX);
    const int seen = calls;
    ASSERT_GT(seen, 10);
    for (const bool byException : {false, true}) {
        for (int call = 1; call <= seen; ++call) {
            SCOPED_TRACE("call " + std::to_string(call) + (byException ? " by exception" : ""));
            useEverything(byException, call);
            EXPECT_FALSE(fake::provider().isWatching());
            EXPECT_EQ(0, fake::openChannels());
        }
    }
}
