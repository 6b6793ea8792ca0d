#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qrx::hidapi {

/// Whatever the locale is. Each byte that belongs to no character becomes U+FFFD.
std::wstring wideText(std::string_view utf8);

/// Copies as much as fits into `size` characters, the final zero included. `size` is not 0.
void copyText(const wchar_t* text, wchar_t* buffer, std::size_t size);

} // namespace qrx::hidapi
