// Devices that are open and silent: idleness NODES
//
// Waits ten seconds in each of the two ways that an application has, poll on the loop's descriptor and the library's
// own run, once in silence and once with a single report on its way, and says how often it was woken. A line each:
// "figure idle WAY WOKEN REPORTS". How often the thread slept is the kernel's count, so the run cannot hide a wake-up;
// the sleep that lasts to the end is not one.

#include "panels/Panels.h"

#include <QrxDeviceTree.h>
#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>
#include <QrxRunLoop.h>

#include <poll.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

using namespace qrx::guest;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::seconds kWatched{10};
constexpr std::chrono::seconds kBeforeTheReport{3};

class Delegate final : public QrxDeviceTreeDelegateInterface {
public:
    explicit Delegate(std::size_t& reports) : _reports(reports) {}
    void deviceAdded(mis::swizzler<QrxHIDDevice> device) override;

private:
    std::size_t& _reports;
};

class Receiver final : public QrxHIDDeviceDelegateInterface {
public:
    explicit Receiver(std::size_t& reports) : _reports(reports) {}
    void handleReport(std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override { ++_reports; }
    void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override
    {
    }

private:
    std::size_t& _reports;
};

void Delegate::deviceAdded(mis::swizzler<QrxHIDDevice> device)
{
    device->setDelegate(new Receiver(_reports));
    device->open();
}

/// How often this thread has gone to sleep since it began.
unsigned long sleeps()
{
    std::ifstream status("/proc/thread-self/status");
    for (std::string line; std::getline(status, line);) {
        const std::string name = "voluntary_ctxt_switches:";
        if (line.starts_with(name)) {
            return std::strtoul(line.c_str() + name.size(), nullptr, 10);
        }
    }
    throw std::runtime_error("the kernel does not count sleeps");
}

void waitByPoll()
{
    const QrxRunLoop loop = QrxRunLoop::getCurrent();
    pollfd entry{loop.getFileDescriptor(), POLLIN, 0};
    const auto end = Clock::now() + kWatched;
    const auto left = [&] { return std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count(); };
    while (::poll(&entry, 1, static_cast<int>(left())) > 0) {
        QrxRunLoop::getCurrent().runOnce(0);
    }
}

void waitByRun()
{
    QrxRunLoop::getCurrent().runFor(static_cast<double>(kWatched.count()));
}

/// One of the two ways, in silence or with a report that `device` sends meanwhile.
void watch(const char* name, void (*wait)(), std::size_t& reports, VhciDevice* device)
{
    reports = 0;
    std::thread sender;
    if (device != nullptr) {
        sender = std::thread([device] {
            std::this_thread::sleep_for(kBeforeTheReport);
            device->sendInput(0, Bytes(Panels::kReportBytes));
        });
    }
    // Read by the waiting thread about itself: the sender's sleeps are its own.
    const unsigned long before = sleeps();
    wait();
    const unsigned long slept = sleeps() - before;
    if (sender.joinable()) {
        sender.join();
    }
    std::printf("figure idle %s %ld %zu\n", name, static_cast<long>(slept) - 1, reports);
}

void measure(std::size_t nodes)
{
    const Panels panels(nodes);
    std::size_t reports = 0;
    Delegate delegate(reports);
    const mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&delegate);
    tree->observe(0, 0);
    // An interface that the library had not opened yet would be one that nothing wakes.
    for (const auto& device : panels.devices()) {
        for (std::size_t interface = 0; interface < device->waitForNodes().size(); ++interface) {
            if (!device->waitUntilTaken(interface)) {
                throw std::runtime_error("an interface is not open");
            }
        }
    }
    VhciDevice* const last = panels.devices().back().get();
    watch("poll_silent", waitByPoll, reports, nullptr);
    watch("poll_one_report", waitByPoll, reports, last);
    watch("run_silent", waitByRun, reports, nullptr);
    watch("run_one_report", waitByRun, reports, last);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        measure(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 40);
    } catch (const std::exception& reason) {
        std::fprintf(stderr, "idleness: %s\n", reason.what());
        return 1;
    }
}
