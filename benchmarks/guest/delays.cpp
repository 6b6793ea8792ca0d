// How long reports take to their receiver while many devices send: delays DEVICES REPORTS
//
// Another thread sends REPORTS reports, at 50,000 and at 100,000 reports a second of the guest's clock, once to the
// library, to a loop of epoll and read, and to one of poll and read. Devices know nothing of each other, so which one
// sends and when is chance: the times between reports are distributed exponentially, and the same in each run. The
// sender goes before the receiver, since a device does not wait for its receiver either. Two lines each, "figure delay
// READER RATE P50 P99 P999" and "figure delay_without_sender" of the same form, in nanoseconds.

#include "Flow.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>
#include <system_error>
#include <thread>

#include <pthread.h>
#include <sched.h>
#include <time.h>

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

void sleepUntil(std::int64_t moment)
{
    const timespec until{static_cast<time_t>(moment / kNsPerSecond), static_cast<long>(moment % kNsPerSecond)};
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) != 0) {
    }
}

/// The calling thread goes before all others.
void takePrecedence()
{
    sched_param parameters{};
    parameters.sched_priority = 1;
    if (const int error = ::pthread_setschedparam(::pthread_self(), SCHED_FIFO, &parameters); error != 0) {
        throw std::system_error(error, std::generic_category(), "SCHED_FIFO");
    }
}

/// The sender lets the receiver have the processor until the moment.
void pause(Flow& flow, std::int64_t now, std::int64_t moment)
{
    flow.senderEnds(now);
    sleepUntil(moment);
    flow.senderBegins(moment);
}

/// A sender that is late does not wait, so that it keeps the rate.
void sendAll(Flow& flow, std::size_t devices, std::size_t count, double meanNs)
{
    takePrecedence();
    // A fixed seed: every reader gets the same reports at the same moments.
    std::mt19937 chance(1);
    std::exponential_distribution<double> gap(1 / meanNs);
    std::uniform_int_distribution<std::size_t> device(0, devices - 1);
    auto due = static_cast<double>(Flow::now());
    flow.senderBegins(static_cast<std::int64_t>(due));
    for (std::size_t number = 0; number < count; ++number) {
        due += gap(chance);
        if (const std::int64_t now = Flow::now(); static_cast<double>(now) < due) {
            pause(flow, now, static_cast<std::int64_t>(due));
        }
        // A queue that is full is tried again: what is lost would have no delay.
        const std::size_t sending = device(chance);
        while (!flow.send(sending)) {
            const std::int64_t now = Flow::now();
            pause(flow, now, now + static_cast<std::int64_t>(meanNs));
        }
    }
    flow.senderEnds(Flow::now());
}

void print(const char* figure, const char* name, std::int64_t rate, const std::vector<std::int64_t>& delays)
{
    const auto share = [&](std::size_t perMille) {
        return static_cast<long long>(delays[delays.size() * perMille / 1000]);
    };
    std::printf("figure %s %s %lld %lld %lld %lld\n", figure, name, static_cast<long long>(rate), share(500),
                share(990), share(999));
}

void measure(const char* name, Flow& flow, std::size_t devices, std::size_t count)
{
    for (const std::int64_t rate : {50'000, 100'000}) {
        flow.expect(count);
        std::thread sender([&] { sendAll(flow, devices, count, static_cast<double>(kNsPerSecond / rate)); });
        flow.receive(count);
        sender.join();
        const Flow::Delays delays = flow.takeDelays();
        print("delay", name, rate, delays.all);
        print("delay_without_sender", name, rate, delays.withoutSender);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: delays DEVICES REPORTS\n");
        return 64;
    }
    const std::size_t devices = std::strtoul(argv[1], nullptr, 10);
    const std::size_t reports = std::strtoul(argv[2], nullptr, 10);
    try {
        measure("library", *makeLibraryFlow(devices), devices, reports);
        measure("epoll", *makeEpollFlow(devices), devices, reports);
        measure("poll", *makePollFlow(devices), devices, reports);
    } catch (const std::exception& reason) {
        std::fprintf(stderr, "delays: %s\n", reason.what());
        return 1;
    }
}
