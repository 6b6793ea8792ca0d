// What an open device takes of its program's memory and of the kernel's, with hidapi and with our library of its
// interface: open_memory
//
// A line each: "figure memory LIBRARY HEAP_BYTES KERNEL_BYTES", of one open device that has read a report.

#include "hidapi/Functions.h"
#include "panels/Panels.h"

#include <array>
#include <cstdio>
#include <exception>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <malloc.h>

using namespace qrx::guest;

namespace {

/// The kernel tells its memory in pages: so many that a page more or less does not show.
constexpr std::size_t kOpened = 512;

std::size_t kernelBytes()
{
    std::ifstream memory("/proc/meminfo");
    for (std::string word; memory >> word; memory.ignore(std::numeric_limits<std::streamsize>::max(), '\n')) {
        std::size_t kilobytes = 0;
        if (word == "SUnreclaim:" && memory >> kilobytes) {
            return kilobytes * 1024;
        }
    }
    throw std::runtime_error("the kernel does not tell its memory");
}

void open(const Functions& api, const std::string& node, std::vector<hid_device*>& opened)
{
    for (hid_device*& device : opened) {
        device = api.openPath(node.c_str());
        if (device == nullptr) {
            throw std::runtime_error("the node does not open");
        }
    }
}

/// Reads the report that waits for each.
void read(const Functions& api, const std::vector<hid_device*>& opened)
{
    std::array<unsigned char, Panels::kReportBytes> bytes{};
    for (hid_device* device : opened) {
        if (api.readTimeout(device, bytes.data(), bytes.size(), 5000) != static_cast<int>(bytes.size())) {
            throw std::runtime_error("the report does not come");
        }
    }
}

void close(const Functions& api, const std::vector<hid_device*>& opened)
{
    for (hid_device* device : opened) {
        api.close(device);
    }
}

void measure(const char* name, const Functions& api, VhciDevice& device, const std::string& node)
{
    std::vector<hid_device*> opened(kOpened);
    // What is made once, for the first device, is no device's; and the kernel keeps some of what it has freed.
    open(api, node, opened);
    close(api, opened);
    const std::size_t heap = mallinfo2().uordblks;
    const std::size_t kernel = kernelBytes();
    open(api, node, opened);
    device.sendInput(0, Bytes(Panels::kReportBytes, 0x5A));
    read(api, opened);
    std::printf("figure memory %s %zu %zu\n", name, (mallinfo2().uordblks - heap) / kOpened,
                (kernelBytes() - kernel) / kOpened);
    close(api, opened);
    api.exit();
}

} // namespace

int main()
{
    try {
        Panels panels(1);
        VhciDevice& device = *panels.devices().front();
        const std::string node = device.waitForNodes().at(0);
        measure("hidapi", peer(), device, node);
        measure("interface", ours(), device, node);
    } catch (const std::exception& reason) {
        std::fprintf(stderr, "open_memory: %s\n", reason.what());
        return 1;
    }
}
