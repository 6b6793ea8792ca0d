#include "Observer.h"
#include "Reader.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using IOKitThreads = IOKitTest;

namespace {

/// One thread of an application: observes, opens what it finds, reads and sends until its device has left.
class Application {
public:
    explicit Application(std::uint16_t productID) : _productID(productID) {}

    void run()
    {
        Observer observer;
        isReady = true;
        EXPECT_TRUE(runUntil([&] {
            openMine();
            return reader && reader->reports >= kReports;
        }));
        isDone = true;
        EXPECT_TRUE(runUntil([&] { return mayStop.load(); }));
        seen = observer.take();
        if (reader) {
            reader->stop();
        }
    }

    static constexpr int kReports = 50;
    std::atomic<bool> isReady{false};
    std::atomic<bool> isDone{false};
    std::atomic<bool> mayStop{false};
    std::string seen;
    std::unique_ptr<InterruptReader> reader;

private:
    void openMine()
    {
        if (reader) {
            return;
        }
        for (const io_object_t driver : servicesOf("IOHIDDevice")) {
            if (numberOf(driver, "ProductID") == _productID) {
                reader = std::make_unique<InterruptReader>(driver);
                std::uint8_t bytes[] = {1};
                (*reader->device)
                    ->setReport(reader->device, kIOHIDReportTypeOutput, 0, bytes, 1, 0, nullptr, nullptr, nullptr);
            }
            IOObjectRelease(driver);
        }
    }

    const std::uint16_t _productID;
};

bool waitFor(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

} // namespace

TEST_F(IOKitThreads, TwoThreadsWithTheirOwnRunLoopsPortsAndDevices)
{
    Application applications[] = {Application(0xa), Application(0xb)};
    std::vector<std::thread> threads;
    for (Application& application : applications) {
        threads.emplace_back([&application] { application.run(); });
    }
    fake::Device devices[] = {fake::makeDevice(1, 0xa), fake::makeDevice(1, 0xb)};
    for (fake::Device& device : devices) {
        device.addHid(fake::mouseDescriptor());
    }
    EXPECT_TRUE(waitFor([&] { return applications[0].isReady && applications[1].isReady; }));
    devices[0].plug();
    fake::provider().queue([&] { devices[1].plug(); });
    EXPECT_TRUE(waitFor([&] {
        devices[0].wires[0]->send({1, 2, 3, 4});
        devices[1].wires[0]->send({1, 2, 3, 4});
        return applications[0].isDone && applications[1].isDone;
    }));
    for (Application& application : applications) {
        application.mayStop = true;
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (Application& application : applications) {
        EXPECT_NE(std::string::npos, application.seen.find("+000a")) << application.seen;
        EXPECT_NE(std::string::npos, application.seen.find("+000b")) << application.seen;
    }
    devices[0].unplug();
    devices[1].unplug();
}

TEST_F(IOKitThreads, DevicesComeAndGoOnOneThreadWhileAnotherLooks)
{
    std::atomic<bool> isOver{false};
    std::thread plugger([&isOver] {
        for (int round = 0; round < 200; ++round) {
            fake::Device mouse = fake::makeMouse();
            mouse.plug();
            mouse.wires[0]->send({1, 2, 3, 4});
            mouse.unplug();
        }
        isOver = true;
    });
    {
        Observer observer;
        while (!isOver) {
            for (const io_object_t driver : servicesOf("IOHIDDevice")) {
                IOCFPlugInInterface** plugIn = nullptr;
                SInt32 score = 0;
                if (IOCreatePlugInInterfaceForService(driver, kIOHIDDeviceUserClientTypeID, kIOCFPlugInInterfaceID,
                                                      &plugIn, &score) == KERN_SUCCESS) {
                    IODestroyPlugInInterface(plugIn);
                }
                EXPECT_EQ(4, numberOf(driver, "MaxInputReportSize"));
                IOObjectRelease(driver);
            }
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
        }
        plugger.join();
        runDue();
        EXPECT_TRUE(servicesOf("IOUSBDevice").empty());
    }
}

TEST_F(IOKitThreads, ObserversStartAndStopTheWatchingTogether)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < 2; ++number) {
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                Observer observer;
                EXPECT_TRUE(fake::provider().isWatching());
                CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(fake::provider().isWatching());
}
