// Reports that wait, drained by the library, by hidapi and by a floor: reports [ROUNDS]
//
// One device, whose node all of them have open; each round sends 1 report of 64 bytes (later 8, then 60), which then
// waits for every reader, and the readers take their turns, each round another first. Steps (see ../linux/Steps.h) are
// READER_WAITING, what is found is the number of reports that came whole and in order; `nothing` is what a step without
// work costs.

#include "../linux/Steps.h"
#include "Drain.h"
#include "panels/Panels.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <stdexcept>

using namespace qrx::guest;

namespace {

/// The last is near what the kernel keeps, 63.
constexpr std::size_t kWaiting[] = {1, 8, 60};

void send(VhciDevice& device, std::uint8_t round, std::size_t count)
{
    Bytes report(Drain::kBytes, 0x5A);
    report[0] = round;
    for (std::size_t number = 0; number < count; ++number) {
        report[1] = static_cast<std::uint8_t>(number);
        device.sendInput(0, report);
    }
    if (!device.waitUntilTaken(0)) {
        throw std::runtime_error("the kernel does not take the reports");
    }
}

std::vector<std::unique_ptr<Drain>> makeDrains(const std::string& node)
{
    std::vector<std::unique_ptr<Drain>> drains;
    drains.push_back(makeLibraryDrain());
    for (auto make : {makeHidapiDrains, makePlainDrains}) {
        std::ranges::move(make(node), std::back_inserter(drains));
    }
    return drains;
}

void measure(std::size_t rounds)
{
    Panels panels(1);
    VhciDevice& device = *panels.devices().front();
    auto drains = makeDrains(device.waitForNodes().at(0));
    Steps steps;
    for (const std::size_t waiting : kWaiting) {
        for (std::size_t round = 0; round < rounds; ++round) {
            steps.run(
                "nothing", [] {}, [] { return std::size_t{0}; });
            send(device, static_cast<std::uint8_t>(round), waiting);
            // The kernel's timer comes at equal distances, as the rounds do: it must not meet the same one each time.
            std::ranges::rotate(drains, drains.begin() + 1);
            for (const auto& drain : drains) {
                drain->begin(static_cast<std::uint8_t>(round));
                steps.run(
                    drain->name() + "_" + std::to_string(waiting), [&] { drain->run(waiting); },
                    [&] { return drain->received(); });
            }
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        measure(timesOf(argc, argv));
    } catch (const std::exception& reason) {
        std::fprintf(stderr, "reports: %s\n", reason.what());
        return 1;
    }
}
