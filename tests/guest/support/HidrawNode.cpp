#include "support/HidrawNode.h"

#include <fcntl.h>
#include <linux/hidraw.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace qrx::guest {

namespace {

/// The largest report that the kernel's HID core knows (HID_MAX_BUFFER_SIZE).
constexpr std::size_t kMaximumReportBytes = 16384;

int openWhenTakenOver(const std::string& path)
{
    waitForDriver("/sys/class/hidraw/" + std::filesystem::path(path).filename().string() + "/device");
    return ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
}

unsigned long request(unsigned direction, unsigned number, std::size_t length)
{
    return _IOC(direction, 'H', number, length);
}

constexpr unsigned kBothWays = _IOC_READ | _IOC_WRITE;

} // namespace

HidrawNode::HidrawNode(const std::string& path) : _fd(openWhenTakenOver(path))
{
    if (_fd < 0)
        throw std::system_error(errno, std::generic_category(), path);
}

HidrawNode::~HidrawNode()
{
    ::close(_fd);
}

std::pair<int, Bytes> HidrawNode::read(std::chrono::milliseconds limit)
{
    pollfd entry{_fd, POLLIN, 0};
    ::poll(&entry, 1, static_cast<int>(limit.count()));
    Bytes report(kMaximumReportBytes);
    const ssize_t count = ::read(_fd, report.data(), report.size());
    const int result = count < 0 ? -errno : static_cast<int>(count);
    report.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return {result, report};
}

int HidrawNode::write(const Bytes& report)
{
    const ssize_t count = ::write(_fd, report.data(), report.size());
    return count < 0 ? -errno : static_cast<int>(count);
}

int HidrawNode::set(unsigned long number, const Bytes& report)
{
    Bytes copy = report;
    const int count = ::ioctl(_fd, number, copy.data());
    return count < 0 ? -errno : count;
}

std::pair<int, Bytes> HidrawNode::get(unsigned long number, std::uint8_t reportID, std::size_t length)
{
    Bytes report(length);
    report.at(0) = reportID;
    const int count = ::ioctl(_fd, number, report.data());
    const int result = count < 0 ? -errno : count;
    report.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return {result, report};
}

int HidrawNode::setFeature(const Bytes& report)
{
    return set(request(kBothWays, 0x06, report.size()), report);
}

int HidrawNode::setInput(const Bytes& report)
{
    return set(request(kBothWays, 0x09, report.size()), report);
}

int HidrawNode::setOutput(const Bytes& report)
{
    return set(request(kBothWays, 0x0B, report.size()), report);
}

std::pair<int, Bytes> HidrawNode::getFeature(std::uint8_t reportID, std::size_t length)
{
    return get(request(kBothWays, 0x07, length), reportID, length);
}

std::pair<int, Bytes> HidrawNode::getInput(std::uint8_t reportID, std::size_t length)
{
    return get(request(kBothWays, 0x0A, length), reportID, length);
}

std::pair<int, Bytes> HidrawNode::getOutput(std::uint8_t reportID, std::size_t length)
{
    return get(request(kBothWays, 0x0C, length), reportID, length);
}

std::string HidrawNode::name() const
{
    std::array<char, 1024> text{};
    const int count = ::ioctl(_fd, request(_IOC_READ, 0x04, text.size()), text.data());
    return count <= 0 ? std::string{} : std::string(text.data());
}

Bytes HidrawNode::reportDescriptor() const
{
    hidraw_report_descriptor descriptor{};
    int size = 0;
    if (::ioctl(_fd, HIDIOCGRDESCSIZE, &size) < 0)
        return {};
    descriptor.size = static_cast<std::uint32_t>(size);
    if (::ioctl(_fd, HIDIOCGRDESC, &descriptor) < 0)
        return {};
    return Bytes(descriptor.value, descriptor.value + descriptor.size);
}

} // namespace qrx::guest
