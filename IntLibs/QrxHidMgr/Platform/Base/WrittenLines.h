#pragma once

#include <cstdint>

namespace qrx::platform {

/// How many lines of the log the calling thread has written. Compared before and after a call, it says whether the call
/// has reported its failure itself.
std::uint64_t writtenLines() noexcept;

} // namespace qrx::platform
