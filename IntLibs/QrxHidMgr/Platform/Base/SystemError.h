#pragma once

namespace qrx::platform {

/// Throws std::system_error for an errno value: less code at the place of use than the exception's constructor.
[[noreturn]] void throwSystemError(int error, const char* what);

} // namespace qrx::platform
