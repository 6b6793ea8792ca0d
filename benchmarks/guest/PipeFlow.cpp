// The floor for many devices: a pipe for each, and a read for each that is ready, found by one poll on all of them or
// by a look at an epoll set. Reports of these sizes are written and read whole (PIPE_BUF), so a pipe keeps them apart.

#include "Flow.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace {

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

class PipeFlow : public Flow {
public:
    explicit PipeFlow(std::size_t devices);
    ~PipeFlow() override;
    PipeFlow(const PipeFlow&) = delete;
    PipeFlow& operator=(const PipeFlow&) = delete;

    bool send(std::size_t device) override
    {
        const std::vector<std::uint8_t> report = stampedReport();
        return ::write(_senders[device], report.data(), report.size()) == static_cast<ssize_t>(report.size());
    }

protected:
    const std::vector<int>& receivers() const { return _receivers; }
    void read(int receiver)
    {
        if (::read(receiver, _report.data(), _report.size()) > 0) {
            take(_report.data());
        }
    }

private:
    std::vector<int> _senders;
    std::vector<int> _receivers;
    std::array<std::uint8_t, kBytes> _report{};
};

PipeFlow::PipeFlow(std::size_t devices)
{
    for (std::size_t number = 0; number < devices; ++number) {
        int ends[2];
        // Non-blocking at both ends: the sender sees that a pipe is full, as that of a virtual device does.
        if (::pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) {
            fail("pipe");
        }
        _receivers.push_back(ends[0]);
        _senders.push_back(ends[1]);
    }
}

PipeFlow::~PipeFlow()
{
    for (const int end : _senders) {
        ::close(end);
    }
    for (const int end : _receivers) {
        ::close(end);
    }
}

class PollFlow final : public PipeFlow {
public:
    explicit PollFlow(std::size_t devices) : PipeFlow(devices)
    {
        for (const int receiver : receivers()) {
            _polled.push_back({receiver, POLLIN, 0});
        }
    }
    void receive(std::size_t count) override
    {
        for (const std::size_t wanted = taken() + count; taken() < wanted;) {
            ::poll(_polled.data(), _polled.size(), -1);
            // All entries are looked at, since poll does not say which of them are ready. That is the price of poll for
            // many devices.
            for (const pollfd& one : _polled) {
                if (one.revents != 0) {
                    read(one.fd);
                }
            }
        }
    }

private:
    std::vector<pollfd> _polled;
};

class EpollFlow final : public PipeFlow {
public:
    explicit EpollFlow(std::size_t devices);
    ~EpollFlow() override { ::close(_epoll); }
    EpollFlow(const EpollFlow&) = delete;
    EpollFlow& operator=(const EpollFlow&) = delete;

    void receive(std::size_t count) override;

private:
    const int _epoll = ::epoll_create1(EPOLL_CLOEXEC);
};

EpollFlow::EpollFlow(std::size_t devices) : PipeFlow(devices)
{
    for (const int receiver : receivers()) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = receiver;
        if (::epoll_ctl(_epoll, EPOLL_CTL_ADD, receiver, &event) != 0) {
            fail("epoll");
        }
    }
}

void EpollFlow::receive(std::size_t count)
{
    constexpr int kMostFound = 16; // as the library's run loop
    std::array<epoll_event, kMostFound> found;
    for (const std::size_t wanted = taken() + count; taken() < wanted;) {
        const int ready = ::epoll_wait(_epoll, found.data(), kMostFound, -1);
        for (int index = 0; index < ready; ++index) {
            read(found[static_cast<std::size_t>(index)].data.fd);
        }
    }
}

} // namespace

std::unique_ptr<Flow> makePollFlow(std::size_t devices)
{
    return std::make_unique<PollFlow>(devices);
}

std::unique_ptr<Flow> makeEpollFlow(std::size_t devices)
{
    return std::make_unique<EpollFlow>(devices);
}
