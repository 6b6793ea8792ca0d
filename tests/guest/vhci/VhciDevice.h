#pragma once

#include "support/SentReport.h"
#include "support/Waiting.h"
#include "vhci/UsbDescription.h"
#include "vhci/UsbIpMessage.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace qrx::guest {

/// How a device treats a kind of transfer.
enum class Answer : std::uint8_t {
    normal,
    /// Refused at once: the client sees EPIPE.
    stall,
    /// Never answered: the kernel gives up after 5 s (control) or waits on (interrupt).
    silence
};

/// A USB device of ours on the kernel's virtual host controller: the whole path of a real device, from the enumeration
/// to the report node, with every word of it in the test's hand.
///
/// The device lives in this process and serves the kernel in a thread of its own. All operations may be called from any
/// thread, plug() and unplug() from one at a time. It is unplugged when destroyed.
class VhciDevice {
public:
    VhciDevice(UsbIdentity identity, std::vector<UsbInterface> interfaces);
    ~VhciDevice();
    VhciDevice(const VhciDevice&) = delete;
    VhciDevice& operator=(const VhciDevice&) = delete;

    /// Plugs the device into a free port, or into the given one when it is free; the kernel enumerates it from then on.
    /// Throws std::runtime_error if there is no port. Nothing happens if it is plugged.
    void plug(std::optional<int> port = std::nullopt);
    /// Pulls the plug, at once and in the middle of whatever is going on. What waits to be taken is forgotten;
    /// behaviours and values stay for the next plug.
    void unplug();
    bool isPlugged() const;
    /// The port it is in, or was in last.
    int port() const { return _port; }
    /// The device's folder in sysfs; empty while the kernel has not got that far.
    std::string sysfsPath() const;
    /// Waits until the report nodes of all HID interfaces are there and returns them by interface; empty if they did
    /// not come.
    std::vector<std::string> waitForNodes() const;

    /// An input report, as it goes over the wire (a report's number is its first byte). It is taken when the host
    /// polls, which the kernel does while someone has the report node open.
    void sendInput(std::size_t interface, Bytes bytes);
    /// Waits until the kernel has taken and handed on all that was sent (it came back for more).
    bool waitUntilTaken(std::size_t interface, std::chrono::milliseconds limit = kPatience);
    /// Answers every poll at once with what `make` returns for the running number from 0 on, until it returns none.
    /// `make` is called in the device's thread and must not call the device.
    void flood(std::size_t interface, std::function<std::optional<Bytes>(std::uint64_t)> make);

    /// The reports that arrived since the last call, oldest first.
    std::vector<SentReport> takeSentReports();
    /// Waits for that many reports and takes all that came.
    std::vector<SentReport> waitForSentReports(std::size_t count, std::chrono::milliseconds limit = kPatience);

    /// What GET_REPORT answers: the bytes as on the wire. Without a value it answers what the last SET_REPORT of that
    /// type and number brought, else it stalls.
    void setReport(std::size_t interface, UsbReportType type, std::uint8_t reportID, Bytes bytes);
    void answerGetReport(std::size_t interface, Answer answer);
    void answerSetReport(std::size_t interface, Answer answer);
    /// Output reports through the interrupt endpoint.
    void answerOutput(std::size_t interface, Answer answer);
    /// Requests for the report descriptor.
    void answerReportDescriptor(std::size_t interface, Answer answer);
    /// Waits until the host waits for an answer that Answer::silence withholds.
    bool waitUntilSilent(std::chrono::milliseconds limit = kPatience);

    /// Every control request since the last call, oldest first.
    std::vector<SetupPacket> takeControlRequests();

private:
    using ReportKey = std::pair<UsbReportType, std::uint8_t>;

    /// What one interface holds while plugged, and how it behaves.
    struct State {
        std::deque<UsbSubmit> polls;
        std::deque<Bytes> input;
        std::function<std::optional<Bytes>(std::uint64_t)> flood;
        std::uint64_t flooded = 0;
        std::map<ReportKey, Bytes> reports;
        Answer getReport = Answer::normal;
        Answer setReport = Answer::normal;
        Answer output = Answer::normal;
        Answer reportDescriptor = Answer::normal;
    };

    void serve();
    bool receive(Bytes& pending);
    void handle(const UsbIpHeader& header);
    void handleUnlink(std::uint32_t sequence, std::uint32_t target);
    void handleSubmit(UsbSubmit submit);
    void handleInterrupt(UsbSubmit submit);
    void handleControl(const UsbSubmit& submit);
    void handleStandardIn(const UsbSubmit& submit);
    void handleDescriptor(const UsbSubmit& submit);
    void handleClass(const UsbSubmit& submit);
    void handleGetReport(const UsbSubmit& submit, State& state);
    void handleSetReport(const UsbSubmit& submit, std::size_t interface);

    void answerPolls();
    std::optional<Bytes> nextInput(State& state);
    void finish(const UsbSubmit& submit, std::int32_t status, const Bytes& data = {});
    void finishAs(Answer answer, const UsbSubmit& submit, const Bytes& data);
    void transmit();
    void wake() const;
    void setAnswer(std::size_t interface, Answer State::*member, Answer answer);

    UsbDescription _description;
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<State> _states;
    std::vector<SentReport> _sent;
    std::vector<SetupPacket> _controlRequests;
    /// Transfers that wait for nothing: only an unlink ends them.
    std::set<std::uint32_t> _silenced;
    /// Answers on their way to the kernel.
    Bytes _outgoing;
    std::thread _thread;
    int _socket = -1;
    int _wakeFd = -1;
    int _port = -1;
    bool _stopping = false;
};

} // namespace qrx::guest
