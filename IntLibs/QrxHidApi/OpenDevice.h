#pragma once

#include "Base/EpollSet.h"
#include "Base/WakeEvent.h"
#include "DeviceInfo.h"
#include "DeviceTable.h"
#include "ErrorText.h"
#include "Provider/Provider.h"
#include "Schedule.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

namespace qrx::hidapi {

/// An open interface, with the semantics of hidapi's operations. Numbers that it answers are hidapi's: bytes, 0 for
/// "nothing yet", -1 for a failure whose text is kept.
///
/// Several threads may use it. Whatever waits in it when it is closed returns with an error first.
class OpenDevice {
public:
    OpenDevice(std::shared_ptr<const ListedInterface> listed, std::unique_ptr<platform::HIDChannel> channel);
    /// Wakes readers, and returns when nobody is in a call any more.
    ~OpenDevice();
    OpenDevice(const OpenDevice&) = delete;
    OpenDevice& operator=(const OpenDevice&) = delete;

    /// Waits at most so many milliseconds for a report, for ever if negative. A report that is longer than `buffer` is
    /// cut. What was queued when the device left is read before the failure.
    int read(std::span<std::uint8_t> buffer, int timeoutMs);
    /// `bytes` begin with the report's number, 0 for a device that does not number its reports.
    int write(platform::ReportType type, std::span<const std::uint8_t> bytes);
    /// The first byte of `buffer` is the number of the wanted report, 0 for a device that does not number them.
    int get(platform::ReportType type, std::span<std::uint8_t> buffer);

    bool isBlocking() const { return _isBlocking.load(std::memory_order_relaxed); }
    void setBlocking(bool blocking) { _isBlocking.store(blocking, std::memory_order_relaxed); }

    /// As qrx_hid_descriptor.
    int descriptor();

    const ListedInterface& interface() const { return *_listed; }
    /// This interface's entry of the list; the device's until it is closed.
    hid_device_info* info();

    /// Why the last call failed; or that it did not.
    const wchar_t* error() const { return _error.load(std::memory_order_relaxed); }
    const wchar_t* readError() const { return _readError.load(std::memory_order_relaxed); }
    /// `text` is a constant. Answers -1.
    int fail(const wchar_t* text);
    void clearError() { _error.store(kSuccess, std::memory_order_relaxed); }

private:
    /// A call in progress, for which closing waits.
    class Call;
    class Deadline;
    enum class Wake { again, timedOut, failed };

    // The answer of a read; no value if no report waits.
    std::optional<int> take(std::span<std::uint8_t> buffer);
    std::optional<int> takeDue(std::span<std::uint8_t> buffer);
    Wake wait(const Deadline& deadline);
    /// False if no descriptor is free.
    bool makeWake();
    int failReading(const wchar_t* text);

    const std::shared_ptr<const ListedInterface> _listed;
    /// What a virtual device does later; null for a real one.
    Schedule* const _schedule;
    std::atomic<bool> _isBlocking{true};
    std::atomic<const wchar_t*> _error{kSuccess};
    std::atomic<const wchar_t*> _readError{kSuccess};

    std::mutex _mutex; ///< for what follows, and for taking reports from the channel
    std::condition_variable _lastLeft;
    std::size_t _calls = 0;
    bool _isClosing = false;
    /// Raised when the device is being closed. Made when somebody first waits.
    std::optional<platform::WakeEvent> _wake;
    /// For programs' own loops: the channel and the schedule. Made when somebody first asks.
    std::optional<platform::EpollSet> _set;
    InfoList _info;

    const std::unique_ptr<platform::HIDChannel> _channel;
};

} // namespace qrx::hidapi
