#pragma once

#include "Provider/Provider.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace qrx::platform {

class ReportQueue;

/// A report that was sent to a virtual device.
struct SentReport {
    int interfaceNumber = 0;
    ReportType type = ReportType::output;
    std::uint32_t reportID = 0;
    std::vector<std::uint8_t> bytes;
};

/// What a device does by itself: it answers in place of the device's owner, and changes, loses or delays input. Called
/// from any thread.
class DeviceBehaviour {
public:
    DeviceBehaviour() = default;
    DeviceBehaviour(const DeviceBehaviour&) = delete;
    DeviceBehaviour& operator=(const DeviceBehaviour&) = delete;
    virtual ~DeviceBehaviour() = default;

    /// Before each arrival, with the device's lock held: nothing of the device may be called.
    virtual void changeFacts(DeviceFacts& facts) = 0;

    // The others are called without a lock and may do anything.

    /// Success lets the interface be opened.
    virtual Status open(int interfaceNumber) = 0;
    /// Called by VirtualUsbDevice::sendInputReport, whose result this is. What is to arrive is passed on with
    /// deliverInputReport, now or later.
    virtual bool sendInputReport(int interfaceNumber, std::span<const std::uint8_t> report) = 0;
    /// These two decide before the handlers of the device's owner. No value leaves the answer to them.
    virtual std::optional<Status> takeSentReport(const SentReport& report) = 0;
    virtual std::optional<Status> answerRequest(int interfaceNumber, ReportType type, std::uint32_t reportID,
                                                std::vector<std::uint8_t>& answer) = 0;
};

/// A USB device in memory, used from any thread. It may be plugged more than once. Each plug-in period is a new device
/// to the registry: ports and channels of an earlier one answer "not attached" for ever.
class VirtualUsbDevice : public std::enable_shared_from_this<VirtualUsbDevice> {
public:
    using SentReportHandler = std::function<bool(const SentReport&)>;
    using ReportRequestHandler = std::function<bool(int interfaceNumber, ReportType type, std::uint32_t reportID,
                                                    std::vector<std::uint8_t>& answer)>;
    using RoomListener = std::function<void()>;

    /// Reports that wait for one reader: what the Linux kernel keeps of its ring of 64.
    static constexpr std::size_t kQueuedReports = 63;

    /// An interface of `facts` that has a report descriptor becomes a HID interface.
    explicit VirtualUsbDevice(DeviceFacts facts);

    void plug();
    void unplug();
    bool isPlugged() const;

    /// As the device was made, with its interfaces in the order of their numbers. A script changes a copy of them.
    const DeviceFacts& facts() const { return _facts; }
    std::size_t openCount(int interfaceNumber) const;
    /// As QrxVirtualDevice::sendInputReport.
    bool sendInputReport(int interfaceNumber, std::span<const std::uint8_t> report);
    bool hasRoom(int interfaceNumber) const;
    /// As sendInputReport, without asking the behaviour.
    bool deliverInputReport(int interfaceNumber, std::span<const std::uint8_t> report);
    /// Replaces the behaviour; null removes it. The earlier one ends when the calls that run in it return.
    void setBehaviour(std::shared_ptr<DeviceBehaviour> behaviour);

    void setSentReportHandler(SentReportHandler handler);
    void setReportRequestHandler(ReportRequestHandler handler);
    /// What `convert` makes of the reports that were sent, which are then forgotten. They are kept if it throws.
    template <typename Convert>
    auto takeSentReports(Convert convert)
    {
        const std::scoped_lock lock(_mutex);
        std::vector<decltype(convert(_sentReports.front()))> taken;
        taken.reserve(_sentReports.size());
        for (const SentReport& report : _sentReports) {
            taken.push_back(convert(report));
        }
        _sentReports.clear();
        return taken;
    }
    /// Called whenever there may be room in a queue that was full: on the thread of a reader that took a report or
    /// closed, or that unplugs. No lock is held. Each owner has one; an empty function removes it.
    void setRoomListener(const void* owner, RoomListener listener);

    // For ports and channels; `plugging` is the plug-in period that they belong to.

    Status openQueue(std::uint64_t plugging, int interfaceNumber, std::shared_ptr<ReportQueue>& queue);
    void closeQueue(const std::shared_ptr<ReportQueue>& queue);
    Status takeSentReport(std::uint64_t plugging, SentReport report);
    Status answerRequest(std::uint64_t plugging, int interfaceNumber, ReportType type, std::uint32_t reportID,
                         std::vector<std::uint8_t>& answer);
    void roomMade();

private:
    struct OpenQueue {
        int interfaceNumber;
        std::shared_ptr<ReportQueue> queue;
    };
    /// Interface, type and number of a report.
    using ReportName = std::pair<int, std::pair<ReportType, std::uint32_t>>;

    DeviceFacts factsWithPorts();
    std::shared_ptr<DeviceBehaviour> behaviour() const;
    /// Null as well once that plug-in period is over.
    std::shared_ptr<DeviceBehaviour> behaviourOf(std::uint64_t plugging) const;

    DeviceFacts _facts;
    mutable std::mutex _mutex;
    /// Counts the plug-in periods; the current one is the last.
    std::uint64_t _plugging = 0;
    DeviceKey _key = 0;
    std::vector<OpenQueue> _openQueues;
    /// Shared, so that a handler may be replaced while it runs.
    std::shared_ptr<const SentReportHandler> _sentReportHandler;
    std::shared_ptr<const ReportRequestHandler> _reportRequestHandler;
    std::map<const void*, std::shared_ptr<const RoomListener>> _roomListeners;
    std::shared_ptr<DeviceBehaviour> _behaviour;
    /// Read without the lock, for each report that is fetched. Whoever listens does so before it finds a queue full,
    /// and the queue's own lock orders that before the fetch.
    std::atomic<bool> _hasRoomListeners{false};
    std::vector<SentReport> _sentReports;
    std::map<ReportName, std::vector<std::uint8_t>> _lastReports;
};

} // namespace qrx::platform
