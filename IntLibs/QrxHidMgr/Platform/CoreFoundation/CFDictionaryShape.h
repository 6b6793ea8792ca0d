#pragma once

/// Property dictionaries that share their keys: one small allocation each, looked up by the address of the key.
///
///     static const DictionaryShape* const kShape = makeShape({CFSTR("Usage"), CFSTR("UsagePage")});
///     const CFTypeRef values[] = {usage, nullptr};
///     CFDictionaryRef dictionary = createShapedDictionary(kShape, values);   // {"Usage": usage}

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

namespace qrx::cf {

/// A sequence of different constant strings (CFSTR), fewer than 255. Immutable and immortal; used from any thread.
class DictionaryShape {
public:
    explicit DictionaryShape(std::span<const CFStringRef> keys);

    std::span<const CFStringRef> keys() const { return _keys; }
    /// The place of a key, by its address; `kNone` for any other reference.
    std::size_t placeOf(CFTypeRef key) const;

    static constexpr std::size_t kNone = 0xFF;

private:
    std::size_t firstSlot(CFTypeRef key) const;

    const std::vector<CFStringRef> _keys;
    /// An open hash table: places, and kNone in at least half of the slots.
    std::vector<std::uint8_t> _slots;
};

/// The shape of these keys, in this order: the same one whenever the same sequence is asked for. It takes a lock and a
/// search, so it is to be asked for once, not for each dictionary. Keys that are no constants, or twice the same, end
/// the process. From any thread.
const DictionaryShape* makeShape(std::span<const CFStringRef> keys);
const DictionaryShape* makeShape(std::initializer_list<CFStringRef> keys);

/// An immutable dictionary, owned by the caller, with the values of the shape's keys in the shape's order; a null value
/// means that the key is absent. Takes over one reference of each value. As many values as keys, else the process ends.
CFDictionaryRef createShapedDictionary(const DictionaryShape* shape, std::span<const CFTypeRef> values);

} // namespace qrx::cf

extern "C" {

/// A mutable dictionary of the same keys and values, which it retains; owned by the caller. `capacity` is ignored.
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary);
}
