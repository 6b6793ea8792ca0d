#pragma once

/// A string: its units stand behind the object, in the same allocation.

#include "Object.h"

#include <string_view>

/// Text that is all ASCII is held as bytes with a terminating zero, any other as UTF-16 (kTypeFlag) with the same text
/// as UTF-8 behind it. So two strings of different form never have the same text. Immutable.
///
/// The UTF-8 is lent by CFStringGetCStringPtr. Without it callers would copy by CFStringGetCString, and those that
/// count one byte for each UTF-16 unit, as the backend does, have no room for text that is not ASCII.
struct __CFString : qrx::cf::Object {
    static constexpr qrx::cf::Type kType = qrx::cf::Type::string;
    static constexpr std::uint8_t kWide = qrx::cf::kTypeFlag;

    __CFString(std::uint8_t flags, std::size_t length) : Object(kType, flags), _length(length) {}

    bool wide() const { return has(kWide); }
    const char* bytes() const { return reinterpret_cast<const char*>(this + 1); }
    std::string_view narrowText() const { return {bytes(), _length}; }
    std::u16string_view wideText() const { return {reinterpret_cast<const char16_t*>(this + 1), _length}; }

    const char* wideTextAsUtf8() const { return bytes() + _length * sizeof(char16_t); }

    const std::size_t _length; ///< in UTF-16 code units
};

namespace qrx::cf {

/// True for a constant: the only string of its text that is one, so that two constants are equal if they are the same.
inline bool isConstantString(CFTypeRef reference)
{
    return !isTagged(reference) && static_cast<const Object*>(reference)->_type == Type::string &&
           static_cast<const Object*>(reference)->has(kImmortal);
}

} // namespace qrx::cf
