#include "DriverProperties.h"

#include "InterfaceAccess.h"

namespace qrx {

namespace {

/// The most bytes of UTF-8 that one UTF-16 unit becomes. A surrogate pair, two units, becomes four.
constexpr CFIndex kBytesOfUnit = 3;

CFTypeRef valueOf(CFDictionaryRef properties, CFStringRef key, CFTypeID type)
{
    const CFTypeRef value = properties != nullptr ? CFDictionaryGetValue(properties, key) : nullptr;
    return value != nullptr && CFGetTypeID(value) == type ? value : nullptr;
}

} // namespace

std::string textOf(CFDictionaryRef properties, CFStringRef key)
{
    const auto value = static_cast<CFStringRef>(valueOf(properties, key, CFStringGetTypeID()));
    if (value == nullptr) {
        return {};
    }
    std::string text(static_cast<std::size_t>(CFStringGetLength(value) * kBytesOfUnit + 1), '\0');
    if (CFStringGetCString(value, text.data(), static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8) == 0) {
        return {};
    }
    // A text with a zero inside ends there. The buffer always holds one: the terminator.
    text.resize(text.find('\0'));
    return text;
}

std::span<const std::uint8_t> reportDescriptorOf(const _QrxHIDInterfaceMac& interface)
{
    const auto data = static_cast<CFDataRef>(
        valueOf(interface._borrowedDriverProperties(), CFSTR("ReportDescriptor"), CFDataGetTypeID()));
    if (data == nullptr) {
        return {};
    }
    return {CFDataGetBytePtr(data), static_cast<std::size_t>(CFDataGetLength(data))};
}

} // namespace qrx
