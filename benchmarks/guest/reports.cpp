// Reports that wait, drained by the library, by hidapi and by a floor: reports [ROUNDS]
//
// Two kinds: `full` are the reports of a device whose reports all have 64 bytes, `short` the numbered reports of 8
// bytes of a device whose longest has 64. One device at a time, whose node all readers have open; each round sends 1
// report (later 8, then 60), which then waits for every reader, and the readers take their turns, each round another
// first. Steps (see ../linux/Steps.h) are KIND_READER_WAITING, what is found is the number of reports that came whole
// and in order; `nothing` is what a step without work costs.

#include "../linux/Steps.h"
#include "Drain.h"
#include "panels/Panels.h"
#include "rig_tests/Descriptors.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <stdexcept>

using namespace qrx::guest;

namespace {

/// The last is near what the kernel keeps, 63.
constexpr std::size_t kWaiting[] = {1, 8, 60};

struct Kind {
    const char* name;
    std::uint8_t reportID;
    std::size_t bytes; ///< the number's included
    bool isFull;
    Bytes descriptor;
};

Kind fullReports()
{
    return {"full", 0, Drain::kMostBytes, true, plainDescriptor(Drain::kMostBytes)};
}

Kind shortReports()
{
    return {"short", 2, 8, false, {0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01,       // vendor collection
                                   0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08,       // bytes
                                   0x85, 0x01, 0x95, 63,   0x09, 0x02, 0x81, 0x02, // report 1
                                   0x85, 0x02, 0x95, 7,    0x09, 0x03, 0x81, 0x02, // report 2
                                   0xC0}};
}

void send(VhciDevice& device, const Kind& kind, std::uint8_t round, std::size_t count)
{
    Bytes report(kind.bytes, 0x5A);
    if (kind.reportID != 0) {
        report.front() = kind.reportID;
    }
    report[kind.bytes - 2] = round;
    for (std::size_t number = 0; number < count; ++number) {
        report.back() = static_cast<std::uint8_t>(number);
        device.sendInput(0, report);
    }
    // Sent is not delivered: the kernel hands reports to the node from a thread of its own.
    if (!device.waitUntilTaken(0)) {
        throw std::runtime_error("the kernel does not take the reports");
    }
}

std::vector<std::unique_ptr<Drain>> makeDrains(const Kind& kind, const std::string& node)
{
    std::vector<std::unique_ptr<Drain>> drains;
    drains.push_back(makeLibraryDrain());
    std::ranges::move(makeHidapiDrains(node), std::back_inserter(drains));
    drains.push_back(makeReadDrain(node));
    if (kind.isFull) {
        drains.push_back(makeReadvDrain(node));
    }
    return drains;
}

void measure(const Kind& kind, std::size_t rounds, Steps& steps)
{
    UsbInterface interface;
    interface.reportDescriptor = kind.descriptor;
    Panels panels({interface});
    VhciDevice& device = *panels.devices().front();
    auto drains = makeDrains(kind, device.waitForNodes().at(0));
    for (const std::size_t waiting : kWaiting) {
        for (std::size_t round = 0; round < rounds; ++round) {
            // In the same round as what is compared with it, so that the clock's own cost is that of the moment.
            steps.run(
                "nothing", [] {}, [] { return std::size_t{0}; });
            send(device, kind, static_cast<std::uint8_t>(round), waiting);
            // The kernel's timer comes at equal distances, as the rounds do: it must not meet the same one each time.
            std::ranges::rotate(drains, drains.begin() + 1);
            for (const auto& drain : drains) {
                drain->begin(static_cast<std::uint8_t>(round), kind.bytes);
                steps.run(
                    kind.name + ("_" + drain->name() + "_") + std::to_string(waiting), [&] { drain->run(waiting); },
                    [&] { return drain->received(); });
            }
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        Steps steps;
        for (const Kind& kind : {fullReports(), shortReports()}) {
            measure(kind, timesOf(argc, argv), steps);
        }
    } catch (const std::exception& reason) {
        std::fprintf(stderr, "reports: %s\n", reason.what());
        return 1;
    }
}
