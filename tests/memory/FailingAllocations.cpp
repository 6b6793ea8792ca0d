#include "FailingAllocations.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <ostream>
#include <string_view>

#include <dlfcn.h>
#include <execinfo.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QRX_SANITIZER_OWNS_MALLOC
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QRX_SANITIZER_OWNS_MALLOC
#endif
#endif

namespace {

struct State {
    bool isArmed = false;
    bool isLasting = false;
    int pauses = 0;
    std::size_t failing = std::numeric_limits<std::size_t>::max();
    std::size_t count = 0;
    std::size_t failures = 0;
    bool wasNothrow = false;
    memory::Place* place = nullptr;
    long blocks = 0;
};

constinit State sm_State;

/// False if the allocation is to fail.
bool mayAllocate(bool isNothrow)
{
    State& state = sm_State;
    if (!state.isArmed || state.pauses > 0) {
        return true;
    }
    ++state.count;
    if (state.count != state.failing && (!state.isLasting || state.count < state.failing)) {
        return true;
    }
    if (state.failures++ == 0) {
        state.wasNothrow = isNothrow;
        if (state.place != nullptr) {
            auto& addresses = state.place->addresses;
            ++state.pauses;
            state.place->depth = ::backtrace(addresses.data(), static_cast<int>(addresses.size()));
            --state.pauses;
        }
    }
    return false;
}

} // namespace

// What is newly made here goes around the program's malloc, or each of these would be counted twice.
#ifdef QRX_SANITIZER_OWNS_MALLOC

namespace {

void* plainAllocate(std::size_t size)
{
    ++sm_State.blocks;
    return std::malloc(size);
}

void plainFree(void* block)
{
    sm_State.blocks -= block != nullptr ? 1 : 0;
    std::free(block);
}

} // namespace

#else

// The C library's own entries, which its malloc and its relatives are names for.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);
extern "C" void __libc_free(void* block);

namespace {

void* plainAllocate(std::size_t size)
{
    ++sm_State.blocks;
    return __libc_malloc(size);
}

void plainFree(void* block)
{
    sm_State.blocks -= block != nullptr ? 1 : 0;
    __libc_free(block);
}

} // namespace

extern "C" void* malloc(std::size_t size)
{
    return mayAllocate(true) ? plainAllocate(size) : nullptr;
}

namespace {

/// The C library registers what is to be done at the end of a thread; it ends the process itself if it cannot.
bool registersThreadEnd(const void* caller)
{
    Dl_info info{};
    return ::dladdr(caller, &info) != 0 && info.dli_sname != nullptr &&
           std::string_view(info.dli_sname) == "__cxa_thread_atexit_impl";
}

} // namespace

extern "C" void* calloc(std::size_t count, std::size_t size)
{
    if (!registersThreadEnd(__builtin_return_address(0)) && !mayAllocate(true)) {
        return nullptr;
    }
    ++sm_State.blocks;
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* block, std::size_t size)
{
    if (!mayAllocate(true)) {
        return nullptr;
    }
    sm_State.blocks += block == nullptr ? 1 : 0;
    return __libc_realloc(block, size);
}

extern "C" void free(void* block)
{
    plainFree(block);
}

#endif

void* operator new(std::size_t size)
{
    void* block = mayAllocate(false) ? plainAllocate(size) : nullptr;
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void* operator new[](std::size_t size)
{
    return ::operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return mayAllocate(true) ? plainAllocate(size) : nullptr;
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept
{
    return ::operator new(size, tag);
}

void operator delete(void* block) noexcept
{
    plainFree(block);
}

void operator delete[](void* block) noexcept
{
    plainFree(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    plainFree(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    plainFree(block);
}

namespace memory {

void failAllocation(std::size_t number, bool isLasting)
{
    sm_State = {true, isLasting, 0, number, 0, 0, false, sm_State.place, sm_State.blocks};
}

void endFailing()
{
    sm_State.isArmed = false;
}

std::size_t allocations()
{
    return sm_State.count;
}

std::size_t failures()
{
    return sm_State.failures;
}

bool wasFirstFailureNothrow()
{
    return sm_State.wasNothrow;
}

std::ostream& operator<<(std::ostream& stream, const Place& place)
{
    /// The innermost calls are those of this file.
    constexpr int kInnermost = 2;
    stream << "addr2line -Cfipse" << std::hex;
    for (int level = kInnermost; level < place.depth; ++level) {
        const void* address = place.addresses[static_cast<std::size_t>(level)];
        Dl_info info{};
        if (::dladdr(address, &info) != 0) {
            stream << " " << (level == kInnermost ? info.dli_fname : "") << " 0x"
                   << reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(info.dli_fbase);
        }
    }
    return stream << std::dec;
}

void notePlaceIn(Place& place)
{
    // The first look for a place loads what it needs.
    place.depth = ::backtrace(place.addresses.data(), static_cast<int>(place.addresses.size()));
    sm_State.place = &place;
}

long blocksInUse()
{
    return sm_State.blocks;
}

bool isSanitized()
{
#ifdef QRX_SANITIZER_OWNS_MALLOC
    return true;
#else
    return false;
#endif
}

Pause::Pause()
{
    ++sm_State.pauses;
}

Pause::~Pause()
{
    --sm_State.pauses;
}

} // namespace memory
