// Readers of property objects. What a registry entry says comes from a device's descriptors and from whatever driver
// published it, so no key and no type is taken for granted: each reader checks the type first and answers the default
// otherwise. The one thing that is not checked is the width of a number; it is read as 32 bits, signed, which is what
// the keys of USB and HID hold.

#include "PropertyReading.h"

#include "PropertyHandle.h"

#include <algorithm>

namespace qrx::properties {
namespace {

/// Longer texts (in UTF-16 units) read as empty without a buffer being allocated. USB strings have at most 126 units;
/// only a provider's error could make one longer.
constexpr CFIndex kMaxTextLength = 0x100000;

CFTypeRef valueOf(CFDictionaryRef properties, CFStringRef key)
{
    return properties == nullptr ? nullptr : CFDictionaryGetValue(properties, key);
}

bool isNumber(CFTypeRef value)
{
    return value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID();
}

std::int32_t numberValue(CFTypeRef number)
{
    std::int32_t result = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt32Type, &result);
    return result;
}

std::string convertedText(CFStringRef string)
{
    // A string that is stored as ASCII gives its bytes without a copy. The pointer is a shortcut that the platform may
    // refuse at any time, so the conversion below must always work too.
    if (const char* held = CFStringGetCStringPtr(string, kCFStringEncodingUTF8)) {
        return held;
    }
    const CFIndex length = CFStringGetLength(string);
    if (length > kMaxTextLength) {
        return {};
    }
    // Deliberate: one byte for each UTF-16 unit. A text that needs more in UTF-8 does not fit and reads as "".
    std::string buffer(static_cast<std::size_t>(length) + 1, '\0');
    CFStringGetCString(string, buffer.data(), length + 1, kCFStringEncodingUTF8);
    // Up to the terminator: a conversion that did not fit leaves an empty text, and a text with a zero inside ends
    // there, as it would for any C caller.
    buffer.resize(buffer.find('\0'));
    return buffer;
}

/// A dictionary of an array, and the number that it has under a key.
struct NumberedEntry {
    std::uint32_t number = 0;
    CFDictionaryRef entry = nullptr;
};

/// The first such dictionary from place `index` on; `index` becomes the place behind it. The entry is null if the array
/// ends, or has an empty place, before one is found.
NumberedEntry nextNumberedEntry(CFArrayRef entries, CFStringRef key, CFIndex& index)
{
    const CFIndex count = entries != nullptr ? CFArrayGetCount(entries) : 0;
    while (index < count) {
        const CFTypeRef value = CFArrayGetValueAtIndex(entries, index++);
        // An array can hold null places. They cannot be asked for a type, and everything behind one is left out.
        if (value == nullptr) {
            break;
        }
        if (CFGetTypeID(value) != CFDictionaryGetTypeID()) {
            continue;
        }
        const auto entry = static_cast<CFDictionaryRef>(value);
        const CFTypeRef found = CFDictionaryGetValue(entry, key);
        if (isNumber(found)) {
            return {static_cast<std::uint32_t>(numberValue(found)), entry};
        }
    }
    return {};
}

} // namespace

std::int32_t number(CFDictionaryRef properties, CFStringRef key, std::int32_t absent)
{
    const CFTypeRef value = valueOf(properties, key);
    return isNumber(value) ? numberValue(value) : absent;
}

std::uint32_t bits(CFDictionaryRef properties, CFStringRef key)
{
    return static_cast<std::uint32_t>(number(properties, key));
}

bool flag(CFDictionaryRef properties, CFStringRef key)
{
    const CFTypeRef value = valueOf(properties, key);
    if (value == nullptr || CFGetTypeID(value) != CFBooleanGetTypeID()) {
        return false;
    }
    return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0;
}

std::string text(CFDictionaryRef properties, CFStringRef key)
{
    const CFTypeRef value = valueOf(properties, key);
    if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) {
        return {};
    }
    return convertedText(static_cast<CFStringRef>(value));
}

CFArrayRef array(CFDictionaryRef properties, CFStringRef key)
{
    const CFTypeRef value = valueOf(properties, key);
    if (value == nullptr || CFGetTypeID(value) != CFArrayGetTypeID()) {
        return nullptr;
    }
    return static_cast<CFArrayRef>(value);
}

CFDictionaryRef entryWithNumber(CFDictionaryRef properties, CFStringRef arrayKey, CFStringRef key, std::uint32_t wanted)
{
    const CFArrayRef entries = array(properties, arrayKey);
    CFIndex index = 0;
    NumberedEntry found = nextNumberedEntry(entries, key, index);
    while (found.entry != nullptr && found.number != wanted) {
        found = nextNumberedEntry(entries, key, index);
    }
    return found.entry;
}

NumberedEntries numberedEntries(CFDictionaryRef properties, CFStringRef arrayKey, CFStringRef key)
{
    const CFArrayRef entries = array(properties, arrayKey);
    NumberedEntries result;
    CFIndex index = 0;
    for (NumberedEntry found = nextNumberedEntry(entries, key, index); found.entry != nullptr;
         found = nextNumberedEntry(entries, key, index)) {
        result.emplace_back(found.number, found.entry);
    }
    return result;
}

CFDictionaryRef entryWithNumber(const NumberedEntries& entries, std::uint32_t wanted)
{
    const auto found =
        std::find_if(entries.begin(), entries.end(), [wanted](const auto& entry) { return entry.first == wanted; });
    return found != entries.end() ? found->second : nullptr;
}

CFMutableDictionaryRef snapshot(io_registry_entry_t entry)
{
    CFMutableDictionaryRef properties = nullptr;
    // A copy as of now: the entry may change or be terminated later, and the copy still answers.
    if (IORegistryEntryCreateCFProperties(entry, &properties, kCFAllocatorDefault, 0) != 0) {
        return nullptr;
    }
    return properties;
}

#if defined(MAC_OS_X_VERSION_MIN_REQUIRED) && MAC_OS_X_VERSION_MIN_REQUIRED >= 1070

// From 10.7 on, the property that is read by this name holds only the top-level collections. The table of all
// properties still holds them with their children, at the price of a copy of the whole table.
CFTypeRef elements(io_registry_entry_t entry)
{
    const PropertyHandle table(snapshot(entry));
    if (!table) {
        return nullptr;
    }
    const CFTypeRef nested = CFDictionaryGetValue(static_cast<CFDictionaryRef>(table.get()), CFSTR("Elements"));
    if (nested != nullptr) {
        CFRetain(nested);
    }
    return nested;
}

#else

CFTypeRef elements(io_registry_entry_t entry)
{
    return IORegistryEntryCreateCFProperty(entry, CFSTR("Elements"), kCFAllocatorDefault, 0);
}

#endif

int liveNumber(io_registry_entry_t entry, CFStringRef key)
{
    const PropertyHandle property(IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0));
    int result = 0;
    if (isNumber(property.get())) {
        CFNumberGetValue(static_cast<CFNumberRef>(property.get()), kCFNumberIntType, &result);
    }
    return result;
}

} // namespace qrx::properties
