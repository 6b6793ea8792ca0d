#pragma once

#include <array>
#include <cstddef>
#include <iosfwd>

/// The program's memory: counts what is allocated, and lets chosen allocations fail as if there were none left. Where
/// no sanitizer owns malloc this holds for all of it, the C library's included; otherwise for operator new.
///
/// For programs of one thread.
namespace memory {

/// From now on allocations are counted from 1, and that number fails: alone, or (`isLasting`) with all that follow.
void failAllocation(std::size_t number, bool isLasting);
/// Allocations succeed from now on; what has been counted stays to be asked for.
void endFailing();

/// Since failAllocation.
std::size_t allocations();
/// Those of them that failed.
std::size_t failures();
/// True if the first one that failed was of the kind whose caller looks at the result.
bool wasFirstFailureNothrow();

/// Where an allocation failed.
struct Place {
    std::array<void*, 48> addresses{};
    int depth = 0;
};
std::ostream& operator<<(std::ostream& stream, const Place& place);
/// Where the first one failed is noted there: in memory that outlives the process, if that may end by it.
void notePlaceIn(Place& place);

/// Blocks that are allocated and not freed.
long blocksInUse();

/// True where a sanitizer owns malloc. A process takes several times as long there.
bool isSanitized();

/// Nothing fails and nothing is counted while one lives: for the test's own work in the middle of a story.
class Pause {
public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
};

} // namespace memory
