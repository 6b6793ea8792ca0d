// A visit to the channel (Pass) takes a bounded number of reports and hands each on at once: to the queues, then to the
// interrupt handler, then to the callout of the queue whose source is served.
//
// Each of these may close the device, open it again, drop the last reference or throw. A generation number, which goes
// up with every open and close, tells a pass whether the channel that it holds is still the device's. What a pass
// leaves in the channel's memory is not announced by the descriptor any more, so the pass signals the sources for it at
// its end, an exception included.

#include "HidDevice.h"

#include "HidQueue.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstring>
#include <utility>

using qrx::platform::HIDChannel;

namespace qrx::iokit {

namespace {

/// The reports that one pass hands on before other sources of the run loop get their turn. The kernel keeps 63 for one
/// reader, so a pass catches up with any delay, while a device that sends without pause cannot keep the loop.
constexpr int kReportsPerPass = 64;

} // namespace

inline void HidDevice::interrupt(std::span<const std::uint8_t> bytes)
{
    const std::size_t size = std::min<std::size_t>(bytes.size(), _interrupt.size);
    if (size > 0) {
        std::memcpy(_interrupt.buffer, bytes.data(), size);
    }
    _interrupt.callback(_interrupt.target, kIOReturnSuccess, _interrupt.refcon, &_deviceFace,
                        static_cast<std::uint32_t>(size));
}

inline bool HidDevice::deliversInterruptsFor(const HidQueue* origin) const
{
    // A visit from a queue's source also serves the interrupt handler, provided that the device's own source is in this
    // run loop: otherwise the program does not expect its handler on this thread.
    return _interrupt.callback != nullptr && _source &&
           (origin == nullptr ||
            CFRunLoopContainsSource(CFRunLoopGetCurrent(), _source->source(), kCFRunLoopDefaultMode));
}

/// One visit to the channel. It holds the channel, and the state at its beginning.
struct HidDevice::Pass {
    Pass(HidDevice& visited, HidQueue* servedQueue)
        : device(visited), origin(servedQueue), channel(visited._channel), generation(visited._generation),
          deliversInterrupts(visited.deliversInterruptsFor(servedQueue))
    {
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

    /// Makes the loop call again for what was fetched but not handed on: the descriptor does not announce it any more.
    /// It runs after an exception as well, which may have kept the queue's callout from being called.
    ~Pass()
    {
        if (!isOver && isCurrent() && (channel->hasFetchedReports() || (origin != nullptr && origin->isCalloutDue()))) {
            device.signalSources();
        }
    }

    bool isCurrent() const { return device._generation == generation; }

    HidDevice& device;
    HidQueue* const origin;
    const LocalShared<HIDChannel> channel;
    const std::uint64_t generation;
    const bool deliversInterrupts;
    /// Nothing waits.
    bool isOver = false;
};

void HidDevice::perform()
{
    // Keeps this object until the callback returns, whatever is released within it.
    const Call call(*this);
    if (!_completions.empty()) {
        deliverCompletions();
    }
    pump(nullptr);
}

bool HidDevice::pump(HidQueue* origin)
{
    if (!_channel || _isGone) {
        return false;
    }
    ++_counts.wakeUps;
    Pass pass(*this, origin);
    const bool isMore = takeReports(pass);
    if (pass.isCurrent() && pass.channel->possibleLosses() != _toldLosses) [[unlikely]] {
        tellLosses(pass);
    }
    return isMore && pass.isCurrent();
}

inline bool HidDevice::takeReports(Pass& pass)
{
    HIDChannel& channel = *pass.channel;
    std::span<const std::uint8_t> report;
    for (int taken = 0; taken < kReportsPerPass; ++taken) {
        const bool isTimed = _takesTimes && !channel.hasFetchedReports();
        const HIDChannel::Next next = channel.takeReport(report);
        // A virtual device announces the room that taking a report makes, so foreign code may run here and close this
        // device.
        if (_generation != pass.generation) {
            return false;
        }
        if (next != HIDChannel::Next::report) {
            pass.isOver = true;
            if (next == HIDChannel::Next::gone) {
                deviceLeft();
            }
            return false;
        }
        if (isTimed) [[unlikely]] {
            _arrivalTime = std::chrono::steady_clock::now();
        }
        ++_counts.reports;
        _counts.bytes += report.size();
        deliver(report, pass);
        if (_generation != pass.generation) {
            return false;
        }
        if (channel.isDescriptorNext()) {
            pass.isOver = true;
            break;
        }
    }
    return true;
}

inline void HidDevice::deliver(std::span<const std::uint8_t> report, const Pass& pass)
{
    if (!_queues.empty() || _keepsReports) {
        noteInput(report, pass.origin);
    }
    if (pass.deliversInterrupts && _interrupt.callback != nullptr) {
        interrupt(report);
    }
    // The queue may have been released in the handler. Its callout is cleared then; the call of its source keeps the
    // object.
    if (pass.origin != nullptr && pass.isCurrent()) {
        pass.origin->callOut();
    }
}

void HidDevice::tellLosses(Pass& pass)
{
    const std::uint64_t losses = pass.channel->possibleLosses();
    // The channel counts from its opening; what is reported is the difference.
    const std::uint64_t count = losses - std::exchange(_toldLosses, losses);
    if (pass.deliversInterrupts && _interrupt.callback != nullptr) {
        _interrupt.callback(_interrupt.target, kIOReturnOverrun, _interrupt.refcon, &_deviceFace,
                            static_cast<std::uint32_t>(std::min<std::uint64_t>(count, UINT32_MAX)));
    } else if (pass.origin != nullptr) {
        pass.origin->tellLoss();
    }
}

} // namespace qrx::iokit
