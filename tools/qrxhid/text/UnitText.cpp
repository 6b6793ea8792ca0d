#include "text/UnitText.h"

#include "text/TextFormat.h"

#include <array>

namespace qrxhid {

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

std::int32_t fromNibbleCode(std::int32_t code)
{
    return code >= kFirstNegativeCode && code < kCodes ? code - kCodes : code;
}

std::string power(const std::string& base, std::int32_t exponent)
{
    return exponent == 1 ? base : base + "^" + std::to_string(exponent);
}

} // namespace

std::string unitText(std::uint32_t unit, std::int32_t exponent)
{
    std::string text;
    const auto append = [&text](const std::string& part) { text += (text.empty() ? "" : " ") + part; };
    if (const std::int32_t tens = fromNibbleCode(exponent); tens != 0) {
        append(power("10", tens));
    }
    const std::uint32_t system = unit & kNibble;
    if (unit != 0 && (system == 0 || system > kSystems.size())) {
        append("unit " + hexText(unit, 1));
        return text;
    }
    for (unsigned quantity = 0; unit != 0 && quantity < kQuantities; ++quantity) {
        const auto code = static_cast<std::int32_t>((unit >> (kNibbleBits * (quantity + 1))) & kNibble);
        if (code != 0) {
            append(power(kSystems[system - 1][quantity], fromNibbleCode(code)));
        }
    }
    return text;
}

} // namespace qrxhid
