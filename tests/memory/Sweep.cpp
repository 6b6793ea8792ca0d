#include "Sweep.h"

#include "CoreFoundation/LiveObjects.h"
#include "IOKit/registry/Registry.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// What is left when all is over.
struct Remains {
    long blocks = 0;
    long objects = 0;
    long handles = 0;
    bool operator==(const Remains&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Remains& remains)
{
    return stream << remains.blocks << " blocks, " << remains.objects << " property objects, " << remains.handles
                  << " handles";
}

bool isNoMore(const Remains& remains, const Remains& limit)
{
    return remains.blocks <= limit.blocks && remains.objects <= limit.objects && remains.handles <= limit.handles;
}

/// What the processes tell each other.
struct Shared {
    std::size_t allocations = 0;
    /// Lives in which an allocation failed.
    std::size_t disturbed = 0;
    Remains undisturbed;
    memory::Place place;
};

Shared& shared()
{
    static Shared& sm_Shared =
        *new (::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Shared;
    return sm_Shared;
}

/// Standard error into memory while this lives.
class CapturedLog {
public:
    CapturedLog() : _file(::memfd_create("log", MFD_CLOEXEC)), _before(::dup(STDERR_FILENO))
    {
        ::dup2(_file, STDERR_FILENO);
    }
    ~CapturedLog()
    {
        ::dup2(_before, STDERR_FILENO);
        ::close(_before);
        ::close(_file);
    }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;
    std::string text() const
    {
        std::string text(65536, '\0');
        const ssize_t size = ::pread(_file, text.data(), text.size(), 0);
        text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return text;
    }

private:
    int _file;
    int _before;
};

/// `blocksBefore`: in use when the process began.
Remains remains(long blocksBefore)
{
    // A port that was used to observe stays for good, in these blocks, also if observing could not begin.
    constexpr long kBlocksOfPort = 2;
    auto& registry = qrx::iokit::Registry::instance();
    const long blocksOfPorts = kBlocksOfPort * static_cast<long>(registry.closedPorts());
    return {memory::blocksInUse() - blocksBefore - blocksOfPorts, qrx::cf::liveObjects(),
            static_cast<long>(registry.heldHandles())};
}

void liveUndisturbed(const Life& life)
{
    Application application(Famine::none, 0);
    life(application);
    memory::endFailing();
    EXPECT_EQ(application.exceptions(), 0U);
}

void liveDisturbed(Famine famine, std::size_t number, const Life& life)
{
    std::string told;
    std::size_t exceptions = 0;
    {
        const CapturedLog log;
        Application application(famine, number);
        life(application);
        memory::endFailing();
        exceptions = application.exceptions();
        told = log.text();
    }
    if (memory::failures() == 0) {
        // Where the loop waits for the clock it may take a pass less, and so an allocation less, than before.
        return;
    }
    ++shared().disturbed;
    // Who looks at the result may do without the memory.
    EXPECT_TRUE(exceptions > 0 || told.find("memory") != std::string::npos || memory::wasFirstFailureNothrow())
        << "nobody was told: " << told;
}

/// Runs `story` in a process of its own; false if that failed.
bool runApart(const std::function<void()>& story)
{
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        // What the first exception of a process sets up stays.
        try {
            throw std::bad_alloc();
        } catch (const std::bad_alloc&) {
        }
        memory::notePlaceIn(shared().place);
        story();
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        std::cout << "ended by signal " << WTERMSIG(status) << "\n";
    }
    return status == 0;
}

/// The sanitized build, which is slow, lets each allocation fail in one of the three ways; the others try all.
bool isTried(std::size_t number, Famine famine)
{
    constexpr std::size_t kWays = 3;
    return !memory::isSanitized() || number % kWays == static_cast<std::size_t>(famine) % kWays;
}

} // namespace

void sweepAllocations(Famine famine, const Life& life)
{
    /// The share of all lives, in percent.
    constexpr std::size_t kLeastDisturbed = 95;
    Shared& results = shared();
    results.disturbed = 0;
    ASSERT_TRUE(runApart([&] {
        const long blocksBefore = memory::blocksInUse();
        liveUndisturbed(life);
        results.allocations = memory::allocations();
        liveUndisturbed(life);
        results.undisturbed = remains(blocksBefore);
    })) << "undisturbed";
    std::size_t bad = 0;
    std::size_t tried = 0;
    const char* only = std::getenv("QRX_ALLOCATION");
    const std::size_t chosen = only != nullptr ? std::strtoul(only, nullptr, 10) : 0;
    for (std::size_t number = 1; number <= results.allocations; ++number) {
        if (chosen != 0 ? number != chosen : !isTried(number, famine)) {
            continue;
        }
        ++tried;
        const bool isWell = runApart([&] {
            const long blocksBefore = memory::blocksInUse();
            liveDisturbed(famine, number, life);
            liveUndisturbed(life);
            const Remains left = remains(blocksBefore);
            // What a device that was built leaves on purpose is not there if it never was.
            if (famine == Famine::lasting) {
                EXPECT_TRUE(isNoMore(left, results.undisturbed)) << left << " for " << results.undisturbed;
            } else {
                EXPECT_EQ(left, results.undisturbed);
            }
        });
        if (!isWell) {
            std::cout << "after the failure of allocation " << number << ": " << results.place << std::endl;
        }
        bad += isWell ? 0 : 1;
    }
    std::cout << tried << " of " << results.allocations << " allocations" << std::endl;
    EXPECT_EQ(bad, 0U);
    EXPECT_TRUE(chosen != 0 || results.disturbed * 100 >= tried * kLeastDisturbed) << results.disturbed;
}
