#include "DriverProperties.h"

#include "InterfaceAccess.h"

namespace qrx {

namespace {

/// A UTF-16 unit becomes at most so many bytes of UTF-8.
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
