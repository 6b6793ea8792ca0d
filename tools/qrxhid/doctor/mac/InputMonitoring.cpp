// By the names of the functions, which are IOHIDCheckAccess and IOHIDRequestAccess of <IOKit/hidsystem/IOHIDLib.h>: so
// the program starts on systems that do not have them.

#include "doctor/mac/InputMonitoring.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

namespace qrxhid {

namespace {

// kIOHIDRequestTypeListenEvent
constexpr std::uint32_t kListen = 1;
// kIOHIDAccessTypeGranted, kIOHIDAccessTypeDenied; what is left is kIOHIDAccessTypeUnknown.
constexpr std::uint32_t kGranted = 0;
constexpr std::uint32_t kDenied = 1;

/// Nothing on a system that does not have it.
void* systemFunction(CFStringRef name)
{
    const CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("com.apple.framework.IOKit"));
    return bundle == nullptr ? nullptr : CFBundleGetFunctionPointerForName(bundle, name);
}

} // namespace

InputMonitoring inputMonitoring()
{
    using CheckAccess = std::uint32_t (*)(std::uint32_t);
    const auto check = reinterpret_cast<CheckAccess>(systemFunction(CFSTR("IOHIDCheckAccess")));
    if (check == nullptr) {
        return InputMonitoring::notNeeded;
    }
    const std::uint32_t access = check(kListen);
    return access == kGranted  ? InputMonitoring::granted
           : access == kDenied ? InputMonitoring::denied
                               : InputMonitoring::undecided;
}

void requestInputMonitoring()
{
    using RequestAccess = bool (*)(std::uint32_t);
    if (const auto request = reinterpret_cast<RequestAccess>(systemFunction(CFSTR("IOHIDRequestAccess")))) {
        request(kListen);
    }
}

} // namespace qrxhid
