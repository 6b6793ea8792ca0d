// There is no system version outside of macOS, so the question fails unless a test has set a version. The backend then
// takes the way that works on every version.

#include "SystemVersion.h"

#include <CoreServices/CoreServices.h>

#include <atomic>
#include <limits>

namespace {

/// A 32-bit version, or a number outside of 32 bits that stands for none. Atomic, because a test may set it while
/// another thread opens a device.
constexpr std::int64_t kNoVersion = std::numeric_limits<std::int64_t>::min();
std::atomic<std::int64_t> sm_Version{kNoVersion};

} // namespace

void qrx::platform::setSystemVersion(std::optional<std::int32_t> version)
{
    sm_Version = version ? *version : kNoVersion;
}

OSErr Gestalt(OSType selector, SInt32* response)
{
    const std::int64_t version = sm_Version;
    if (selector != gestaltSystemVersion || version == kNoVersion) {
        return gestaltUndefSelectorErr;
    }
    if (response != nullptr) {
        *response = static_cast<SInt32>(version);
    }
    return noErr;
}
