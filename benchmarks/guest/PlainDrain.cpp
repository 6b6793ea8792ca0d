// Floors for reports that wait: a read for each of them, and a vectored read that takes all. The second one is the best
// that Linux offers, and works only where every report has the length of its segment.

#include "Drain.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace {

/// What the kernel keeps for each reader.
constexpr std::size_t kSegments = 63;

class PlainDrain : public Drain {
public:
    PlainDrain(const PlainDrain&) = delete;
    PlainDrain& operator=(const PlainDrain&) = delete;
    ~PlainDrain() override { ::close(_fd); }

protected:
    explicit PlainDrain(const std::string& node) : _fd(::open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC))
    {
        if (_fd < 0) {
            throw std::system_error(errno, std::generic_category(), node);
        }
    }
    int fd() const { return _fd; }

private:
    const int _fd;
};

class ReadDrain final : public PlainDrain {
public:
    explicit ReadDrain(const std::string& node) : PlainDrain(node) {}

    std::string name() const override { return "plain_read"; }
    void run(std::size_t) override
    {
        for (ssize_t size = 0; (size = ::read(fd(), _bytes.data(), _bytes.size())) > 0;) {
            take(_bytes.data(), static_cast<std::size_t>(size));
        }
    }

private:
    std::array<std::uint8_t, kMostBytes> _bytes;
};

class ReadvDrain final : public PlainDrain {
public:
    explicit ReadvDrain(const std::string& node) : PlainDrain(node)
    {
        std::transform(_bytes.begin(), _bytes.end(), _segments.begin(), [](auto& bytes) {
            return iovec{bytes.data(), bytes.size()};
        });
    }

    std::string name() const override { return "plain_readv"; }
    void run(std::size_t) override
    {
        // The kernel fills one segment with each report and goes on while they are filled to their ends.
        for (ssize_t size = 0; (size = ::readv(fd(), _segments.data(), kSegments)) > 0;) {
            for (std::size_t at = 0; at < static_cast<std::size_t>(size) / kMostBytes; ++at) {
                take(_bytes[at].data(), kMostBytes);
            }
        }
    }

private:
    std::array<std::array<std::uint8_t, kMostBytes>, kSegments> _bytes;
    std::array<iovec, kSegments> _segments;
};

} // namespace

std::unique_ptr<Drain> makeReadDrain(const std::string& node)
{
    return std::make_unique<ReadDrain>(node);
}

std::unique_ptr<Drain> makeReadvDrain(const std::string& node)
{
    return std::make_unique<ReadvDrain>(node);
}
