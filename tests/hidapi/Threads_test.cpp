#include "HidapiTest.h"

#include <atomic>
#include <thread>

namespace qrx::tests {

namespace {

class HidapiThreads : public HidapiTest {};

TEST_F(HidapiThreads, EnumeratingWhileDevicesComeAndGo)
{
    QrxVirtualDevice device(recordingOf(plainDevice("#@ product-name: Fickle\n#@ serial-number: 1\n")));
    std::atomic<bool> isOver{false};
    std::thread plugger([&] {
        for (int round = 0; round < 300; ++round) {
            device.plug();
            device.unplug();
        }
        isOver = true;
    });
    while (!isOver) {
        const DeviceList list(hid_enumerate(0x1209, 0));
        if (list != nullptr) {
            EXPECT_EQ(std::wstring(list->product_string), L"Fickle");
        }
    }
    plugger.join();
}

TEST_F(HidapiThreads, OpeningWhileTheDeviceLeavesOpensOrFailsWithAReason)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    std::atomic<bool> isOver{false};
    std::thread plugger([&] {
        for (int round = 0; round < 300; ++round) {
            device.plug();
            device.unplug();
        }
        isOver = true;
    });
    while (!isOver) {
        const OpenHandle opened(hid_open(0x1209, 1, nullptr));
        if (opened == nullptr) {
            EXPECT_NE(errorOf(nullptr), "Success");
            continue;
        }
        std::array<unsigned char, 3> bytes{};
        const int answer = hid_write(opened.get(), bytes.data(), bytes.size());
        EXPECT_TRUE(answer == 3 || answer == -1) << answer;
    }
    plugger.join();
}

TEST_F(HidapiThreads, OfManyDevicesOneMayLeaveInTheMiddle)
{
    std::vector<QrxVirtualDevice> devices;
    std::vector<OpenHandle> handles;
    for (int number = 0; number < 64; ++number) {
        devices.emplace_back(recordingOf(plainDevice("#@ serial-number: " + std::to_string(number) + "\n")));
        devices.back().plug();
        handles.emplace_back(hid_open(0x1209, 1, std::to_wstring(number).c_str()));
        ASSERT_NE(handles.back(), nullptr) << errorOf(nullptr);
    }
    devices[31].unplug();
    for (std::size_t number = 0; number < devices.size(); ++number) {
        const auto mark = static_cast<std::uint8_t>(number);
        EXPECT_EQ(devices[number].sendInputReport(0, {mark, 0, 0, 0}), number != 31);
        Bytes bytes(4);
        EXPECT_EQ(hid_read_timeout(handles[number].get(), bytes.data(), bytes.size(), 1000), number != 31 ? 4 : -1);
    }
}

TEST_F(HidapiThreads, TwoReadersShareTheReports)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    const OpenHandle handle = openFirst(1);
    std::atomic<int> count{0};
    const auto readAll = [&] {
        Bytes bytes(4);
        while (hid_read_timeout(handle.get(), bytes.data(), bytes.size(), 10000) == 4) {
            ++count;
        }
    };
    std::thread first(readAll);
    std::thread second(readAll);
    int sent = 0;
    while (sent < 200) {
        if (device.hasRoom(0) && device.sendInputReport(0, {1, 2, 3, 4})) {
            ++sent;
        }
    }
    device.unplug();
    first.join();
    second.join();
    EXPECT_EQ(count, sent);
}

} // namespace

} // namespace qrx::tests
