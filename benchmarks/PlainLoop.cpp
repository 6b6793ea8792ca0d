// The floor that the report path is measured against: what a program would write by hand for one descriptor, a poll and
// a read for each report. A socket of packets keeps reports apart as a report node does.

#include "PlainLoop.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace {

// No HID report is longer on Linux (HID_MAX_BUFFER_SIZE).
constexpr std::size_t kLongestReport = 16384;

} // namespace

PlainLoop::PlainLoop(Receiver receiver, void* context) : _receiver(receiver), _context(context), _buffer(kLongestReport)
{
    // Non-blocking: a report that does not fit shows as an error, where a sender that waits for itself would never end.
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, _ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
}

PlainLoop::~PlainLoop()
{
    ::close(_ends[0]);
    ::close(_ends[1]);
}

void PlainLoop::send(const std::vector<std::uint8_t>& report)
{
    if (::write(_ends[1], report.data(), report.size()) != static_cast<ssize_t>(report.size())) {
        throw std::system_error(errno, std::generic_category(), "write");
    }
}

void PlainLoop::deliver(std::size_t count)
{
    for (std::size_t delivered = 0; delivered < count;) {
        // One poll for each report, also when several wait: the loop of an application does not know that.
        pollfd entry{_ends[0], POLLIN, 0};
        ::poll(&entry, 1, -1);
        const ssize_t length = ::read(_ends[0], _buffer.data(), _buffer.size());
        if (length > 0) {
            _receiver(_buffer.data(), static_cast<std::size_t>(length), _context);
            ++delivered;
        }
    }
}
