// UTF-8 read strictly, one character at a time. The first byte says how many follow and limits the second one; all
// later ones have the form 10xxxxxx.

#include "Utf8.h"

namespace qrx {

namespace {

/// What the first byte of a character says: the length, and a range for the second byte that excludes overlong forms,
/// surrogates and numbers above U+10FFFF (Unicode, table 3-7).
struct Promise {
    std::size_t length = 0;
    unsigned char secondLow = 0x80;
    unsigned char secondHigh = 0xBF;
};

Promise promiseOf(unsigned char first)
{
    if (first < 0x80) {
        return {1};
    }
    if (first >= 0xC2 && first <= 0xDF) {
        return {2};
    }
    if (first >= 0xE0 && first <= 0xEF) {
        return {3, static_cast<unsigned char>(first == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(first == 0xED ? 0x9F : 0xBF)};
    }
    if (first >= 0xF0 && first <= 0xF4) {
        return {4, static_cast<unsigned char>(first == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(first == 0xF4 ? 0x8F : 0xBF)};
    }
    // 0x80 to 0xC1 and 0xF5 to 0xFF begin nothing.
    return {};
}

} // namespace

std::size_t utf8Length(std::string_view bytes)
{
    if (bytes.empty()) {
        return 0;
    }
    const Promise promise = promiseOf(static_cast<unsigned char>(bytes[0]));
    if (promise.length == 0 || promise.length > bytes.size()) {
        return 0;
    }
    for (std::size_t at = 1; at < promise.length; ++at) {
        const auto byte = static_cast<unsigned char>(bytes[at]);
        const unsigned char low = at == 1 ? promise.secondLow : 0x80;
        const unsigned char high = at == 1 ? promise.secondHigh : 0xBF;
        if (byte < low || byte > high) {
            return 0;
        }
    }
    return promise.length;
}

char32_t utf8Character(std::string_view bytes)
{
    const auto first = static_cast<unsigned char>(bytes[0]);
    if (bytes.size() == 1) {
        return first;
    }
    // 110xxxxx, 1110xxxx or 11110xxx, then 10xxxxxx.
    // The mask keeps the x of the first byte: 5, 4 or 3 bits for 2, 3 or 4 bytes.
    char32_t character = first & (0xFFU >> (bytes.size() + 1));
    for (const char byte : bytes.substr(1)) {
        character = (character << 6U) | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    return character;
}

} // namespace qrx
