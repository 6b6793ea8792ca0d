// A shape is a fixed list of keys with an index from the address of a key to its place. It works by address because
// constant strings are unique: two constants are the same text exactly if they are the same object. Nearly all lookups
// come with a constant (CFSTR), and then cost one probe of a small table, with no comparison of text. Any other string
// is compared with each key in turn.
//
// Shapes live for ever, are few, and are found again by their list of keys.

#include "CFDictionaryShape.h"

#include "CFDictionary.h"
#include "CFString.h"

#include <algorithm>
#include <bit>
#include <list>
#include <mutex>

namespace qrx::cf {

namespace {

/// The shapes of the process, never destroyed because dictionaries may outlive every static object. A list, so that the
/// address of a shape stays when others are added.
struct Shapes {
    std::mutex mutex;
    std::list<DictionaryShape> all;
};

Shapes& shapes()
{
    static auto& sm_Shapes = *new Shapes;
    return sm_Shapes;
}

void requireConstants(std::span<const CFStringRef> keys)
{
    // Places are one byte, and one value of it means "none".
    if (keys.size() >= DictionaryShape::kNone) {
        fail("makeShape", "too many keys");
    }
    for (std::size_t index = 0; index < keys.size(); ++index) {
        typeOf(keys[index], "makeShape");
        if (!isConstantString(keys[index])) {
            fail("makeShape", "a key is not a constant string");
        }
        if (std::find(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(index), keys[index]) !=
            keys.begin() + static_cast<std::ptrdiff_t>(index)) {
            fail("makeShape", "a key stands twice");
        }
    }
}

} // namespace

DictionaryShape::DictionaryShape(std::span<const CFStringRef> keys)
    : _keys(keys.begin(), keys.end()), _slots(std::bit_ceil(2 * keys.size() + 1), kNone)
{
    for (std::size_t place = 0; place < _keys.size(); ++place) {
        // Linear probing. At most half of the slots are used, so a search for an absent key ends soon, and always ends.
        std::size_t slot = firstSlot(_keys[place]);
        while (_slots[slot] != kNone) {
            slot = (slot + 1) & (_slots.size() - 1);
        }
        _slots[slot] = static_cast<std::uint8_t>(place);
    }
}

/// Constants lie close together, so their lower bits tell most of them apart; the lowest three are zero by alignment.
std::size_t DictionaryShape::firstSlot(CFTypeRef key) const
{
    const auto address = reinterpret_cast<std::uintptr_t>(key);
    return ((address >> 3) ^ (address >> 8)) & (_slots.size() - 1);
}

std::size_t DictionaryShape::placeOf(CFTypeRef key) const
{
    std::size_t slot = firstSlot(key);
    while (_slots[slot] != kNone && _keys[_slots[slot]] != key) {
        slot = (slot + 1) & (_slots.size() - 1);
    }
    return _slots[slot];
}

const DictionaryShape* makeShape(std::span<const CFStringRef> keys)
{
    auto& known = shapes();
    const std::lock_guard lock(known.mutex);
    for (const DictionaryShape& shape : known.all) {
        if (std::equal(shape.keys().begin(), shape.keys().end(), keys.begin(), keys.end())) {
            return &shape;
        }
    }
    // Checked only for a new shape: a known one has been checked.
    requireConstants(keys);
    return &known.all.emplace_back(keys);
}

const DictionaryShape* makeShape(std::initializer_list<CFStringRef> keys)
{
    return makeShape(std::span(keys.begin(), keys.size()));
}

CFDictionaryRef createShapedDictionary(const DictionaryShape* shape, std::span<const CFTypeRef> values)
{
    if (shape == nullptr || values.size() != shape->keys().size()) {
        fail("createShapedDictionary", "the values do not match the shape");
    }
    return create<ShapedDictionary>(values.size_bytes(), shape, values);
}

ShapedDictionary::ShapedDictionary(const DictionaryShape* shape, std::span<const CFTypeRef> values)
    : __CFDictionary(kShaped), _shape(shape),
      _count(values.size() - static_cast<std::size_t>(std::count(values.begin(), values.end(), nullptr)))
{
    // The references come along with the pointers: nothing is retained here.
    std::copy(values.begin(), values.end(), reinterpret_cast<CFTypeRef*>(this + 1));
}

ShapedDictionary::~ShapedDictionary()
{
    for (CFTypeRef value : values()) {
        if (value != nullptr) {
            CFRelease(value);
        }
    }
}

CFTypeRef ShapedDictionary::value(CFTypeRef key) const
{
    const CFTypeRef* all = values().data();
    const std::size_t place = _shape->placeOf(key);
    if (place != DictionaryShape::kNone) {
        return all[place];
    }
    // A constant that the index does not know is not a key of this shape, so the search by text is only for strings
    // that were made at run time.
    if (typeOf(key, "CFDictionaryGetValue") != Type::string || isConstantString(key)) {
        return nullptr;
    }
    const auto known = keys();
    for (std::size_t index = 0; index < known.size(); ++index) {
        if (CFEqual(known[index], key)) {
            return all[index];
        }
    }
    return nullptr;
}

} // namespace qrx::cf
