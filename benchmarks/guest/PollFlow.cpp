// The floor for many devices: a pipe for each, one poll on all of them, and a read for each that is ready. Reports of
// these sizes are written and read whole (PIPE_BUF), so a pipe keeps them apart.

#include "Flow.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace {

class PollFlow final : public Flow {
public:
    explicit PollFlow(std::size_t devices);
    ~PollFlow() override;
    PollFlow(const PollFlow&) = delete;
    PollFlow& operator=(const PollFlow&) = delete;

    bool send(std::size_t device) override
    {
        const std::vector<std::uint8_t> report = stampedReport();
        return ::write(_senders[device], report.data(), report.size()) == static_cast<ssize_t>(report.size());
    }
    void receive(std::size_t count) override;

private:
    std::vector<int> _senders;
    std::vector<pollfd> _receivers;
};

PollFlow::PollFlow(std::size_t devices)
{
    for (std::size_t number = 0; number < devices; ++number) {
        int ends[2];
        if (::pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        _senders.push_back(ends[1]);
        _receivers.push_back({ends[0], POLLIN, 0});
    }
}

PollFlow::~PollFlow()
{
    for (std::size_t number = 0; number < _senders.size(); ++number) {
        ::close(_senders[number]);
        ::close(_receivers[number].fd);
    }
}

void PollFlow::receive(std::size_t count)
{
    std::array<std::uint8_t, kBytes> report;
    for (const std::size_t wanted = taken() + count; taken() < wanted;) {
        ::poll(_receivers.data(), _receivers.size(), -1);
        for (const pollfd& receiver : _receivers) {
            if (receiver.revents != 0 && ::read(receiver.fd, report.data(), report.size()) > 0) {
                take(report.data());
            }
        }
    }
}

} // namespace

std::unique_ptr<Flow> makePollFlow(std::size_t devices)
{
    return std::make_unique<PollFlow>(devices);
}
