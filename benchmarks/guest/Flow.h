#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// One way to receive the reports of several devices on one thread, while another thread sends them. A report carries
/// the moment of its sending.
class Flow {
public:
    /// Bytes of a report; the first eight are the moment, in nanoseconds of the monotonic clock.
    static constexpr std::size_t kBytes = 64;

    virtual ~Flow() = default;

    /// Sends a report of a device that is stamped with the present moment. From one other thread. False if there is no
    /// room.
    virtual bool send(std::size_t device) = 0;
    /// Receives `count` reports.
    virtual void receive(std::size_t count) = 0;

    /// Nanoseconds from the sending of each report to its receiver, ascending. Forgets them.
    std::vector<std::int64_t> takeDelays();

    static std::int64_t now();

protected:
    Flow() = default;
    static std::vector<std::uint8_t> stampedReport();
    void take(const std::uint8_t* bytes);
    std::size_t taken() const { return _delays.size(); }

private:
    std::vector<std::int64_t> _delays;
};

/// Virtual devices, opened by the library, and the application's run loop.
std::unique_ptr<Flow> makeLibraryFlow(std::size_t devices);
/// A pipe for each device, poll over all of them, and a read of each that is readable.
std::unique_ptr<Flow> makePollFlow(std::size_t devices);
