#include "DescriptorText.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace qrx::hid {
namespace {

/// Bit by bit, as HID 1.11, 5.8 says it: little-endian, the first bit is the lowest.
std::int64_t bitByBit(std::span<const std::uint8_t> report, std::size_t bitOffset, std::uint32_t sizeBits,
                      bool isSigned)
{
    std::int64_t value = 0;
    for (std::uint32_t i = 0; i < sizeBits; ++i) {
        const std::size_t bit = bitOffset + i;
        if (bit / 8 < report.size() && (report[bit / 8] >> (bit % 8) & 1) != 0)
            value += std::int64_t{1} << i;
    }
    if (isSigned && sizeBits > 0 && (value >> (sizeBits - 1) & 1) != 0)
        value -= std::int64_t{1} << sizeBits;
    return value;
}

TEST(ExtractValue, AgreesWithTheBitByBitReadingAtEveryPlaceAndSize)
{
    const std::vector<std::uint8_t> report = bytesOf("A5 3C FF 00 80 7E 91 D2");
    for (std::size_t offset = 0; offset < 80; ++offset) {
        for (std::uint32_t size = 0; size <= 32; ++size) {
            for (const bool isSigned : {false, true}) {
                const auto expected =
                    static_cast<std::int32_t>(static_cast<std::uint32_t>(bitByBit(report, offset, size, isSigned)));
                ASSERT_EQ(extractValue(report, offset, size, isSigned), expected)
                    << size << " bits at " << offset << (isSigned ? " signed" : " unsigned") << " of " << hexOf(report);
            }
        }
    }
}

TEST(ExtractValue, BitsPastTheEndAre0)
{
    const std::vector<std::uint8_t> report = bytesOf("FF");
    EXPECT_EQ(extractValue(report, 4, 8, false), 15);
    EXPECT_EQ(extractValue(report, 8, 8, true), 0);
    EXPECT_EQ(extractValue(report, kNoBitOffset, 32, true), 0);
    EXPECT_EQ(extractValue({}, 0, 32, true), 0);
}

TEST(ExtractValue, A32BitFieldKeepsItsPattern)
{
    const std::vector<std::uint8_t> report = bytesOf("FF FF FF FF 01");
    EXPECT_EQ(extractValue(report, 0, 32, false), -1);
    EXPECT_EQ(extractValue(report, 1, 32, true), -1);
    EXPECT_EQ(extractValue(report, 2, 31, false), 0x7FFFFFFF);
}

TEST(ExtractValue, ASizeAbove32BitsReadsTheFirst32)
{
    EXPECT_EQ(extractValue(bytesOf("78 56 34 12 FF FF"), 0, 48, false), 0x12345678);
}

} // namespace
} // namespace qrx::hid
