// A property that is read by `IORegistryEntryCreateCFProperty` and never released would stay allocated for ever with
// all that it holds. So the arrays that are published as "Elements" are emptied when their device goes, and if somebody
// still holds one, it is used again for the next device.

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
    // Room for every array in use is kept, so that the destructor never allocates.
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
    // Without the lock: releasing the elements may take a while.
    CFArrayRemoveAllValues(_array.get());
    const std::lock_guard guard(pool().mutex);
    --pool().inUse;
    if (CFGetRetainCount(_array.get()) > 1) {
        pool().arrays.push_back(std::move(_array));
    }
}

} // namespace qrx::iokit
