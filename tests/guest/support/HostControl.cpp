#include "support/HostControl.h"

#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace qrx::guest {

namespace {

constexpr int kAnswerLimitMs = 30000;

} // namespace

HostControl::HostControl()
{
    const char* port = std::getenv("QRX_GUEST_CTL");
    if (port == nullptr)
        throw std::runtime_error("no control port: this program runs in the test guest only");
    _fd = std::atoi(port);
}

std::string HostControl::qmp(const std::string& json)
{
    const std::string line = "@qmp " + json + "\n";
    if (::write(_fd, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw std::runtime_error("the control port takes no command");
    return readLine();
}

std::string HostControl::readLine()
{
    // Byte by byte: what follows the answer is for the guest's first process.
    std::string line;
    char byte = 0;
    pollfd entry{_fd, POLLIN, 0};
    while (::poll(&entry, 1, kAnswerLimitMs) > 0 && ::read(_fd, &byte, 1) == 1) {
        if (byte == '\n')
            return line;
        line += byte;
    }
    throw std::runtime_error("no answer from the host");
}

} // namespace qrx::guest
