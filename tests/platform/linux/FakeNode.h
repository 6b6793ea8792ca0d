#pragma once

#include "FaultyCalls.h"
#include "Linux/hidraw/DeviceAccess.h"

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace qrx::platform::test {

using Bytes = std::vector<std::uint8_t>;

/// A report node whose other end the test holds: a socket that keeps the bounds of messages. Calls on it behave as the
/// kernel's hidraw does: one report a read, cut to the buffer's size; a vectored read is one read for each segment and
/// stops after the first that is not filled; with the device gone, EIO once the queue is empty. Output and requests
/// are written down and answered as the test says.
class FakeNode : public FaultyCalls {
public:
    /// How the kernel reads such a node.
    enum class Reading {
        bySegment, ///< a plain read operation, called once for each segment
        iterator,  ///< one that fills all segments from one report
        ancient    ///< as bySegment, but preadv2 knows no flags
    };

    explicit FakeNode(Reading reading = Reading::bySegment);
    ~FakeNode() override;

    /// The channel's end; the caller's.
    int takeChannelEnd();
    void queue(const Bytes& report);
    /// `count` reports of `size` bytes, each beginning with its number from `first` on.
    void queueMany(int count, std::size_t size, int first = 0);
    void unplug();

    /// What the next request answers: an errno, or bytes for a request that reads.
    void answer(int error) { _answerError = error; }
    void answer(Bytes bytes) { _answerBytes = std::move(bytes); }
    /// One line for each request: "write 00 01 02", "ioctl 06 00 01 02".
    std::string takeRequests();

    int readCalls = 0;
    /// By the last vectored read.
    int segmentsOffered = 0;

    ssize_t read(int fd, void* buffer, std::size_t size) override;
    ssize_t readv(int fd, const iovec* segments, int count) override;
    ssize_t readvFlagged(int fd, const iovec* segments, int count, int flags) override;
    ssize_t write(int fd, const void* bytes, std::size_t size) override;
    int control(int fd, unsigned long request, void* argument) override;

private:
    ssize_t readOne(int fd, void* buffer, std::size_t size);
    int answered(int success);

    const Reading _reading;
    int _channelEnd = -1;
    int _deviceEnd = -1;
    bool _isUnplugged = false;
    int _answerError = 0;
    Bytes _answerBytes;
    std::string _requests;
};

/// "01 02 ff"
std::string hexText(const Bytes& bytes);

/// The device 1234:abcd at 1-2.1, for a channel to it.
std::shared_ptr<const DeviceAccess> nodeOwner();

/// A vendor-defined device: input, output and feature reports of so many bytes (0: none), numbered where `id` is not 0.
Bytes vendorDescriptor(unsigned input, unsigned output = 0, unsigned feature = 0, unsigned id = 0);
Bytes joined(std::initializer_list<Bytes> parts);

} // namespace qrx::platform::test
