#include "HidapiTest.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <poll.h>
#include <pthread.h>

namespace qrx::tests {

namespace {

class HidapiRead : public HidapiTest {
protected:
    HidapiRead() : device(recordingOf(plainDevice()))
    {
        device.plug();
        handle = openFirst(1);
    }

    QrxVirtualDevice device;
    OpenHandle handle;
};

TEST_F(HidapiRead, AReportIsReadOnce)
{
    device.sendInputReport(0, {1, 2, 3, 4});
    EXPECT_EQ(readNow(handle.get()), "01 02 03 04 ");
    EXPECT_EQ(readNow(handle.get()), "");
    EXPECT_EQ(errorOf(handle.get()), "Success");
}

TEST_F(HidapiRead, ReportsComeInTheirOrder)
{
    for (std::uint8_t number = 0; number < 60; ++number) {
        device.sendInputReport(0, {number, 0, 0, 0});
    }
    for (std::uint8_t number = 0; number < 60; ++number) {
        Bytes bytes(4);
        ASSERT_EQ(hid_read_timeout(handle.get(), bytes.data(), bytes.size(), 0), 4);
        EXPECT_EQ(bytes, (Bytes{number, 0, 0, 0}));
    }
}

TEST_F(HidapiRead, ALongerReportIsCutToTheBuffer)
{
    device.sendInputReport(0, {1, 2, 3, 4});
    EXPECT_EQ(readNow(handle.get(), 2), "01 02 ");
    EXPECT_EQ(readNow(handle.get()), "");
}

TEST_F(HidapiRead, NoBufferIsAnErrorAndTakesNothing)
{
    device.sendInputReport(0, {1, 2, 3, 4});
    EXPECT_EQ(hid_read_timeout(handle.get(), nullptr, 4, 0), -1);
    EXPECT_EQ(errorOf(handle.get()), "Zero buffer/length");
    EXPECT_EQ(readNow(handle.get()), "01 02 03 04 ");
}

TEST_F(HidapiRead, NonBlockingReadsAnswerAtOnce)
{
    Bytes bytes(4);
    EXPECT_EQ(hid_set_nonblocking(handle.get(), 1), 0);
    EXPECT_EQ(hid_read(handle.get(), bytes.data(), bytes.size()), 0);
}

TEST_F(HidapiRead, ATimeoutThatPassesIsNoError)
{
    Bytes bytes(4);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(hid_read_timeout(handle.get(), bytes.data(), bytes.size(), 20), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(20));
    EXPECT_EQ(errorOf(handle.get()), "Success");
}

TEST_F(HidapiRead, AReportEndsTheWait)
{
    std::thread sender([&] { device.sendInputReport(0, {9, 9, 9, 9}); });
    Bytes bytes(4);
    EXPECT_EQ(hid_read(handle.get(), bytes.data(), bytes.size()), 4);
    EXPECT_EQ(bytes, Bytes(4, 9));
    sender.join();
}

TEST_F(HidapiRead, WhatWaitsAtTheUnplugIsReadBeforeTheEnd)
{
    for (std::uint8_t number = 0; number < 20; ++number) {
        device.sendInputReport(0, {number, 0, 0, 0});
    }
    device.unplug();
    for (std::uint8_t number = 0; number < 20; ++number) {
        Bytes bytes(4);
        ASSERT_EQ(hid_read_timeout(handle.get(), bytes.data(), bytes.size(), 1000), 4) << int{number};
        EXPECT_EQ(bytes[0], number);
    }
    EXPECT_EQ(readNow(handle.get()), "error: The device was disconnected");
    EXPECT_EQ(readNow(handle.get()), "error: The device was disconnected");
    EXPECT_EQ(textOf(hid_read_error(handle.get())), "The device was disconnected");
}

TEST_F(HidapiRead, AnUnplugEndsTheWait)
{
    std::thread unplugger([&] { device.unplug(); });
    Bytes bytes(4);
    EXPECT_EQ(hid_read(handle.get(), bytes.data(), bytes.size()), -1);
    unplugger.join();
}

TEST_F(HidapiRead, ClosingEndsTheWaitOfAnotherThreadWithAnError)
{
    std::atomic<pid_t> reader{0};
    int answer = 0;
    hid_device* const raw = handle.get();
    std::thread thread([&] {
        reader = ::gettid();
        Bytes bytes(4);
        answer = hid_read(raw, bytes.data(), bytes.size());
    });
    waitUntilAsleep(reader);
    handle.reset();
    thread.join();
    EXPECT_EQ(answer, -1);
    EXPECT_EQ(device.getOpenCount(0), 0U);
}

TEST_F(HidapiRead, ASignalEndsTheWaitWithAnError)
{
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction before {};
    ::sigaction(SIGUSR1, &action, &before);
    std::atomic<pid_t> reader{0};
    int answer = 0;
    std::thread thread([&] {
        reader = ::gettid();
        Bytes bytes(4);
        answer = hid_read(handle.get(), bytes.data(), bytes.size());
    });
    waitUntilAsleep(reader);
    ::pthread_kill(thread.native_handle(), SIGUSR1);
    thread.join();
    ::sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(answer, -1);
    EXPECT_EQ(errorOf(handle.get()), "A signal interrupted the wait");
}

TEST_F(HidapiRead, OneThreadWritesWhileAnotherReads)
{
    device.setSentReportHandler([&](const QrxSentReport& report) {
        return device.sendInputReport(0, {report.getBytes()[0], report.getBytes()[1], 0, 0});
    });
    constexpr int kRounds = 500;
    std::thread writer([&] {
        for (int round = 0; round < kRounds; ++round) {
            const std::array<unsigned char, 3> bytes{0, static_cast<unsigned char>(round), 7};
            while (hid_write(handle.get(), bytes.data(), bytes.size()) != 3) {
                std::this_thread::yield(); // the queue is full, and the device refuses
            }
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        Bytes bytes(4);
        ASSERT_EQ(hid_read_timeout(handle.get(), bytes.data(), bytes.size(), 10000), 4);
        EXPECT_EQ(bytes[0], static_cast<unsigned char>(round));
    }
    writer.join();
}

TEST_F(HidapiRead, TheDescriptorTellsOfReportsAndOfTheEnd)
{
    const int fd = qrx_hid_descriptor(handle.get());
    ASSERT_GE(fd, 0);
    const auto isReadable = [fd] {
        pollfd awaited{fd, POLLIN, 0};
        return ::poll(&awaited, 1, 0) == 1;
    };
    EXPECT_FALSE(isReadable());
    device.sendInputReport(0, {1, 2, 3, 4});
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(readNow(handle.get()), "01 02 03 04 ");
    EXPECT_EQ(readNow(handle.get()), "");
    EXPECT_FALSE(isReadable());
    device.unplug();
    EXPECT_TRUE(isReadable());
}

} // namespace

} // namespace qrx::tests
