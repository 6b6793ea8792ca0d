#include "Units.h"

#include <array>

namespace qrx::hid {

namespace {

constexpr std::uint32_t kNibble = 0xF;
constexpr unsigned kNibbleBits = 4;
constexpr std::int32_t kFirstNegativeCode = 8;
constexpr std::int32_t kCodes = 16;

/// Nibble 0 of the code is the system, nibbles 1 to 6 the exponents of these.
constexpr unsigned kQuantities = 6;
constexpr std::array<std::array<const char*, kQuantities>, 4> kSystems = {{
    {"cm", "g", "s", "K", "A", "cd"},
    {"rad", "g", "s", "K", "A", "cd"},
    {"in", "slug", "s", "F", "A", "cd"},
    {"deg", "slug", "s", "F", "A", "cd"},
}};

} // namespace

std::string unitText(std::uint32_t unit)
{
    const std::uint32_t system = unit & kNibble;
    if (system == 0 || system > kSystems.size()) {
        return {};
    }
    std::string text;
    for (unsigned quantity = 0; quantity < kQuantities; ++quantity) {
        const auto code = static_cast<std::int32_t>((unit >> (kNibbleBits * (quantity + 1))) & kNibble);
        if (code == 0) {
            continue;
        }
        const std::int32_t exponent = code >= kFirstNegativeCode ? code - kCodes : code;
        text += text.empty() ? "" : " ";
        text += kSystems[system - 1][quantity];
        if (exponent != 1) {
            text += '^';
            text += std::to_string(exponent);
        }
    }
    return text;
}

} // namespace qrx::hid
