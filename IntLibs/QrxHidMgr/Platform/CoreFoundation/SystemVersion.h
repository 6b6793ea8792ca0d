#pragma once

/// A switch for tests: what Gestalt answers as the system's version.

#include <cstdint>
#include <optional>

namespace qrx::platform {

/// From now on Gestalt(gestaltSystemVersion) succeeds with `version` (packed decimal digits, 0x1068 is 10.6.8); an
/// empty one restores the answer of a system that has no such version. For the whole process, from any thread; a
/// connection asks when it is opened.
void setSystemVersion(std::optional<std::int32_t> version);

} // namespace qrx::platform
