#pragma once

/// Bits of a report: values are little-endian (HID 1.11, 5.8) and begin at any bit.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace qrx::hid {

constexpr std::uint32_t kWidestValueBits = 64;

/// The bits of `size` (1 to 64) at `offset`, in the low end of the result. All of them are within the report.
inline std::uint64_t readBits(std::span<const std::uint8_t> report, std::size_t offset, std::uint32_t size)
{
    // The widest value that fits 8 bytes wherever in the first of them it begins.
    constexpr std::uint32_t kAnywhereInWord = 57;
    const std::size_t firstByte = offset / 8;
    const auto inByte = static_cast<std::uint32_t>(offset % 8);
    if (size == 1) {
        return (report[firstByte] >> inByte) & 1U;
    }
    const std::uint64_t mask = ~std::uint64_t{0} >> (kWidestValueBits - size);
    if constexpr (std::endian::native == std::endian::little) {
        if (size <= kAnywhereInWord && report.size() - firstByte >= sizeof(std::uint64_t)) {
            std::uint64_t word = 0;
            std::memcpy(&word, report.data() + firstByte, sizeof word);
            return (word >> inByte) & mask;
        }
    }
    std::uint64_t bits = report[firstByte] >> inByte;
    for (std::uint32_t taken = 8 - inByte, byte = 1; taken < size; taken += 8, ++byte) {
        bits |= std::uint64_t{report[firstByte + byte]} << taken;
    }
    return bits & mask;
}

/// Replaces `size` (1 to 64) bits at `offset` by the low bits of `value`; the bits around them stay as they are.
inline void writeBits(std::span<std::uint8_t> report, std::size_t offset, std::uint32_t size, std::uint64_t value)
{
    for (std::uint32_t done = 0; done < size;) {
        const auto inByte = static_cast<std::uint32_t>((offset + done) % 8);
        const std::uint32_t width = std::min(8 - inByte, size - done);
        const std::uint32_t mask = ((1U << width) - 1) << inByte;
        const auto part = static_cast<std::uint32_t>(value >> done) << inByte;
        std::uint8_t& byte = report[(offset + done) / 8];
        byte = static_cast<std::uint8_t>((byte & ~mask) | (part & mask));
        done += width;
    }
}

/// Copies the sign of a value of `size` (1 to 64) bits into the bits above it.
inline std::int64_t signExtended(std::uint64_t bits, std::uint32_t size)
{
    const std::uint64_t sign = std::uint64_t{1} << (size - 1);
    return static_cast<std::int64_t>((bits ^ sign) - sign);
}

} // namespace qrx::hid
