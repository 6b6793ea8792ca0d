#include "FakeNode.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qrx::platform::test {

FakeNode::FakeNode(Reading reading) : _reading(reading)
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    _channelEnd = ends[0];
    _deviceEnd = ends[1];
}

FakeNode::~FakeNode()
{
    if (_channelEnd >= 0) {
        ::close(_channelEnd);
    }
    if (_deviceEnd >= 0) {
        ::close(_deviceEnd);
    }
}

int FakeNode::takeChannelEnd()
{
    return std::exchange(_channelEnd, -1);
}

void FakeNode::queue(const Bytes& report)
{
    if (::send(_deviceEnd, report.data(), report.size(), 0) != static_cast<ssize_t>(report.size())) {
        throw std::runtime_error("the fake node's queue is full");
    }
}

void FakeNode::queueMany(int count, std::size_t size, int first)
{
    for (int number = first; number < first + count; ++number) {
        queue(Bytes(size, static_cast<std::uint8_t>(number)));
    }
}

void FakeNode::unplug()
{
    _isUnplugged = true;
    ::close(std::exchange(_deviceEnd, -1));
}

ssize_t FakeNode::readOne(int fd, void* buffer, std::size_t size)
{
    const ssize_t result = ::recv(fd, buffer, size, 0);
    if (result == 0 && _isUnplugged) {
        errno = EIO;
        return -1;
    }
    return result;
}

ssize_t FakeNode::read(int fd, void* buffer, std::size_t size)
{
    ++readCalls;
    return readOne(fd, buffer, size);
}

ssize_t FakeNode::readv(int fd, const iovec* segments, int count)
{
    ++readCalls;
    segmentsOffered = count;
    if (_reading == Reading::iterator) {
        return ::readv(fd, segments, count);
    }
    ssize_t total = 0;
    for (int at = 0; at < count; ++at) {
        const ssize_t size = readOne(fd, segments[at].iov_base, segments[at].iov_len);
        if (size < 0) {
            return total > 0 ? total : size;
        }
        total += size;
        if (static_cast<std::size_t>(size) != segments[at].iov_len) {
            break;
        }
    }
    return total;
}

ssize_t FakeNode::readvFlagged(int fd, const iovec* segments, int count, int flags)
{
    if (flags != 0 && _reading != Reading::iterator) {
        errno = _reading == Reading::ancient ? EINVAL : EOPNOTSUPP;
        return -1;
    }
    return readv(fd, segments, count);
}

int FakeNode::answered(int success)
{
    const int error = std::exchange(_answerError, 0);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return success;
}

ssize_t FakeNode::write(int, const void* bytes, std::size_t size)
{
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    _requests += "write " + hexText(Bytes(first, first + size)) + "\n";
    return answered(static_cast<int>(size));
}

int FakeNode::control(int, unsigned long request, void* argument)
{
    auto* bytes = static_cast<std::uint8_t*>(argument);
    const std::size_t size = _IOC_SIZE(request);
    char number[16];
    std::snprintf(number, sizeof number, "%02lx", static_cast<unsigned long>(_IOC_NR(request)));
    _requests += std::string("ioctl ") + number + " " + hexText(Bytes(bytes, bytes + size)) + "\n";
    if (_answerBytes.empty()) {
        return answered(static_cast<int>(size));
    }
    const Bytes answer = std::exchange(_answerBytes, {});
    const std::size_t given = std::min(answer.size(), size);
    std::memcpy(bytes, answer.data(), given);
    return static_cast<int>(given);
}

std::string FakeNode::takeRequests()
{
    return std::exchange(_requests, {});
}

std::string hexText(const Bytes& bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(byte));
        text += (text.empty() ? "" : " ") + std::string(digits);
    }
    return text;
}

std::shared_ptr<const DeviceAccess> nodeOwner()
{
    DeviceFacts device;
    device.vendorID = 0x1234;
    device.productID = 0xabcd;
    device.place = "1-2.1";
    return std::make_shared<DeviceAccess>(device);
}

Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes whole;
    for (const Bytes& part : parts) {
        whole.insert(whole.end(), part.begin(), part.end());
    }
    return whole;
}

Bytes vendorDescriptor(unsigned input, unsigned output, unsigned feature, unsigned id)
{
    const auto field = [](unsigned count, std::uint8_t mainItem) {
        if (count == 0) {
            return Bytes();
        }
        return Bytes{
            0x75, 0x08,     0x96, static_cast<std::uint8_t>(count), static_cast<std::uint8_t>(count >> 8), 0x09,
            0x02, mainItem, 0x02};
    };
    const Bytes number = id != 0 ? Bytes{0x85, static_cast<std::uint8_t>(id)} : Bytes();
    return joined({{0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01},
                   number,
                   {0x15, 0x00, 0x26, 0xff, 0x00},
                   field(input, 0x81),
                   field(output, 0x91),
                   field(feature, 0xb1),
                   {0xc0}});
}

} // namespace qrx::platform::test
