#include "PropertyList.h"

#include "CoreFoundation/CFDictionaryShape.h"

#include <algorithm>
#include <utility>

namespace qrx::iokit {

namespace {

/// More than any entry has, so that the lists are allocated once.
constexpr std::size_t kUsualProperties = 32;

} // namespace

PropertyList::PropertyList()
{
    _keys.reserve(kUsualProperties);
    _values.reserve(kUsualProperties);
}

// After `finish` nothing is left here; before, an exception has interrupted the making.
PropertyList::~PropertyList()
{
    for (const CFTypeRef value : _values) {
        CFRelease(value);
    }
}

void PropertyList::object(CFStringRef key, CFRef<CFTypeRef> value)
{
    if (value) {
        _keys.push_back(key);
        // Room was reserved, so adding cannot fail after the reference was given up.
        _values.push_back(value.leave());
    }
}

void PropertyList::number(CFStringRef key, std::int32_t value)
{
    object(key, makeNumber(value));
}

void PropertyList::unsignedNumber(CFStringRef key, std::uint32_t value)
{
    // Published as 32 bits: readers of a property take the bits as signed or unsigned, whichever they mean.
    object(key, makeNumber(static_cast<std::int32_t>(value)));
}

void PropertyList::longNumber(CFStringRef key, std::int64_t value)
{
    object(key, CFRef<CFTypeRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value)));
}

void PropertyList::text(CFStringRef key, const std::optional<std::string>& value)
{
    if (value) {
        object(key, asObject(makeText(*value)));
    }
}

CFRef<CFDictionaryRef> PropertyList::finish()
{
    // Entries of one kind with the same strings present have the same keys in the same order, and so share a shape.
    CFDictionaryRef dictionary = cf::createShapedDictionary(cf::makeShape(_keys), _values);
    _values.clear();
    return CFRef<CFDictionaryRef>::adopt(dictionary);
}

CFRef<CFTypeRef> makeNumber(std::int32_t value)
{
    return CFRef<CFTypeRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
}

CFRef<CFStringRef> makeText(const std::string& text)
{
    // A text ends at its first zero, as for every C caller.
    const auto length = static_cast<CFIndex>(std::min(text.find('\0'), text.size()));
    const auto* bytes = reinterpret_cast<const UInt8*>(text.data());
    auto* string = CFStringCreateWithBytes(kCFAllocatorDefault, bytes, length, kCFStringEncodingUTF8, false);
    // Not UTF-8: every byte is a character of MacRoman, so the text is shown somehow and the conversion cannot fail.
    if (string == nullptr) {
        string = CFStringCreateWithBytes(kCFAllocatorDefault, bytes, length, kCFStringEncodingMacRoman, false);
    }
    return CFRef<CFStringRef>::adopt(string);
}

CFRef<CFArrayRef> makeArray(const std::vector<CFRef<CFTypeRef>>& values)
{
    std::vector<const void*> items;
    items.reserve(values.size());
    for (const auto& value : values) {
        items.push_back(value.get());
    }
    return CFRef<CFArrayRef>::adopt(
        CFArrayCreate(kCFAllocatorDefault, items.data(), static_cast<CFIndex>(items.size()), &kCFTypeArrayCallBacks));
}

} // namespace qrx::iokit
