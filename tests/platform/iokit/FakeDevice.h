#pragma once

/// Devices made up for the tests, behind the providers' contract.

#include "Provider/Provider.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fake {

using Bytes = std::vector<std::uint8_t>;

/// What was asked of the fakes, in order; from any thread.
class CallLog {
public:
    void add(const std::string& line);
    /// The lines since the last call, each with a line end.
    std::string take();

private:
    std::mutex _mutex;
    std::string _text;
};
CallLog& callLog();

/// Makes one call of the fakes fail: the sweep over all of them.
class Faults {
public:
    /// The `number`th call from now on fails, counted from 1; 0: none. With an exception, or with its error result.
    void failCall(int number, bool byException);
    int callsSeen() const { return _seen; }
    /// True if this call must fail by its result.
    bool isDue(const std::string& call);

private:
    std::atomic<int> _seen{0};
    int _due = 0;
    bool _byException = false;
};
Faults& faults();

/// How many fake channels are open now.
int openChannels();

/// The HID side of one interface of a fake device, shared by its port and channels.
class Wire {
public:
    class Channel;

    /// To every open channel, as the device would.
    void send(const Bytes& report);
    /// Every channel ends after what was sent before.
    void end();

    /// Reports that setReport took.
    std::vector<Bytes> sentReports();
    /// Called within setReport; its result is the call's.
    std::function<qrx::platform::Status()> onSetReport;
    /// Called within getReport, before it answers.
    std::function<void()> onGetReport;
    /// Called within takeReport.
    std::function<void()> onTakeReport;
    qrx::platform::Status openResult = qrx::platform::Status::success;
    qrx::platform::Status requestResult = qrx::platform::Status::success;
    /// What getReport gives.
    Bytes answer;
    /// The size that getReport claims to have given, if it lies about that.
    std::optional<std::size_t> claimedSize;
    /// Channels fetch all that waits at once, and their descriptor then tells nothing of it.
    bool fetchesInBatches = false;
    /// After the last report of a batch the channel does not ask whether more have come.
    bool trustsItsDescriptor = false;

private:
    friend class Channel;
    friend class Port;

    std::mutex _mutex;
    std::vector<Channel*> _channels;
    std::vector<Bytes> _sent;
    bool _isEnded = false;
};

/// A device to be published; made by the functions below and changed at will before.
struct Device {
    qrx::platform::DeviceFacts facts;
    /// By interface; null where no HID driver is bound.
    std::vector<std::shared_ptr<Wire>> wires;
    qrx::platform::DeviceKey key = 0;

    /// Adds an interface with a HID driver.
    Device& addHid(const Bytes& descriptor);
    /// Adds an interface without.
    Device& addPlain();

    void plug();
    void unplug();
};

Device makeDevice(std::uint16_t vendorID, std::uint16_t productID);
/// One interface; three buttons, X, Y, wheel: reports of 4 bytes.
Device makeMouse();
/// One interface; 8 modifiers, 6 keys, 5 lights: reports of 8 bytes.
Device makeKeyboard();
/// One interface; numbered reports: 1 (input, 64 bytes), 2 (output, 8), 3 (feature, 4), each with its number.
Device makeVendorDevice();

Bytes mouseDescriptor();

/// The provider of this process. What is queued happens at its next refresh, or when it is watched and handles events.
class Provider final : public qrx::platform::Provider {
public:
    Provider();
    ~Provider() override;

    void refresh(qrx::platform::RegistrySink& sink) override;
    int startWatching(qrx::platform::RegistrySink& sink) override;
    void handleEvents(qrx::platform::RegistrySink& sink) override;
    void stopWatching() override;

    void queue(std::function<void()> action);
    bool isWatching() const { return _isWatching; }
    /// While it is false, startWatching fails.
    std::atomic<bool> canWatch{true};

private:
    void runActions();

    std::mutex _mutex;
    std::vector<std::function<void()>> _actions;
    std::atomic<bool> _isWatching{false};
    int _event = -1;
};
Provider& provider();

} // namespace fake
