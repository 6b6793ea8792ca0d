#include "QrxRunLoop.h"
#include "QrxVirtualDevice.h"

#include "CoreFoundation/LiveObjects.h"
#include "DescriptorLimit.h"
#include "RecordingRegistry.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <atomic>
#include <functional>
#include <optional>
#include <sstream>
#include <system_error>
#include <thread>

namespace {

constexpr double kDeadlineSeconds = 10;

/// Something for the loop to do: a playback whose last event ends in a call.
class Task {
public:
    Task(double atSeconds, std::function<void()> work) : _recording(recordingOf(atSeconds)), _device(_recording)
    {
        _player.emplace(_recording, _device);
        _player->setFinishedHandler(std::move(work));
        _player->start(1);
    }

private:
    static QrxRecording recordingOf(double atSeconds)
    {
        std::istringstream text("R: 3 05 01 09\nN: n\nI: 3 1 2\n");
        QrxRecording recording = QrxRecording::read(text, "x");
        recording.getEvents().push_back({0, 0, {}});
        recording.getEvents().push_back({static_cast<std::uint64_t>(atSeconds * 1e6), 0, {}});
        return recording;
    }

    QrxRecording _recording;
    QrxVirtualDevice _device;
    std::optional<QrxRecordingPlayer> _player;
};

bool isReadable(int descriptor)
{
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, 0) == 1;
}

TEST(QrxRunLoop, FinishesWhenNothingCouldHappen)
{
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().run());
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runOnce(kDeadlineSeconds));
}

TEST(QrxRunLoop, ACopyAndAnAssignedHandleAreTheSameLoopAndKeepIt)
{
    std::optional<QrxRunLoop> other;
    std::thread([&] { other = QrxRunLoop::getCurrent(); }).join();
    QrxRunLoop here = QrxRunLoop::getCurrent();
    const int descriptor = here.getFileDescriptor();
    const QrxRunLoop copy = here;
    EXPECT_EQ(descriptor, copy.getFileDescriptor());
    const QrxRunLoop& itself = here;
    here = itself;
    EXPECT_EQ(descriptor, here.getFileDescriptor());
    const long loops = qrx::cf::liveRunLoops();
    here = *other;
    other.reset();
    EXPECT_EQ(loops, qrx::cf::liveRunLoops()) << "the assigned handle keeps it";
    here = copy;
    EXPECT_EQ(loops - 1, qrx::cf::liveRunLoops());
    EXPECT_EQ(descriptor, here.getFileDescriptor());
}

TEST(QrxRunLoop, StopsFromACallback)
{
    const Task later(1000, [] {});
    const Task stopper(0, [] { QrxRunLoop::getCurrent().stop(); });
    EXPECT_EQ(QrxRunLoop::Outcome::stopped, QrxRunLoop::getCurrent().runFor(kDeadlineSeconds));
}

TEST(QrxRunLoop, RunsForAtMostTheTimeGiven)
{
    const Task later(1000, [] {});
    EXPECT_EQ(QrxRunLoop::Outcome::timedOut, QrxRunLoop::getCurrent().runFor(0.02));
}

TEST(QrxRunLoop, OneStepDeliversAndReturns)
{
    const Task now(0, [] {});
    EXPECT_EQ(QrxRunLoop::Outcome::handled, QrxRunLoop::getCurrent().runOnce(kDeadlineSeconds));
}

TEST(QrxRunLoop, ItsDescriptorIsReadableExactlyWhileAStepHasWork)
{
    QrxRunLoop loop = QrxRunLoop::getCurrent();
    const int descriptor = loop.getFileDescriptor();
    ASSERT_GE(descriptor, 0);
    const Task later(1000, [] {});
    while (loop.runOnce(0) == QrxRunLoop::Outcome::handled) {
    }
    EXPECT_FALSE(isReadable(descriptor));
    {
        const Task now(0, [] {});
        EXPECT_TRUE(isReadable(descriptor));
        while (loop.runOnce(0) == QrxRunLoop::Outcome::handled) {
        }
        EXPECT_FALSE(isReadable(descriptor));
    }
    loop.wake();
    EXPECT_TRUE(isReadable(descriptor));
    loop.runOnce(0);
    EXPECT_FALSE(isReadable(descriptor));
}

TEST(QrxRunLoop, AnExceptionLeavesThroughItAndItRunsAgain)
{
    struct Refusal {};
    const Task later(1000, [] {});
    const Task thrower(0, [] { throw Refusal(); });
    EXPECT_THROW(QrxRunLoop::getCurrent().runFor(kDeadlineSeconds), Refusal);
    EXPECT_EQ(QrxRunLoop::Outcome::timedOut, QrxRunLoop::getCurrent().runFor(0.01));
}

TEST(QrxRunLoopThreads, AnotherThreadStopsIt)
{
    const Task later(1000, [] {});
    QrxRunLoop loop = QrxRunLoop::getCurrent();
    std::atomic<bool> ended = false;
    // A stop of a loop that does not run yet is forgotten, so it is repeated.
    std::thread stopper([&] {
        while (!ended) {
            loop.stop();
            std::this_thread::yield();
        }
    });
    const QrxRunLoop::Outcome outcome = loop.runFor(kDeadlineSeconds);
    ended = true;
    stopper.join();
    EXPECT_EQ(QrxRunLoop::Outcome::stopped, outcome);
}

TEST(QrxRunLoopThreads, AHandleOutlivesItsThread)
{
    std::optional<QrxRunLoop> loop;
    std::thread([&] { loop = QrxRunLoop::getCurrent(); }).join();
    loop->stop();
    loop->wake();
    const QrxRunLoop copy = *loop;
    loop.reset();
    EXPECT_NE(QrxRunLoop::getCurrent().getFileDescriptor(), -1);
}

TEST(QrxRunLoop, IsHadAsSoonAsADescriptorIsFree)
{
    std::thread([] {
        {
            const DescriptorLimit limit(0);
            try {
                QrxRunLoop::getCurrent();
                FAIL() << "without a descriptor";
            } catch (const std::system_error& failure) {
                EXPECT_EQ(std::errc::too_many_files_open, failure.code());
            }
        }
        EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().run());
    }).join();
}

} // namespace
