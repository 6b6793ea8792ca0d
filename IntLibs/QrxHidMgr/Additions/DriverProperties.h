#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <span>
#include <string>

class _QrxHIDInterfaceMac;

namespace qrx {

/// The text under `key` as UTF-8, up to its first zero character. "" for a null dictionary, an absent key and a value
/// that is no text.
std::string textOf(CFDictionaryRef properties, CFStringRef key);

/// The bytes, which live as long as the interface; empty unless its driver publishes them.
std::span<const std::uint8_t> reportDescriptorOf(const _QrxHIDInterfaceMac& interface);

} // namespace qrx
