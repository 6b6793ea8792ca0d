// Reading from a real device, on several threads. What is played is the provider's channel, by a socket that keeps the
// bounds of messages.

#include "OpenDevice.h"

#include "HidapiTest.h"

#include <array>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qrx::hidapi {

namespace {

using platform::HIDChannel;
using platform::Status;

class SocketChannel final : public HIDChannel {
public:
    explicit SocketChannel(int socket) : _socket(socket) {}
    ~SocketChannel() override { ::close(_socket); }

    int descriptor() const override { return _socket; }
    Next takeReport(std::span<const std::uint8_t>& report) override
    {
        const ssize_t size = ::recv(_socket, _bytes.data(), _bytes.size(), MSG_DONTWAIT);
        if (size <= 0) {
            return size == 0 ? Next::gone : Next::empty;
        }
        report = std::span(_bytes).first(static_cast<std::size_t>(size));
        return Next::report;
    }
    bool hasFetchedReports() const override { return false; }
    Status setReport(platform::ReportType, std::uint32_t, std::span<const std::uint8_t>) override
    {
        return Status::unsupported;
    }
    Status getReport(platform::ReportType, std::uint32_t, std::span<std::uint8_t>, std::size_t&) override
    {
        return Status::unsupported;
    }

private:
    const int _socket;
    std::array<std::uint8_t, 64> _bytes{};
};

class HidapiRealDevice : public testing::Test {
protected:
    HidapiRealDevice()
    {
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            throw std::runtime_error("socketpair");
        }
        deviceEnd = ends[0];
        auto listed = std::make_shared<ListedInterface>();
        listed->device = std::make_shared<const platform::DeviceFacts>();
        device = new OpenDevice(std::move(listed), std::make_unique<SocketChannel>(ends[1]));
    }
    ~HidapiRealDevice() override
    {
        unplug();
        delete device;
    }

    void send(std::uint8_t number)
    {
        // Waits while the socket is full.
        EXPECT_EQ(::send(deviceEnd, &number, 1, MSG_NOSIGNAL), 1);
    }
    void unplug()
    {
        if (deviceEnd >= 0) {
            ::close(deviceEnd);
        }
        deviceEnd = -1;
    }
    int read(int timeoutMs)
    {
        std::array<std::uint8_t, 8> bytes{};
        return device->read(bytes, timeoutMs);
    }

    int deviceEnd = -1;
    OpenDevice* device = nullptr;
};

TEST_F(HidapiRealDevice, IsReadWithoutWaitingAndWithATimeoutThatPasses)
{
    EXPECT_EQ(read(0), 0);
    EXPECT_EQ(read(1), 0);
    send(1);
    EXPECT_EQ(read(0), 1);
    send(2);
    EXPECT_EQ(read(10000), 1);
    EXPECT_EQ(read(0), 0);
}

TEST_F(HidapiRealDevice, AReportEndsTheWait)
{
    std::thread sender([this] { send(1); });
    EXPECT_EQ(read(-1), 1);
    sender.join();
}

TEST_F(HidapiRealDevice, WhatWasQueuedIsReadBeforeTheEnd)
{
    send(1);
    send(2);
    unplug();
    EXPECT_EQ(read(-1), 1);
    EXPECT_EQ(read(0), 1);
    EXPECT_EQ(read(0), -1);
    EXPECT_EQ(std::wstring(device->readError()), L"The device was disconnected");
    EXPECT_EQ(read(-1), -1);
}

TEST_F(HidapiRealDevice, ReadersShareTheReports)
{
    constexpr int kReports = 2000;
    std::atomic<int> count{0};
    std::vector<std::thread> readers;
    for (const int timeout : {-1, 10000, 0}) {
        readers.emplace_back([&, timeout] {
            int answer = 0;
            while ((answer = read(timeout)) >= 0) {
                count += answer;
            }
        });
    }
    for (int number = 0; number < kReports; ++number) {
        send(static_cast<std::uint8_t>(number));
    }
    unplug();
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(count, kReports);
}

TEST_F(HidapiRealDevice, ClosingEndsTheWaitsOfOtherThreads)
{
    constexpr std::array kTimeouts{-1, -1, 60000};
    std::array<std::atomic<pid_t>, kTimeouts.size()> asleep{};
    std::array<int, kTimeouts.size()> answers{};
    std::vector<std::thread> readers;
    for (std::size_t reader = 0; reader < kTimeouts.size(); ++reader) {
        readers.emplace_back([&, reader] {
            asleep[reader] = ::gettid();
            answers[reader] = read(kTimeouts[reader]);
        });
        // One after the other, so that none sleeps in front of the device's lock.
        tests::waitUntilAsleep(asleep[reader]);
    }
    // As hid_close does; the pointer stays for who is in a call.
    delete device;
    for (std::thread& reader : readers) {
        reader.join();
    }
    device = nullptr;
    EXPECT_EQ(answers, (std::array{-1, -1, -1}));
}

} // namespace

} // namespace qrx::hidapi
