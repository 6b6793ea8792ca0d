#pragma once

#include <cstddef>
#include <cstdint>

/// How often this program has asked for heap memory, and how much of it is in use. malloc, calloc and realloc
/// themselves are counted, so that nothing escapes: operator new, the library's blocks, the system's.
std::uint64_t allocationCount();
/// Bytes handed out and not yet given back, the allocator's own overhead included.
std::size_t bytesInUse();
