#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// One way to receive the reports of several devices on one thread, while another thread sends them. A report carries
/// the moment of its sending.
///
/// The guest has one processor, and the sender takes it from the receiver: a report waits for the receiver, and for the
/// sender's work on the reports that come after it. Devices do not take their receiver's processor, so a delay is also
/// told without the time for which the sender had it.
class Flow {
public:
    /// Bytes of a report; the first sixteen are what stampedReport writes.
    static constexpr std::size_t kBytes = 64;

    virtual ~Flow() = default;

    /// Sends a report of a device that is stamped with the present moment. From one other thread. False if there is no
    /// room.
    virtual bool send(std::size_t device) = 0;
    /// Receives `count` reports.
    virtual void receive(std::size_t count) = 0;

    /// The sender has the processor from this moment on (when its timer ended), or until this moment. Its way from the
    /// second one into its sleep is not noticed, so it counts as the receiver's.
    void senderBegins(std::int64_t moment) { _senderBegan = moment; }
    void senderEnds(std::int64_t moment) { _senderNs.store(senderTime(moment), std::memory_order_relaxed); }

    /// Nanoseconds from the sending of each report to its receiver, each kind ascending.
    struct Delays {
        std::vector<std::int64_t> all;
        std::vector<std::int64_t> withoutSender;
    };
    /// Forgets them.
    Delays takeDelays();
    /// Takes memory for the delays of so many reports, before the first one comes: else it would be taken in between,
    /// and all delays so far moved into it.
    void expect(std::size_t count);

    static std::int64_t now();

protected:
    Flow() = default;
    std::vector<std::uint8_t> stampedReport() const;
    void take(const std::uint8_t* bytes);
    std::size_t taken() const { return _delays.all.size(); }

private:
    /// For how long the sender has had the processor until this moment, of those in which it has it.
    std::int64_t senderTime(std::int64_t moment) const
    {
        return _senderNs.load(std::memory_order_relaxed) + moment - _senderBegan;
    }

    Delays _delays;
    std::int64_t _senderBegan = 0; ///< the sender's
    /// Without the time that has passed since _senderBegan. The receiver reads it while the sender sleeps.
    std::atomic<std::int64_t> _senderNs{0};
};

/// Virtual devices, opened by the library, and the application's run loop.
std::unique_ptr<Flow> makeLibraryFlow(std::size_t devices);
/// A pipe for each device, and a read of each that a poll over all of them, or a look at an epoll set, finds readable.
std::unique_ptr<Flow> makePollFlow(std::size_t devices);
std::unique_ptr<Flow> makeEpollFlow(std::size_t devices);
