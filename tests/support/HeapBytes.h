#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QRX_TEST_SANITIZED_HEAP
#endif
#endif

#ifdef QRX_TEST_SANITIZED_HEAP
#include <sanitizer/allocator_interface.h>
#else
#include <malloc.h>
#endif

/// How many bytes of the heap are in use, by all threads.
inline std::ptrdiff_t heapBytes()
{
#ifdef QRX_TEST_SANITIZED_HEAP
    return static_cast<std::ptrdiff_t>(__sanitizer_get_current_allocated_bytes());
#else
    const struct mallinfo2 info = ::mallinfo2();
    return static_cast<std::ptrdiff_t>(info.uordblks + info.hblkhd);
#endif
}
