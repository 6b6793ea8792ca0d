#include "QrxVirtualDevice.h"

#include "Base/MonotonicTimer.h"
#include "CoreFoundation/LoopWatch.h"
#include "Recordings/RecordingRules.h"
#include "VirtualDeviceBody.h"

#include <chrono>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

using qrx::platform::MonotonicTimer;

/// A timer that the loop watches. At a pace, the timer is set to the time of the next event. Without one, events are
/// sent as long as the device has room, and the timer is set again when a reader has made room.
struct __attribute__((visibility("hidden"))) QrxRecordingPlayer::Body final
    : std::enable_shared_from_this<QrxRecordingPlayer::Body>,
      qrx::LoopWatch::Client {
    Body(QrxRecording played, std::shared_ptr<qrx::platform::VirtualUsbDevice> playedThrough)
        : recording(std::move(played)), device(std::move(playedThrough))
    {
    }

    void start(double newSpeed);
    void stop();
    /// Sends the events that are due.
    void readable() override;

    bool isFinished() const { return sentCount == recording.getEvents().size(); }

    const QrxRecording recording;
    const std::shared_ptr<qrx::platform::VirtualUsbDevice> device;
    std::size_t sentCount = 0;
    std::function<void()> finishedHandler;

private:
    bool isPaced() const { return _speed != kAsFastAsTaken; }
    MonotonicTimer::Time dueTime(const QrxRecordedEvent& event) const;
    bool sendNext();
    void finish();

    /// Shared with the room listener, which may still run on a reader's thread after stop().
    std::shared_ptr<MonotonicTimer> _timer;
    /// Set while it plays.
    std::optional<qrx::LoopWatch> _watch;
    double _speed = 1;
    MonotonicTimer::Time _started;
};

namespace {

/// Longest time to an event, 31 years: a recording may have times, and a program may choose a speed, whose quotient
/// would overflow the clock.
constexpr double kMaximumDelayUs = 1.0e15;

} // namespace

void QrxRecordingPlayer::Body::start(double newSpeed)
{
    stop();
    // A new timer for each start: a room listener of an earlier playback may still run on another thread and set the
    // old one.
    _timer = std::make_shared<MonotonicTimer>();
    _speed = newSpeed;
    sentCount = 0;
    _started = _timer->now();
    _watch.emplace(_timer->descriptor(), weak_from_this());
    // At a pace the clock alone decides when the next event is sent.
    if (!isPaced()) {
        // The listener runs on the reader's thread. It only sets the timer, which the loop of this thread then notices.
        device->setRoomListener(this, [waker = _timer] { waker->setDue({}); });
    }
    _timer->setDue({});
}

void QrxRecordingPlayer::Body::stop()
{
    if (!_watch) {
        return;
    }
    if (!isPaced()) {
        device->setRoomListener(this, {});
    }
    _watch.reset();
    _timer.reset();
}

MonotonicTimer::Time QrxRecordingPlayer::Body::dueTime(const QrxRecordedEvent& event) const
{
    // Times count from the first event, since recorders begin their clocks when they please.
    const std::uint64_t sinceFirst = event.getTimeUs() - recording.getEvents().front().getTimeUs();
    const double delayUs = std::fmin(static_cast<double>(sinceFirst) / _speed, kMaximumDelayUs);
    return _started + std::chrono::microseconds(static_cast<std::int64_t>(delayUs));
}

/// False if the next event has to wait.
bool QrxRecordingPlayer::Body::sendNext()
{
    const QrxRecordedEvent& event = recording.getEvents()[sentCount];
    const int interfaceNumber = recording.getInterfaces()[event.getInterfaceIndex()].getNumber();
    // At a pace the report is sent whether or not there is room, as a real device would: it may be lost.
    if (isPaced()) {
        const auto due = dueTime(event);
        if (due > _timer->now()) {
            _timer->setDue(due);
            return false;
        }
    } else if (!device->hasRoom(interfaceNumber)) {
        // Cleared before the second look: room made in between is seen here, later room sets the timer.
        _timer->clear();
        if (!device->hasRoom(interfaceNumber)) {
            return false;
        }
        _timer->setDue({});
    }
    device->sendInputReport(interfaceNumber, event.getBytes());
    ++sentCount;
    return true;
}

void QrxRecordingPlayer::Body::readable()
{
    // A burst is at most what a queue holds, so that readers on this loop get their turn in between.
    for (std::size_t burst = 0; burst < qrx::platform::VirtualUsbDevice::kQueuedReports; ++burst) {
        if (isFinished()) {
            finish();
            return;
        }
        if (!sendNext()) {
            return;
        }
    }
}

void QrxRecordingPlayer::Body::finish()
{
    // Before the handler, which may start the player again.
    stop();
    // A copy: the handler may set another one or destroy the player while it runs.
    const std::function<void()> handler = finishedHandler;
    if (handler) {
        handler();
    }
}

QrxRecordingPlayer::QrxRecordingPlayer(QrxRecording recording, QrxVirtualDevice& device)
    : _body(std::make_shared<Body>(std::move(recording), device._heldBody().device))
{
    // Checked before anything is played, so that playing needs no error of its own.
    qrx::checkEvents(_body->recording);
}

QrxRecordingPlayer::~QrxRecordingPlayer()
{
    // The room listener is not called any more; one that runs on a reader's thread sets a timer that it holds itself.
    _body->stop();
}

void QrxRecordingPlayer::start(double speed)
{
    // Written so that it holds for NaN too.
    if (!(speed >= 0)) {
        throw std::invalid_argument("the speed of a playback is 0 or more");
    }
    _body->start(speed);
}

void QrxRecordingPlayer::stop()
{
    _body->stop();
}

bool QrxRecordingPlayer::isFinished() const
{
    return _body->isFinished();
}

std::size_t QrxRecordingPlayer::getSentCount() const
{
    return _body->sentCount;
}

void QrxRecordingPlayer::setFinishedHandler(std::function<void()> handler)
{
    _body->finishedHandler = std::move(handler);
}
