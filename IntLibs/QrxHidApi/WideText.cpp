#include "WideText.h"

#include "Text/Utf8.h"

#include <algorithm>
#include <cwchar>

namespace qrx::hidapi {

namespace {

/// Unicode's character for what could not be read.
constexpr wchar_t kReplacement = 0xFFFD;

} // namespace

std::wstring wideText(std::string_view utf8)
{
    static_assert(sizeof(wchar_t) == sizeof(char32_t), "a wide character holds any character");
    std::wstring wide;
    wide.reserve(utf8.size());
    while (!utf8.empty()) {
        // 0 where no valid character begins. Then one byte is replaced, and the rest is looked at again: what follows a
        // faulty byte is not lost.
        const std::size_t length = utf8Length(utf8);
        wide.push_back(length == 0 ? kReplacement : static_cast<wchar_t>(utf8Character(utf8.substr(0, length))));
        utf8.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return wide;
}

void copyText(const wchar_t* text, wchar_t* buffer, std::size_t size)
{
    const std::size_t count = std::min(std::wcslen(text), size - 1);
    std::copy_n(text, count, buffer);
    buffer[count] = L'\0';
}

} // namespace qrx::hidapi
