#include "SharedElements.h"

#include "ElementProperties.h"

#include <map>
#include <mutex>
#include <utility>

namespace qrx::iokit {

namespace {

struct Arrays {
    std::mutex mutex;
    std::map<std::vector<std::uint8_t>, std::weak_ptr<const SharedElements>> inUse;
    /// Those that somebody held on to.
    std::map<std::vector<std::uint8_t>, CFRef<CFArrayRef>> kept;
};

/// Never destroyed: devices may go with static objects.
Arrays& arrays()
{
    static auto& sm_Arrays = *new Arrays;
    return sm_Arrays;
}

} // namespace

std::shared_ptr<const SharedElements> SharedElements::acquire(const std::vector<std::uint8_t>& descriptor,
                                                              const hid::ElementTree& tree)
{
    const std::lock_guard guard(arrays().mutex);
    std::weak_ptr<const SharedElements>& inUse = arrays().inUse[descriptor];
    std::shared_ptr<const SharedElements> elements = inUse.lock();
    if (elements == nullptr) {
        const auto kept = arrays().kept.find(descriptor);
        elements = std::make_shared<const SharedElements>(
            descriptor, kept != arrays().kept.end() ? std::move(kept->second) : makeElements(tree));
        if (kept != arrays().kept.end()) {
            arrays().kept.erase(kept);
        }
        inUse = elements;
    }
    return elements;
}

SharedElements::SharedElements(const std::vector<std::uint8_t>& descriptor, CFRef<CFArrayRef> array)
    : _descriptor(descriptor), _array(std::move(array))
{
}

SharedElements::~SharedElements()
{
    const std::lock_guard guard(arrays().mutex);
    const auto inUse = arrays().inUse.find(_descriptor);
    // Another device may have come with the same descriptor meanwhile.
    if (inUse != arrays().inUse.end() && inUse->second.expired()) {
        arrays().inUse.erase(inUse);
    }
    if (CFGetRetainCount(_array.get()) > 1) {
        arrays().kept.emplace(_descriptor, std::move(_array));
    }
}

} // namespace qrx::iokit
