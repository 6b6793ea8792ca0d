#pragma once

/// The two forms of a dictionary: shaped (CFDictionaryShape.h) and a list of pairs (PairDictionary.h).

#include "CFDictionaryShape.h"
#include "Object.h"

#include <cstddef>
#include <span>

struct __CFDictionary : qrx::cf::Object {
    static constexpr qrx::cf::Type kType = qrx::cf::Type::dictionary;
    static constexpr std::uint8_t kShaped = qrx::cf::kTypeFlag;
    static constexpr std::uint8_t kMutable = qrx::cf::kSecondTypeFlag;

    explicit __CFDictionary(std::uint8_t flags) : Object(kType, flags) {}
};

namespace qrx::cf {

/// The values stand behind the object, in the shape's order; null where a key is absent.
struct ShapedDictionary : __CFDictionary {
    ShapedDictionary(const DictionaryShape* shape, std::span<const CFTypeRef> values);
    ~ShapedDictionary();

    std::span<const CFStringRef> keys() const { return _shape->keys(); }
    std::span<const CFTypeRef> values() const
    {
        return {reinterpret_cast<const CFTypeRef*>(this + 1), _shape->keys().size()};
    }
    /// Borrowed; null if absent.
    CFTypeRef value(CFTypeRef key) const;

    const DictionaryShape* const _shape;
    std::size_t _count; ///< keys that are present
};

} // namespace qrx::cf
