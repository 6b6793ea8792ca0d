#include "QrxRunLoop.h"
#include "QrxVirtualDevice.h"

#include "CoreFoundation/LiveObjects.h"
#include "DescriptorLimit.h"
#include "ForkedChild.h"
#include "RecordingRegistry.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <system_error>

namespace {

using namespace qrx::platform;
using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

constexpr double kDeadlineSeconds = 10;

class QrxRecordingPlayerTest : public testing::Test {
protected:
    QrxRecordingPlayerTest() { RecordingRegistry::emptied(); }

    /// `count` reports, the n-th with the bytes of n, `stepUs` apart.
    static QrxRecording recordingOf(std::size_t count, std::uint64_t stepUs)
    {
        std::istringstream text("R: 3 05 01 09\nN: n\nI: 3 1 2\n");
        QrxRecording recording = QrxRecording::read(text, "x");
        for (std::size_t n = 0; n < count; ++n) {
            recording.getEvents().push_back({5'000'000 + n * stepUs, 0, bytesOf(n)});
        }
        return recording;
    }

    static Bytes bytesOf(std::size_t n) { return {static_cast<std::uint8_t>(n), static_cast<std::uint8_t>(n >> 8)}; }

    void open(QrxVirtualDevice& device)
    {
        device.plug();
        ASSERT_EQ(Status::success,
                  RecordingRegistry::shared().published.back().facts.interfaces[0].hid->open(_channel));
    }

    /// Runs the loop until the player is done, taking reports as they come; false if that takes too long.
    bool playToEnd(QrxRecordingPlayer& player)
    {
        const auto deadline = Clock::now() + std::chrono::duration<double>(kDeadlineSeconds);
        while (!player.isFinished() && Clock::now() < deadline) {
            QrxRunLoop::getCurrent().runOnce(0.01);
            takeAll();
        }
        return player.isFinished();
    }

    static void runWhileBusy()
    {
        while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
        }
    }

    static std::size_t openDescriptors()
    {
        const std::filesystem::directory_iterator folder("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
    }

    void takeAll()
    {
        std::span<const std::uint8_t> report;
        while (_channel->takeReport(report) == HIDChannel::Next::report) {
            _reports.emplace_back(report.begin(), report.end());
        }
    }

    std::unique_ptr<HIDChannel> _channel;
    std::vector<Bytes> _reports;
};

TEST_F(QrxRecordingPlayerTest, PlaysAsFastAsTakenAndLosesNothing)
{
    const QrxRecording recording = recordingOf(1000, 1'000'000);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(QrxRecordingPlayer::kAsFastAsTaken);
    ASSERT_TRUE(playToEnd(player));
    EXPECT_EQ(1000u, player.getSentCount());
    ASSERT_EQ(1000u, _reports.size());
    for (std::size_t n = 0; n < _reports.size(); ++n) {
        ASSERT_EQ(bytesOf(n), _reports[n]) << "report " << n;
    }
}

TEST_F(QrxRecordingPlayerTest, WaitsForAReaderThatDoesNotTake)
{
    const QrxRecording recording = recordingOf(100, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(QrxRecordingPlayer::kAsFastAsTaken);
    runWhileBusy();
    EXPECT_EQ(QrxVirtualDevice::kQueuedReports, player.getSentCount());
    EXPECT_EQ(QrxRunLoop::Outcome::timedOut, QrxRunLoop::getCurrent().runOnce(0.01)) << "and does not spin";
    ASSERT_TRUE(playToEnd(player));
    takeAll();
    EXPECT_EQ(100u, _reports.size());
}

TEST_F(QrxRecordingPlayerTest, KeepsThePaceOfTheRecordingTimesTheFactor)
{
    const QrxRecording recording = recordingOf(5, 40'000);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    const auto began = Clock::now();
    player.start(2);
    ASSERT_TRUE(playToEnd(player));
    const double seconds = std::chrono::duration<double>(Clock::now() - began).count();
    takeAll();
    EXPECT_EQ(5u, _reports.size());
    EXPECT_GE(seconds, 0.08) << "four steps of 40 ms, twice as fast";
}

TEST_F(QrxRecordingPlayerTest, PlaysOnWhenAChildMadeByForkStopsIt)
{
    const QrxRecording recording = recordingOf(5, 10'000);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(1);
    EXPECT_EQ(runInChild([&] {
                  player.stop();
                  device.unplug();
                  _channel.reset();
              }),
              0);
    ASSERT_TRUE(playToEnd(player));
    takeAll();
    EXPECT_EQ(5u, _reports.size());
}

TEST_F(QrxRecordingPlayerTest, TheFinishedHandlerMayDestroyThePlayer)
{
    const QrxRecording recording = recordingOf(3, 0);
    QrxVirtualDevice device(recording);
    open(device);
    auto player = std::make_unique<QrxRecordingPlayer>(recording, device);
    bool finished = false;
    player->setFinishedHandler([&] {
        finished = true;
        player.reset();
    });
    player->start(QrxRecordingPlayer::kAsFastAsTaken);
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runFor(kDeadlineSeconds));
    EXPECT_TRUE(finished);
    EXPECT_EQ(nullptr, player);
}

TEST_F(QrxRecordingPlayerTest, StoppedItSendsNoMore)
{
    const QrxRecording recording = recordingOf(10, 1'000'000);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(1);
    QrxRunLoop::getCurrent().runOnce(kDeadlineSeconds);
    EXPECT_EQ(1u, player.getSentCount());
    player.stop();
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runOnce(0)) << "its source has left the loop";
    EXPECT_EQ(1u, player.getSentCount());
    EXPECT_FALSE(player.isFinished());
}

TEST_F(QrxRecordingPlayerTest, StartedAgainItBeginsAnew)
{
    const QrxRecording recording = recordingOf(3, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(0);
    ASSERT_TRUE(playToEnd(player));
    player.start(0);
    EXPECT_FALSE(player.isFinished());
    ASSERT_TRUE(playToEnd(player));
    takeAll();
    EXPECT_EQ(6u, _reports.size());
}

TEST_F(QrxRecordingPlayerTest, ASpeedIsANumberOfAtLeastZero)
{
    const QrxRecording recording = recordingOf(1, 0);
    QrxVirtualDevice device(recording);
    QrxRecordingPlayer player(recording, device);
    EXPECT_THROW(player.start(-1), std::invalid_argument);
    EXPECT_THROW(player.start(std::numeric_limits<double>::quiet_NaN()), std::invalid_argument);
}

TEST_F(QrxRecordingPlayerTest, ARecordingThatCannotBePlayedIsRefused)
{
    QrxRecording recording = recordingOf(2, 1000);
    QrxVirtualDevice device(recording);
    recording.getEvents()[1].setInterfaceIndex(1);
    EXPECT_THROW(QrxRecordingPlayer(recording, device), std::invalid_argument);
    recording.getEvents()[1].setInterfaceIndex(std::numeric_limits<std::size_t>::max());
    EXPECT_THROW(QrxRecordingPlayer(recording, device), std::invalid_argument);
    recording.getEvents()[1] = {recording.getEvents()[0].getTimeUs() - 1, 0, {}};
    EXPECT_THROW(QrxRecordingPlayer(recording, device), std::invalid_argument);
    recording.getEvents()[1].setTimeUs(recording.getEvents()[0].getTimeUs());
    EXPECT_NO_THROW(QrxRecordingPlayer(recording, device)) << "two at one time";
}

TEST_F(QrxRecordingPlayerTest, EventsOfOneTimeKeepTheirOrder)
{
    const QrxRecording recording = recordingOf(20, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(1);
    ASSERT_TRUE(playToEnd(player));
    takeAll();
    ASSERT_EQ(20u, _reports.size());
    for (std::size_t n = 0; n < _reports.size(); ++n) {
        EXPECT_EQ(bytesOf(n), _reports[n]) << "report " << n;
    }
}

TEST_F(QrxRecordingPlayerTest, ARecordingWithoutEventsIsFinishedOnTheLoop)
{
    const QrxRecording recording = recordingOf(0, 0);
    QrxVirtualDevice device(recording);
    for (const double speed : {0.0, 1.0}) {
        QrxRecordingPlayer player(recording, device);
        int finished = 0;
        player.setFinishedHandler([&finished] { ++finished; });
        EXPECT_TRUE(player.isFinished());
        player.start(speed);
        EXPECT_EQ(0, finished);
        EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runFor(kDeadlineSeconds));
        EXPECT_EQ(1, finished);
    }
}

TEST_F(QrxRecordingPlayerTest, TheFinishedHandlerIsCalledOnceForEachPlaying)
{
    const QrxRecording recording = recordingOf(3, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    std::vector<std::size_t> finished;
    player.setFinishedHandler([&] {
        finished.push_back(player.getSentCount());
        if (finished.size() == 1) {
            player.start(0);
        }
    });
    player.start(1);
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runFor(kDeadlineSeconds));
    EXPECT_EQ((std::vector<std::size_t>{3, 3}), finished);
    takeAll();
    EXPECT_EQ(6u, _reports.size());
}

TEST_F(QrxRecordingPlayerTest, StartedWhileItPlaysItBeginsAnewWithTheNewPace)
{
    const QrxRecording recording = recordingOf(3, 1'000'000'000);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    int finished = 0;
    player.setFinishedHandler([&finished] { ++finished; });
    for (const double speed : {0.5, 0.0, 1.0, 2.0, 0.0}) {
        player.start(speed);
        QrxRunLoop::getCurrent().runOnce(kDeadlineSeconds);
    }
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runFor(kDeadlineSeconds))
        << "one source at a time";
    EXPECT_EQ(2, finished) << "the two that set no pace";
    takeAll();
    EXPECT_EQ(9u, _reports.size()) << "the first event of each, and the other two where no pace is set";
}

TEST_F(QrxRecordingPlayerTest, AWaitThatNobodyLivesToSeeIsAWait)
{
    // At this speed the second event is more microseconds away than a number of 64 bits has.
    const QrxRecording recording = recordingOf(2, 1'000'000);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(1e-300);
    QrxRunLoop::getCurrent().runOnce(kDeadlineSeconds);
    EXPECT_EQ(1u, player.getSentCount());
    EXPECT_EQ(QrxRunLoop::Outcome::timedOut, QrxRunLoop::getCurrent().runOnce(0.01));
    EXPECT_EQ(1u, player.getSentCount());
}

TEST_F(QrxRecordingPlayerTest, AWaitForRoomEndsWhenTheDeviceIsUnplugged)
{
    const QrxRecording recording = recordingOf(200, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    bool isFinished = false;
    player.setFinishedHandler([&isFinished] { isFinished = true; });
    player.start(QrxRecordingPlayer::kAsFastAsTaken);
    runWhileBusy();
    EXPECT_EQ(QrxVirtualDevice::kQueuedReports, player.getSentCount());
    device.unplug();
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runFor(kDeadlineSeconds));
    EXPECT_TRUE(isFinished) << "the other events are lost";
    EXPECT_EQ(200u, player.getSentCount());
}

TEST_F(QrxRecordingPlayerTest, AWaitForRoomEndsWhenTheReaderCloses)
{
    const QrxRecording recording = recordingOf(200, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(QrxRecordingPlayer::kAsFastAsTaken);
    runWhileBusy();
    EXPECT_EQ(QrxVirtualDevice::kQueuedReports, player.getSentCount());
    _channel.reset();
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runFor(kDeadlineSeconds));
    EXPECT_EQ(200u, player.getSentCount());
}

TEST_F(QrxRecordingPlayerTest, TwoThatWaitForRoomBothComeToTheirEnds)
{
    const QrxRecording recording = recordingOf(200, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer first(recording, device);
    QrxRecordingPlayer second(recording, device);
    QrxRecordingPlayer stopped(recording, device);
    QrxRecordingPlayer paced(recording, device);
    first.start(QrxRecordingPlayer::kAsFastAsTaken);
    second.start(QrxRecordingPlayer::kAsFastAsTaken);
    stopped.start(QrxRecordingPlayer::kAsFastAsTaken);
    paced.start(1);
    stopped.stop();
    paced.stop();
    ASSERT_TRUE(playToEnd(first));
    ASSERT_TRUE(playToEnd(second));
    takeAll();
    EXPECT_EQ(400u, _reports.size());
    EXPECT_EQ(0u, stopped.getSentCount());
}

TEST_F(QrxRecordingPlayerTest, DestroyedItSendsNoMore)
{
    const QrxRecording recording = recordingOf(200, 0);
    QrxVirtualDevice device(recording);
    open(device);
    for (const double speed : {0.0, 1.0}) {
        std::optional<QrxRecordingPlayer> player(std::in_place, recording, device);
        player->start(speed);
        player.reset();
        EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runOnce(0)) << "its source has left the loop";
    }
    takeAll();
    EXPECT_EQ(0u, _reports.size());
}

TEST_F(QrxRecordingPlayerTest, ABurstIsNoLongerThanAReadersQueue)
{
    const QrxRecording recording = recordingOf(200, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(1);
    QrxRunLoop::getCurrent().runOnce(kDeadlineSeconds);
    EXPECT_EQ(QrxVirtualDevice::kQueuedReports, player.getSentCount()) << "a reader on this loop gets its turn";
    takeAll();
    ASSERT_TRUE(playToEnd(player));
    takeAll();
    EXPECT_EQ(200u, _reports.size());
}

TEST_F(QrxRecordingPlayerTest, WhatHasPlayedHoldsNothing)
{
    const QrxRecording recording = recordingOf(3, 0);
    QrxVirtualDevice device(recording);
    open(device);
    QrxRunLoop::getCurrent();
    const std::size_t before = openDescriptors();
    const long objectsBefore = qrx::cf::liveObjects();
    QrxRecordingPlayer player(recording, device);
    for (const double speed : {0.0, 1.0}) {
        player.start(speed);
        EXPECT_EQ(before + 1, openDescriptors());
        player.stop();
        EXPECT_EQ(before, openDescriptors()) << "stopped, speed " << speed;
        player.start(speed);
        ASSERT_TRUE(playToEnd(player));
        runWhileBusy();
        EXPECT_EQ(before, openDescriptors()) << "finished, speed " << speed;
        EXPECT_EQ(objectsBefore, qrx::cf::liveObjects()) << "finished, speed " << speed;
    }
}

TEST_F(QrxRecordingPlayerTest, TwoPlayAtTheirOwnPaces)
{
    const QrxRecording quick = recordingOf(3, 1);
    const QrxRecording slow = recordingOf(2, 1'000'000'000);
    QrxVirtualDevice device(quick);
    open(device);
    QrxRecordingPlayer slowPlayer(slow, device);
    QrxRecordingPlayer quickPlayer(quick, device);
    slowPlayer.start(1);
    quickPlayer.start(1);
    ASSERT_TRUE(playToEnd(quickPlayer));
    runWhileBusy();
    takeAll();
    EXPECT_EQ(1u, slowPlayer.getSentCount());
    EXPECT_EQ(4u, _reports.size());
}

TEST_F(QrxRecordingPlayerTest, EachEventReachesItsInterfaceByNumber)
{
    std::istringstream text("D: 0\n#@ interface: 5 00 00\nR: 3 05 01 09\nI: 3 1 2\n"
                            "D: 1\n#@ interface: 2 00 00\nR: 3 05 01 09\nI: 3 1 2\n"
                            "E: 0.0 1 bb\nD: 0\nE: 0.0 1 aa\n");
    const QrxRecording recording = QrxRecording::read(text, "x");
    QrxVirtualDevice device(recording);
    open(device);
    QrxRecordingPlayer player(recording, device);
    player.start(QrxRecordingPlayer::kAsFastAsTaken);
    ASSERT_TRUE(playToEnd(player));
    EXPECT_EQ(std::vector<Bytes>{{0xbb}}, _reports) << "interface 2 comes first";
}

TEST_F(QrxRecordingPlayerTest, AStartThatFailsCanBeTriedAgain)
{
    const QrxRecording recording = recordingOf(3, 0);
    QrxVirtualDevice device(recording);
    QrxRecordingPlayer(recording, device).start(0); // see DescriptorLimit
    open(device);
    QrxRecordingPlayer player(recording, device);
    QrxRunLoop::getCurrent();
    {
        const DescriptorLimit limit(0);
        EXPECT_THROW(player.start(0), std::system_error);
    }
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runOnce(0)) << "nothing plays";
    player.start(0);
    ASSERT_TRUE(playToEnd(player));
    takeAll();
    EXPECT_EQ(3u, _reports.size());
}

} // namespace
