// How several threads share an open interface. Reports are taken from the channel with the device's lock held. Waiting
// for them is done without it, on three descriptors: the channel's, the one that closing raises, and for a virtual
// device that of the schedule. Requests run without it as well, since one may last as long as the kernel's five
// seconds and readers go on meanwhile. Whatever lets the lock go is counted as a call, and closing waits until no call
// is left.

#include "OpenDevice.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <utility>

#include <poll.h>

namespace qrx::hidapi {

namespace {

using platform::HIDChannel;
using platform::ReportType;
using platform::Status;

constexpr const wchar_t* kDisconnected = L"The device was disconnected";
constexpr const wchar_t* kClosed = L"The device is being closed";
constexpr const wchar_t* kInterrupted = L"A signal interrupted the wait";
constexpr const wchar_t* kTooShort = L"A report is at least two bytes long: its number, or 0, and its data";

/// Answers are of type int.
int answer(std::size_t size)
{
    return static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

} // namespace

class OpenDevice::Call {
public:
    explicit Call(OpenDevice& device) : Call(device, std::unique_lock(device._mutex)) {}
    /// For who has the device's lock already. It is released when the call has begun.
    Call(OpenDevice& device, std::unique_lock<std::mutex> lock) : _device(device), _isRefused(device._isClosing)
    {
        ++_device._calls;
        lock.unlock();
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call()
    {
        const std::scoped_lock lock(_device._mutex);
        // Told with the lock held: once the closing thread knows, the device is gone.
        if (--_device._calls == 0 && _device._isClosing) {
            _device._lastLeft.notify_all();
        }
    }

    /// True if closing had begun before: nothing may be sent or asked for any more.
    bool isRefused() const { return _isRefused; }

private:
    OpenDevice& _device;
    const bool _isRefused;
};

/// The end of a read's time. A wait may end before it without a report for this reader: another one has taken it, or
/// something was due that brought none. So what remains is computed for each wait.
class OpenDevice::Deadline {
public:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(int timeoutMs) : _timeoutMs(timeoutMs)
    {
        if (timeoutMs > 0) {
            _at = Clock::now() + std::chrono::milliseconds(timeoutMs);
        }
    }

    bool isNow() const { return _timeoutMs == 0; }
    /// As poll wants it: negative for ever. Rounded up, so that a read does not end before its time.
    int remainingMs() const
    {
        if (_timeoutMs <= 0) {
            return _timeoutMs;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(_at - Clock::now());
        // A moment that has passed must not become negative, which poll would take for "for ever".
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }

private:
    int _timeoutMs;
    Clock::time_point _at;
};

OpenDevice::OpenDevice(std::shared_ptr<const ListedInterface> listed, std::unique_ptr<HIDChannel> channel)
    : _listed(std::move(listed)), _schedule(_listed->device->isVirtual ? &Schedule::ofProcess() : nullptr),
      _channel(std::move(channel))
{
}

OpenDevice::~OpenDevice()
{
    std::unique_lock lock(_mutex);
    _isClosing = true;
    // Readers that wait are woken and find `_isClosing`. Nothing clears the event, so it wakes all of them.
    if (_wake) {
        _wake->raise();
    }
    _lastLeft.wait(lock, [this] { return _calls == 0; });
}

int OpenDevice::read(std::span<std::uint8_t> buffer, int timeoutMs)
{
    _readError.store(kSuccess, std::memory_order_relaxed);
    std::unique_lock lock(_mutex);
    // Asked before waiting: where a report waits already, that is the only system call, and the lock is taken once.
    if (_schedule == nullptr) {
        if (const std::optional<int> taken = take(buffer)) {
            return *taken;
        }
        if (timeoutMs == 0) {
            return 0;
        }
    }
    const Call call(*this, std::move(lock));
    const Deadline deadline(timeoutMs);
    // A virtual device was not asked above: what it has due comes first, and may be a report.
    Wake wake = _schedule == nullptr ? wait(deadline) : Wake::again;
    while (wake == Wake::again) {
        if (const std::optional<int> taken = takeDue(buffer)) {
            return *taken;
        }
        wake = deadline.isNow() ? Wake::timedOut : wait(deadline);
    }
    // `wait` has kept the text of a failure.
    return wake == Wake::timedOut ? 0 : -1;
}

/// Does first what a virtual device was to do by now.
std::optional<int> OpenDevice::takeDue(std::span<std::uint8_t> buffer)
{
    if (_schedule != nullptr) {
        // Without the lock, which calls on other threads need in order to begin.
        _schedule->runDue();
    }
    const std::scoped_lock lock(_mutex);
    return take(buffer);
}

/// Nothing if no report waits. With the lock held.
std::optional<int> OpenDevice::take(std::span<std::uint8_t> buffer)
{
    if (_isClosing) {
        return failReading(kClosed);
    }
    std::span<const std::uint8_t> report;
    switch (_channel->takeReport(report)) {
    case HIDChannel::Next::report: {
        const std::size_t size = std::min(report.size(), buffer.size());
        std::copy_n(report.begin(), size, buffer.begin());
        return answer(size);
    }
    case HIDChannel::Next::gone:
        return failReading(kDisconnected);
    case HIDChannel::Next::empty:
        break;
    }
    return std::nullopt;
}

OpenDevice::Wake OpenDevice::wait(const Deadline& deadline)
{
    if (!makeWake()) {
        failReading(textOf(Status::noResources));
        return Wake::failed;
    }
    // poll passes over a negative descriptor.
    std::array<pollfd, 3> awaited{{{_channel->descriptor(), POLLIN, 0},
                                   {_wake->descriptor(), POLLIN, 0},
                                   {_schedule != nullptr ? _schedule->descriptor() : -1, POLLIN, 0}}};
    const int count = ::poll(awaited.data(), awaited.size(), deadline.remainingMs());
    if (count < 0) {
        // Programs end their loops by a signal, so they get their turn.
        failReading(errno == EINTR ? kInterrupted : textOf(Status::error));
        return Wake::failed;
    }
    // Which descriptor it was does not matter: taking tells a report, the device's end and closing apart.
    return count == 0 ? Wake::timedOut : Wake::again;
}

bool OpenDevice::makeWake()
{
    const std::scoped_lock lock(_mutex);
    // Made at the first wait, since a program that never blocks needs no descriptor for it. Closing may have begun
    // before that, when there was nothing to raise.
    if (!_wake) {
        _wake.emplace(platform::SystemCalls::ofProcess());
        if (!_wake->isOpen()) {
            _wake.reset();
            return false;
        }
        if (_isClosing) {
            _wake->raise();
        }
    }
    return true;
}

int OpenDevice::write(ReportType type, std::span<const std::uint8_t> bytes)
{
    const Call call(*this);
    if (call.isRefused()) {
        return fail(kClosed);
    }
    if (bytes.size() < 2) {
        return fail(kTooShort);
    }
    // The channel gets the data of an unnumbered report alone, without hidapi's leading 0.
    const std::uint8_t reportID = bytes.front();
    const Status status = _channel->setReport(type, reportID, reportID != 0 ? bytes : bytes.subspan(1));
    return status == Status::success ? answer(bytes.size()) : fail(textOf(status));
}

int OpenDevice::get(ReportType type, std::span<std::uint8_t> buffer)
{
    const Call call(*this);
    if (call.isRefused()) {
        return fail(kClosed);
    }
    if (buffer.size() < 2) {
        return fail(kTooShort);
    }
    // The number stays in the first byte; the report of a device without numbers begins after it.
    const std::uint8_t reportID = buffer.front();
    const std::size_t skipped = reportID != 0 ? 0 : 1;
    std::size_t size = 0;
    const Status status = _channel->getReport(type, reportID, buffer.subspan(skipped), size);
    return status == Status::success ? answer(size + skipped) : fail(textOf(status));
}

int OpenDevice::descriptor()
{
    const Call call(*this);
    const std::scoped_lock lock(_mutex);
    if (_schedule == nullptr) {
        return _channel->descriptor();
    }
    // A virtual device also has to be read when something is due, since reading is what makes it happen.
    if (!_set) {
        _set.emplace(platform::SystemCalls::ofProcess());
        if (!_set->isOpen() || !_set->add(_channel->descriptor(), 0) || !_set->add(_schedule->descriptor(), 0)) {
            _set.reset();
            return fail(textOf(Status::noResources));
        }
    }
    return _set->descriptor();
}

hid_device_info* OpenDevice::info()
{
    const std::scoped_lock lock(_mutex);
    if (_info == nullptr) {
        _info = makeInfoList(*_listed);
    }
    return _info.get();
}

int OpenDevice::fail(const wchar_t* text)
{
    _error.store(text, std::memory_order_relaxed);
    return -1;
}

int OpenDevice::failReading(const wchar_t* text)
{
    _readError.store(text, std::memory_order_relaxed);
    return fail(text);
}

} // namespace qrx::hidapi
