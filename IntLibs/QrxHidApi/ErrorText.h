#pragma once

#include "Provider/Provider.h"

#include <string>

namespace qrx::hidapi {

/// What hid_error answers where nothing failed.
inline constexpr const wchar_t* kSuccess = L"Success";

/// Why a request failed, as a person reads it; a constant.
const wchar_t* textOf(platform::Status status);

/// The error of the calling thread's last call that concerns no open device (hid_error(NULL)). A text of one's own for
/// each thread cannot change under the hands of another.
const wchar_t* globalError() noexcept;
void setGlobalError(std::wstring text) noexcept;
void clearGlobalError() noexcept;

} // namespace qrx::hidapi
