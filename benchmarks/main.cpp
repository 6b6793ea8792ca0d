// Measures the library beside a floor in one program.
//
//   qrx_benchmark                     all figures, then the ratios
//   qrx_benchmark --work NAME COUNT   does one kind of work COUNT times and nothing else, to be counted from outside
//                                     (see the script `instructions`); NAME `all` does each

#include "AllocationCount.h"
#include "Decoding.h"
#include "Descriptors.h"
#include "PlainLoop.h"
#include "RatioReporter.h"
#include "VirtualWorld.h"

#include <QrxRunLoop.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

/// Reports that wait when the loop looks: a single one, and a burst below a queue's depth.
constexpr std::size_t kBurst = 60;

double secondsOf(const std::function<void()>& work)
{
    const auto began = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - began).count();
}

void countReport(const std::uint8_t*, std::size_t count, void* context)
{
    *static_cast<std::size_t*>(context) += count;
}

/// Arguments: bytes of a report, reports that wait, devices that are open beside it.
void libraryReports(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const auto waiting = static_cast<std::size_t>(state.range(1));
    VirtualWorld world(static_cast<std::size_t>(state.range(2)), vendorDescriptor(bytes));
    world.open(true);
    const std::vector<std::uint8_t> report(bytes, 0x5a);
    std::uint64_t allocations = 0;
    for (auto iteration : state) {
        for (std::size_t i = 0; i < waiting; ++i) {
            world.send(report);
        }
        const std::uint64_t before = allocationCount();
        // Sending is the device's part and is not measured.
        state.SetIterationTime(secondsOf([&] { world.deliver(waiting); }));
        allocations += allocationCount() - before;
    }
    const double delivered = static_cast<double>(state.iterations()) * static_cast<double>(waiting);
    state.counters["allocations"] = static_cast<double>(allocations) / delivered;
    state.SetItemsProcessed(static_cast<std::int64_t>(delivered));
}

void plainReports(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const auto waiting = static_cast<std::size_t>(state.range(1));
    std::size_t received = 0;
    PlainLoop loop(countReport, &received);
    const std::vector<std::uint8_t> report(bytes, 0x5a);
    for (auto iteration : state) {
        for (std::size_t i = 0; i < waiting; ++i) {
            loop.send(report);
        }
        // As for the library: sending is not measured.
        state.SetIterationTime(secondsOf([&] { loop.deliver(waiting); }));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(waiting));
}

/// One report waits at each device. Argument: devices.
void reportOfEach(benchmark::State& state)
{
    const auto devices = static_cast<std::size_t>(state.range(0));
    VirtualWorld world(devices, vendorDescriptor(64));
    world.open(true);
    const std::vector<std::uint8_t> report(64, 0x5a);
    for (auto iteration : state) {
        world.sendFromEach(report);
        state.SetIterationTime(secondsOf([&] { world.deliver(devices); }));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(devices));
}

/// From the descriptor to the finished tree of one device. The device is a new one each time, since the registry
/// reads a descriptor once.
void treeOf(benchmark::State& state, const std::vector<std::uint8_t>& descriptor)
{
    for (auto iteration : state) {
        VirtualWorld world(1, descriptor);
        state.SetIterationTime(secondsOf([&] { benchmark::DoNotOptimize(world.populate()); }));
    }
}

void elements(benchmark::State& state)
{
    treeOf(state, descriptorOfElements(static_cast<std::size_t>(state.range(0))));
}

void keyboard(benchmark::State& state)
{
    treeOf(state, keyboardDescriptor(0xdf));
}

void populateMice(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    double bytes = 0;
    for (auto iteration : state) {
        // Before the devices are made: what a device costs the registry belongs to it.
        const std::size_t before = bytesInUse();
        VirtualWorld world(count, mouseDescriptor());
        mis::swizzler<QrxDeviceTree> tree;
        state.SetIterationTime(secondsOf([&] { tree = world.populate(); }));
        bytes = static_cast<double>(bytesInUse() - before);
    }
    state.counters["bytes_a_mouse"] = bytes / static_cast<double>(count);
}

// --- work to be counted -----------------------------------------------------------------------------------------

enum class Delegate { plain, extended, timed };

void deliverReports(std::size_t bytes, std::size_t count, Delegate delegate = Delegate::plain)
{
    VirtualWorld world(1, vendorDescriptor(bytes));
    world.open(false);
    if (delegate != Delegate::plain) {
        world.extend(delegate == Delegate::timed);
    }
    const std::vector<std::uint8_t> report(bytes, 0x5a);
    for (std::size_t i = 0; i < count; ++i) {
        world.send(report);
        world.deliver(1);
    }
}

/// Reports of 64 bytes, 60 at a time.
void deliverWaiting(std::size_t count)
{
    constexpr std::size_t kWaiting = 60;
    VirtualWorld world(1, vendorDescriptor(64));
    world.open(false);
    const std::vector<std::uint8_t> report(64, 0x5a);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t at = 0; at < kWaiting; ++at) {
            world.send(report);
        }
        world.deliver(kWaiting);
    }
}

void deliverPlainly(std::size_t bytes, std::size_t count)
{
    std::size_t received = 0;
    PlainLoop loop(countReport, &received);
    const std::vector<std::uint8_t> report(bytes, 0x5a);
    for (std::size_t i = 0; i < count; ++i) {
        loop.send(report);
        loop.deliver(1);
    }
}

void buildTrees(const std::vector<std::uint8_t>& descriptor, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        VirtualWorld(1, descriptor).populate();
    }
}

/// The most that the arrival of one device may cost: as many interfaces as Linux accepts, all report numbers on each,
/// descriptors as long as they may be, and all the elements that one device may have. The trees stay until the process
/// ends, so that their end is not counted.
void buildHostileDevices(std::size_t count)
{
    constexpr std::uint8_t kInterfaces = 32;
    constexpr std::uint8_t kElementsEach = 2;
    std::vector<std::vector<std::uint8_t>> descriptors;
    for (std::uint8_t number = 0; number < kInterfaces; ++number) {
        descriptors.push_back(descriptorOfReports(kElementsEach, number));
    }
    // One by one, since a tree looks at all devices that are there.
    for (std::size_t i = 0; i < count; ++i) {
        VirtualWorld world(1, descriptors);
        static auto& sm_Arrived = *new std::vector<mis::swizzler<QrxDeviceTree>>;
        sm_Arrived.push_back(world.populate());
    }
}

template <typename Work>
void repeat(std::size_t count, Work work)
{
    for (std::size_t i = 0; i < count; ++i) {
        work();
    }
}

/// Starts timers, due in an order that is far from that of their starts, and waits until all were called.
void fireTimers(std::size_t timers)
{
    QrxRunLoop loop = QrxRunLoop::getCurrent();
    // Primes: each timer has a place of its own among the others.
    constexpr std::size_t kPlaces = 10'007;
    constexpr std::size_t kStride = 4'001;
    std::size_t called = 0;
    for (std::size_t number = 0; number < timers; ++number) {
        loop.callAfter(std::chrono::microseconds(number * kStride % kPlaces), [&called] { ++called; });
    }
    while (called < timers) {
        loop.runOnce(1);
    }
}

/// Finds that many mice, each time with a new tree.
void populateTrees(std::size_t mice, std::size_t count)
{
    VirtualWorld world(mice, mouseDescriptor());
    for (std::size_t i = 0; i < count; ++i) {
        world.populate();
    }
}

const std::map<std::string, std::function<void(std::size_t)>>& works()
{
    static const std::map<std::string, std::function<void(std::size_t)>> sm_Works{
        {"reports-8", [](std::size_t n) { deliverReports(8, n); }},
        {"reports-64", [](std::size_t n) { deliverReports(64, n); }},
        {"reports-1024", [](std::size_t n) { deliverReports(1024, n); }},
        {"60-reports-64", deliverWaiting},
        {"extended-64", [](std::size_t n) { deliverReports(64, n, Delegate::extended); }},
        {"timed-64", [](std::size_t n) { deliverReports(64, n, Delegate::timed); }},
        {"plain-64", [](std::size_t n) { deliverPlainly(64, n); }},
        {"decode-gamepad-17", [](std::size_t n) { decoding::decode("gamepad-17", n); }},
        {"decode-keyboard-122", [](std::size_t n) { decoding::decode("keyboard-122", n); }},
        {"decode-keyboard-276", [](std::size_t n) { decoding::decode("keyboard-276", n); }},
        {"decode-array-16000", [](std::size_t n) { decoding::decode("array-16000", n); }},
        {"timers-10", [](std::size_t n) { repeat(n, [] { fireTimers(10); }); }},
        {"timers-1000", [](std::size_t n) { repeat(n, [] { fireTimers(1000); }); }},
        {"populate-500", [](std::size_t n) { populateTrees(500, n); }},
        {"populate-5000", [](std::size_t n) { populateTrees(5000, n); }},
        {"mouse", [](std::size_t n) { buildTrees(mouseDescriptor(), n); }},
        {"keyboard-224", [](std::size_t n) { buildTrees(keyboardDescriptor(0xdf), n); }},
        {"hostile", buildHostileDevices},
        {"elements-1024", [](std::size_t n) { buildTrees(descriptorOfElements(1024), n); }},
        {"elements-2048", [](std::size_t n) { buildTrees(descriptorOfElements(2048), n); }},
        {"elements-4096", [](std::size_t n) { buildTrees(descriptorOfElements(4096), n); }},
    };
    return sm_Works;
}

int doWork(const std::string& name, std::size_t count)
{
    bool known = false;
    for (const auto& [workName, work] : works()) {
        if (name == workName || name == "all") {
            work(count);
            known = true;
        }
    }
    if (known) {
        return EXIT_SUCCESS;
    }
    std::fprintf(stderr, "unknown work '%s'; known are:", name.c_str());
    for (const auto& entry : works()) {
        std::fprintf(stderr, " %s", entry.first.c_str());
    }
    std::fprintf(stderr, "\n");
    return EXIT_FAILURE;
}

void registerBenchmarks(RatioReporter& reporter)
{
    const auto add = [](const char* name, void (*function)(benchmark::State&)) {
        return benchmark::RegisterBenchmark(name, function)->UseManualTime()->MinTime(0.05);
    };
    auto* plain = add("plain", plainReports);
    auto* library = add("library", libraryReports);
    for (const int bytes : {8, 64, 1024}) {
        // A single report costs a whole turn of the loop; of a burst each costs its share of one.
        for (const std::size_t waiting : {std::size_t{1}, kBurst}) {
            const auto many = static_cast<std::int64_t>(waiting);
            plain->Args({bytes, many});
            library->Args({bytes, many, 1});
            const std::string size = std::to_string(bytes) + "/" + std::to_string(waiting);
            reporter.addRatio("report path, " + std::to_string(bytes) + " bytes, " + std::to_string(waiting) +
                                  " waiting, against poll+read",
                              "library/" + size + "/1", "plain/" + size, 1.5);
        }
    }
    library->Args({64, 1, 100});
    add("each", reportOfEach)->Arg(1)->Arg(40);
    reporter.addRatio("a report of each of 40 devices against one of one (40 is linear)", "each/40", "each/1", 44);
    auto* doubling = add("elements", elements);
    for (const std::int64_t count : {1024, 2048, 4096, 8192}) {
        doubling->Arg(count);
    }
    for (const int count : {2048, 4096, 8192}) {
        reporter.addRatio("element tree, " + std::to_string(count) + " against half of them",
                          "elements/" + std::to_string(count), "elements/" + std::to_string(count / 2), 2.2);
    }
    add("keyboard", keyboard)->Unit(benchmark::kMicrosecond);
    auto* mice = add("populate", populateMice)->Unit(benchmark::kMicrosecond);
    mice->Arg(10)->Arg(100)->Arg(1000)->Arg(20000);
    reporter.addRatio("populate, 1000 devices against 100 (10 is linear)", "populate/1000", "populate/100", 11);
    reporter.addRatio("populate, 20000 devices against 1000 (20 is linear)", "populate/20000", "populate/1000", 30);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--work") == 0) {
        return doWork(argv[2], std::strtoul(argv[3], nullptr, 10));
    }
    // Nine runs of each, mixed: a machine that becomes slower meanwhile does so for the library and for the floor.
    char repetitions[] = "--benchmark_repetitions=9";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char brief[] = "--benchmark_report_aggregates_only=false";
    std::vector<char*> arguments{argv[0], repetitions, interleaving, brief};
    // What the caller gives comes last and counts.
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 64;
    }
    RatioReporter reporter;
    registerBenchmarks(reporter);
    decoding::registerBenchmarks(reporter);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return EXIT_SUCCESS;
}
