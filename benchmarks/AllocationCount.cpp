// Counts allocations by standing in for malloc and its relatives in this program, the library's and the C++ library's
// calls included. The count is one atomic addition, so it does not change what is measured beside it.

#include "AllocationCount.h"

#include <malloc.h>

#include <atomic>

namespace {

// Constant initialised: malloc is called before any constructor of the program.
std::atomic<std::uint64_t> sm_Count{0};

} // namespace

// The C library's own entries, which its malloc and its relatives are names for.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);

extern "C" void* malloc(std::size_t size)
{
    sm_Count.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size)
{
    sm_Count.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* block, std::size_t size)
{
    sm_Count.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}

std::uint64_t allocationCount()
{
    return sm_Count.load(std::memory_order_relaxed);
}

std::size_t bytesInUse()
{
    // Small blocks lie in arenas, large ones in mappings of their own; the figure is the sum.
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}
