// Devices with the same report descriptor share one array of element dictionaries: ten keyboards of one kind cost as
// much as one. The array is found by the bytes of the descriptor and the number of elements that were made of it, and
// goes with the last device that uses it.

#include "SharedElements.h"

#include "ElementProperties.h"

#include <map>
#include <mutex>

namespace qrx::iokit {

namespace {

struct Arrays {
    std::mutex mutex;
    std::map<SharedElements::Key, std::weak_ptr<const SharedElements>> inUse;
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
    // One lock for the search and the making: two devices of a kind that arrive at once must not make two arrays.
    const auto place = arrays().inUse.try_emplace({tree.elements.size(), descriptor}).first;
    std::shared_ptr<const SharedElements> elements = place->second.lock();
    if (elements != nullptr) {
        return elements;
    }
    try {
        elements = std::make_shared<const SharedElements>(place->first, tree);
    } catch (...) {
        arrays().inUse.erase(place);
        throw;
    }
    place->second = elements;
    return elements;
}

SharedElements::SharedElements(const Key& key, const hid::ElementTree& tree) : _key(key)
{
    const CFRef<CFArrayRef> elements = makeElements(tree);
    const CFIndex count = CFArrayGetCount(elements.get());
    for (CFIndex index = 0; index < count; ++index) {
        // Copied into an array that can be emptied: whoever keeps the property longer than the device (the backend
        // never releases it) then keeps only an empty array.
        CFArrayAppendValue(_array.get(), CFArrayGetValueAtIndex(elements.get(), index));
    }
}

SharedElements::~SharedElements()
{
    const std::lock_guard guard(arrays().mutex);
    const auto inUse = arrays().inUse.find(_key);
    // Another device may have come with the same descriptor meanwhile.
    if (inUse != arrays().inUse.end() && inUse->second.expired()) {
        arrays().inUse.erase(inUse);
    }
}

} // namespace qrx::iokit
