#include "vhci/VhciPort.h"

#include "support/GuestFiles.h"
#include "support/Waiting.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace qrx::guest {

namespace {

const std::string kController = "/sys/devices/platform/vhci_hcd.0";

/// States of a port in the controller's table.
constexpr int kPortFree = 4;
constexpr int kPortUsed = 6;

struct PortLine {
    int port = 0;
    int state = 0;
    std::string device;
};

/// The high-speed ports: those of SuperSpeed take no slower device. Lines read "hs  0000 006 003 00010001 000004 3-1".
std::vector<PortLine> readPorts()
{
    std::vector<PortLine> ports;
    for (const std::string& name : listFolder(kController)) {
        if (!name.starts_with("status"))
            continue;
        std::istringstream table(readFile(kController + "/" + name).value_or(""));
        for (std::string line; std::getline(table, line);) {
            std::istringstream words(line);
            std::string hub;
            std::string speed;
            std::string id;
            std::string socket;
            PortLine entry;
            if (words >> hub >> entry.port >> entry.state >> speed >> id >> socket >> entry.device && hub == "hs")
                ports.push_back(entry);
        }
    }
    return ports;
}

std::optional<int> findFree(std::optional<int> wanted)
{
    for (const PortLine& entry : readPorts()) {
        if (entry.state == kPortFree && (!wanted || entry.port == *wanted))
            return entry.port;
    }
    return std::nullopt;
}

} // namespace

int VhciPort::attach(int speed, std::optional<int> wanted, int& port, std::optional<unsigned long> device)
{
    // Between looking for a port and taking it, nobody else may.
    static std::mutex sm_Mutex;
    const std::lock_guard lock(sm_Mutex);
    if (::access(kController.c_str(), F_OK) != 0)
        loadModule("vhci-hcd");
    std::optional<int> found;
    if (!waitUntil([&] { return (found = findFree(wanted)).has_value(); }, std::chrono::seconds(10)))
        throw std::runtime_error("no port of the virtual host controller is free");
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::runtime_error("no socket pair");
    // Port, descriptor, device id, speed.
    const std::string request = std::to_string(*found) + " " + std::to_string(ends[1]) + " " +
                                std::to_string(device.value_or(0x10001 + *found)) + " " + std::to_string(speed);
    const int error = writeFile(kController + "/attach", request);
    ::close(ends[1]);
    if (error != 0) {
        ::close(ends[0]);
        throw std::runtime_error("the virtual host controller refuses the device: errno " + std::to_string(error));
    }
    port = *found;
    return ends[0];
}

std::string VhciPort::deviceName(int port)
{
    for (const PortLine& entry : readPorts()) {
        if (entry.port == port && entry.state == kPortUsed)
            return entry.device;
    }
    return {};
}

bool VhciPort::isFree(int port)
{
    return findFree(port).has_value();
}

} // namespace qrx::guest
