#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// How the backend reads properties: a null dictionary, an absent key and a value of another type all read as the
/// default. Numbers are signed 32-bit: a wider one is cut to its low 32 bits, and so is what is stored negative.
namespace qrx::properties {

std::int32_t number(CFDictionaryRef properties, CFStringRef key, std::int32_t absent = 0);
/// The same as the 32 bits of an unsigned number: -127 reads as 4294967169.
std::uint32_t bits(CFDictionaryRef properties, CFStringRef key);
/// False unless the value is the boolean true.
bool flag(CFDictionaryRef properties, CFStringRef key);
/// UTF-8. Also empty for a text that does not fit its own count of UTF-16 units (see the source).
std::string text(CFDictionaryRef properties, CFStringRef key);
/// Borrowed from the dictionary; null unless the value is an array.
CFArrayRef array(CFDictionaryRef properties, CFStringRef key);
/// The first dictionary of the array under `arrayKey` whose number under `key` equals `wanted`, borrowed, or null. An
/// empty place in the array ends the search.
CFDictionaryRef entryWithNumber(CFDictionaryRef properties, CFStringRef arrayKey, CFStringRef key,
                                std::uint32_t wanted);
/// The dictionaries of the array that have a number under `key`, each with its number, up to an empty place.
using NumberedEntries = std::vector<std::pair<std::uint32_t, CFDictionaryRef>>;
NumberedEntries numberedEntries(CFDictionaryRef properties, CFStringRef arrayKey, CFStringRef key);
/// The first of the entries that has this number, or null.
CFDictionaryRef entryWithNumber(const NumberedEntries& entries, std::uint32_t wanted);

/// All properties of the entry as they are now, owned by the caller; null when the platform could not give them.
CFMutableDictionaryRef snapshot(io_registry_entry_t entry);
/// The "Elements" of an entry with all that they hold, owned by the caller; null if it has none. What the platform
/// offers by that name depends on the oldest system that the library is built for (see the source).
CFTypeRef elements(io_registry_entry_t entry);
/// One number read from the registry as it is now; 0 if absent or not a number.
int liveNumber(io_registry_entry_t entry, CFStringRef key);

} // namespace qrx::properties
