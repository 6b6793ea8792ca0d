#pragma once

#include "CoreFoundation/CFRef.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrx::iokit {

/// Collects the properties of an entry, in the forms in which the registry shows them. Keys are constants (CFSTR). For
/// the few dictionaries of an entry; elements have a way of their own (ElementProperties).
class PropertyList {
public:
    PropertyList();
    ~PropertyList();
    PropertyList(const PropertyList&) = delete;
    PropertyList& operator=(const PropertyList&) = delete;

    /// Numbers of up to 32 bits are held as signed 32-bit ones.
    void number(CFStringRef key, std::int32_t value);
    /// 0x80000000 and above show as negative numbers.
    void unsignedNumber(CFStringRef key, std::uint32_t value);
    void longNumber(CFStringRef key, std::int64_t value);
    /// UTF-8 up to the first zero; what is not valid UTF-8 is read as MacRoman, where every byte means something. No
    /// value: no property.
    void text(CFStringRef key, const std::optional<std::string>& value);
    /// Null: no property.
    void object(CFStringRef key, CFRef<CFTypeRef> value);

    /// An immutable dictionary of what was collected; the list is spent.
    CFRef<CFDictionaryRef> finish();

private:
    std::vector<CFStringRef> _keys;
    std::vector<CFTypeRef> _values; ///< one reference each
};

CFRef<CFTypeRef> makeNumber(std::int32_t value);
CFRef<CFStringRef> makeText(const std::string& text);

/// An immutable array of `values`.
CFRef<CFArrayRef> makeArray(const std::vector<CFRef<CFTypeRef>>& values);

/// The same object as one of no particular type.
template <typename T>
CFRef<CFTypeRef> asObject(CFRef<T> object)
{
    return CFRef<CFTypeRef>::adopt(object.leave());
}

} // namespace qrx::iokit
