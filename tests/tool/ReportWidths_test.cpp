// Fields of every width, at a bit that begins no byte.

#include "DecodingTest.h"

#include <cstdint>

namespace {

/// Bits after the first of a report, least significant first; those that nobody sets are 0.
Bytes reportWith(std::size_t firstBit, std::uint64_t value, unsigned int sizeBits)
{
    Bytes report((firstBit + sizeBits + 7) / 8, 0);
    for (std::size_t i = 0; i < sizeBits; ++i) {
        if ((value >> i & 1) != 0) {
            report[(firstBit + i) / 8] |= static_cast<std::uint8_t>(1U << (firstBit + i) % 8);
        }
    }
    return report;
}

constexpr std::size_t kPadding = 3;

/// A field of that width after kPadding bits. Its limits are `minimum` and 100, cut to the width.
Bytes fieldOf(unsigned int sizeBits, std::uint8_t minimum, const Bytes& usages, std::uint8_t flags)
{
    Bytes items = {0x75, kPadding, 0x95,    0x01, 0x81,
                   0x01, 0x15,     minimum, 0x25, sizeBits == 1 ? std::uint8_t{1} : std::uint8_t{100}};
    items.insert(items.end(), usages.begin(), usages.end());
    items.insert(items.end(), {0x75, static_cast<std::uint8_t>(sizeBits), 0x95, 0x01, 0x81, flags});
    return vendor(items);
}

constexpr std::uint8_t kArray = 0x00;
constexpr std::uint8_t kVariable = 0x02;

class Widths : public Decoding, public testing::WithParamInterface<unsigned int> {
protected:
    std::uint64_t allOnes() const { return ~std::uint64_t{0} >> (64 - GetParam()); }
    std::uint64_t topBit() const { return std::uint64_t{1} << (GetParam() - 1); }
    std::string place() const { return " @3+" + std::to_string(GetParam()); }
    std::string decodeField(std::uint64_t value) const { return decode(reportWith(kPadding, value, GetParam())); }
};

} // namespace

TEST_P(Widths, AnUnsignedVariableReachesFromZeroToAllOnes)
{
    plug({fieldOf(GetParam(), 0, {0x09, 0x20}, kVariable)});
    EXPECT_EQ("ff00/20=0" + place() + "\n", decodeField(0));
    EXPECT_EQ("ff00/20=" + std::to_string(topBit()) + place() + "\n", decodeField(topBit()));
    EXPECT_EQ("ff00/20=" + std::to_string(allOnes()) + place() + "\n", decodeField(allOnes()));
}

TEST_P(Widths, ASignedVariableIsTwosComplement)
{
    plug({fieldOf(GetParam(), 0xFF, {0x09, 0x20}, kVariable)});
    if (GetParam() == 1) {
        EXPECT_EQ("ff00/20=1" + place() + "\n", decodeField(1)) << "the platform gives one bit the range 0..1";
        return;
    }
    const auto lowest = -static_cast<std::int64_t>(topBit() - 1) - 1;
    EXPECT_EQ("ff00/20=-1" + place() + "\n", decodeField(allOnes()));
    EXPECT_EQ("ff00/20=" + std::to_string(lowest) + place() + "\n", decodeField(topBit()));
    EXPECT_EQ("ff00/20=" + std::to_string(topBit() - 1) + place() + "\n", decodeField(topBit() - 1));
}

TEST_P(Widths, AnUnsignedArrayShowsNothingBeyondItsUsages)
{
    // Entry 1 is usage 10, entry 2 is usage 11, ...
    plug({fieldOf(GetParam(), 1, {0x19, 0x10, 0x29, 0x12}, kArray)});
    EXPECT_EQ("", decodeField(0));
    EXPECT_EQ("ff00/10=1" + place() + "*\n", decodeField(1));
    if (GetParam() > 1) {
        EXPECT_EQ("ff00/12=1" + place() + "*\n", decodeField(3));
        EXPECT_EQ("", decodeField(4));
        EXPECT_EQ("", decodeField(topBit()));
        EXPECT_EQ("", decodeField(topBit() - 1));
        EXPECT_EQ("", decodeField(allOnes()));
    }
}

TEST_P(Widths, ASignedArrayCountsFromItsNegativeMinimum)
{
    // Entry -1 is usage 10, entry 0 is usage 11, ...
    plug({fieldOf(GetParam(), 0xFF, {0x19, 0x10, 0x29, 0x12}, kArray)});
    EXPECT_EQ("ff00/10=1" + place() + "*\n", decodeField(allOnes()));
    EXPECT_EQ("ff00/11=1" + place() + "*\n", decodeField(0));
    if (GetParam() > 1) {
        EXPECT_EQ("ff00/12=1" + place() + "*\n", decodeField(1));
        EXPECT_EQ("", decodeField(2));
        EXPECT_EQ("", decodeField(allOnes() - 1));
        EXPECT_EQ("", decodeField(topBit()));
        EXPECT_EQ("", decodeField(topBit() - 1));
    }
}

INSTANTIATE_TEST_SUITE_P(QrxReportDecoder, Widths, testing::Values(1U, 8U, 31U, 32U, 33U, 63U, 64U),
                         testing::PrintToStringParamName());
