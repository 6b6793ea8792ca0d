#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace fake {

/// Which of the platform's forms the fake has: that of the oldest system for which backend, fake and tests are built
/// (MAC_OS_X_VERSION_MIN_REQUIRED; without it that of the first systems). Class names follow the published macros.
///
/// From 10.7 on "Elements" read by its name is the top-level collections alone; the whole table has them nested.
#if defined(MAC_OS_X_VERSION_MIN_REQUIRED) && MAC_OS_X_VERSION_MIN_REQUIRED >= 1070
inline constexpr bool kNestsOnlyInTable = true;
#else
inline constexpr bool kNestsOnlyInTable = false;
#endif

} // namespace fake
