#include "ReusableArray.h"

#include <mutex>
#include <utility>
#include <vector>

namespace qrx::iokit {

namespace {

struct Pool {
    std::mutex mutex;
    /// Empty arrays that somebody holds. There is room for all that are in use, so that an end allocates nothing.
    std::vector<CFRef<CFMutableArrayRef>> arrays;
    std::size_t inUse = 0;
};

/// Never destroyed: devices may go with static objects.
Pool& pool()
{
    static auto& sm_Pool = *new Pool;
    return sm_Pool;
}

} // namespace

ReusableArray::ReusableArray()
{
    const std::lock_guard guard(pool().mutex);
    pool().arrays.reserve(pool().arrays.size() + pool().inUse + 1);
    if (pool().arrays.empty()) {
        _array = CFRef<CFMutableArrayRef>::adopt(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    } else {
        _array = std::move(pool().arrays.back());
        pool().arrays.pop_back();
    }
    ++pool().inUse;
}

ReusableArray::~ReusableArray()
{
    CFArrayRemoveAllValues(_array.get());
    const std::lock_guard guard(pool().mutex);
    --pool().inUse;
    if (CFGetRetainCount(_array.get()) > 1) {
        pool().arrays.push_back(std::move(_array));
    }
}

} // namespace qrx::iokit
