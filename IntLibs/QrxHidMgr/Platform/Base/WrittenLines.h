#pragma once

#include <cstdint>

namespace qrx::platform {

/// How many lines of the log the calling thread has written: whether a call has told of its failure itself.
std::uint64_t writtenLines() noexcept;

} // namespace qrx::platform
