#pragma once

/// Whole numbers that are kept in the reference itself, without an object:
///
///     bits 63..4  the value, signed (60 bits)
///     bit  3      0
///     bits 2..1   the type minus 1: 0 SInt8, 1 SInt16, 2 SInt32, 3 SInt64
///     bit  0      1

#include "Object.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

namespace qrx::cf {

constexpr int kTagBits = 4;

constexpr bool fitsTag(std::int64_t value)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(value) << kTagBits) >> kTagBits == value;
}

/// `type` is one of the four of fixed width, and fitsTag(`value`), which every value of 32 bits does.
inline CFNumberRef taggedNumber(CFNumberType type, std::int64_t value)
{
    const auto tag = static_cast<std::uintptr_t>(type - kCFNumberSInt8Type) << 1 | kTag;
    return reinterpret_cast<CFNumberRef>(static_cast<std::uintptr_t>(value) << kTagBits | tag);
}

} // namespace qrx::cf
