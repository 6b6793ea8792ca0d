#include "AllocationCount.h"

#include <malloc.h>

#include <atomic>

namespace {

std::atomic<std::uint64_t> sm_Count{0};

} // namespace

// The C library's own entry, which its malloc is a name for.
extern "C" void* __libc_malloc(std::size_t size);

extern "C" void* malloc(std::size_t size)
{
    sm_Count.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

std::uint64_t allocationCount()
{
    return sm_Count.load(std::memory_order_relaxed);
}

std::size_t bytesInUse()
{
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}
