#include "LeakCheck.h"

#include <cmath>
#include <limits>

namespace {

using CFNumber = LeakCheck;

template <class T>
CFNumberRef numberOf(CFNumberType type, T value)
{
    return CFNumberCreate(kCFAllocatorDefault, type, &value);
}

/// What CFNumberGetValue stores and returns.
template <class T>
struct Answer {
    T value;
    bool exact;
    bool operator==(const Answer& other) const { return value == other.value && exact == other.exact; }
};

template <class T>
void PrintTo(const Answer<T>& answer, std::ostream* out)
{
    *out << +answer.value << (answer.exact ? " (exact)" : " (not exact)");
}

/// Gives the number up.
template <class T>
Answer<T> read(CFNumberRef number, CFNumberType type)
{
    T value{};
    const Boolean exact = CFNumberGetValue(number, type, &value);
    EXPECT_EQ(CFNumberGetValue(number, type, nullptr), exact) << "without a place for the value";
    CFRelease(number);
    return {value, exact != 0};
}

template <class T>
Answer<T> readInteger(SInt64 stored, CFNumberType type)
{
    return read<T>(makeNumber(stored), type);
}

template <class T>
Answer<T> readReal(double stored, CFNumberType type)
{
    return read<T>(numberOf(kCFNumberFloat64Type, stored), type);
}

TEST_F(CFNumber, AnAliasIsStoredAsItsCanonicalType)
{
    const struct {
        CFNumberType given;
        CFNumberType stored;
    } rows[] = {{kCFNumberSInt8Type, kCFNumberSInt8Type},      {kCFNumberCharType, kCFNumberSInt8Type},
                {kCFNumberSInt16Type, kCFNumberSInt16Type},    {kCFNumberShortType, kCFNumberSInt16Type},
                {kCFNumberSInt32Type, kCFNumberSInt32Type},    {kCFNumberIntType, kCFNumberSInt32Type},
                {kCFNumberSInt64Type, kCFNumberSInt64Type},    {kCFNumberLongType, kCFNumberSInt64Type},
                {kCFNumberLongLongType, kCFNumberSInt64Type},  {kCFNumberCFIndexType, kCFNumberSInt64Type},
                {kCFNumberNSIntegerType, kCFNumberSInt64Type}, {kCFNumberFloat32Type, kCFNumberFloat32Type},
                {kCFNumberFloatType, kCFNumberFloat32Type},    {kCFNumberFloat64Type, kCFNumberFloat64Type},
                {kCFNumberDoubleType, kCFNumberFloat64Type},   {kCFNumberCGFloatType, kCFNumberFloat64Type}};
    for (const auto& row : rows) {
        CFNumberRef number = numberOf<SInt64>(row.given, 5);
        EXPECT_EQ(CFNumberGetType(number), row.stored) << "given as type " << row.given;
        CFRelease(number);
    }
}

TEST_F(CFNumber, OnlyAsManyBytesAreReadAsTheTypeHas)
{
    const SInt64 wide = 0x1122334455667788;
    EXPECT_EQ(read<SInt64>(numberOf(kCFNumberSInt8Type, wide), kCFNumberSInt64Type).value, -0x78);
    EXPECT_EQ(read<SInt64>(numberOf(kCFNumberSInt16Type, wide), kCFNumberSInt64Type).value, 0x7788);
    EXPECT_EQ(read<SInt64>(numberOf(kCFNumberSInt32Type, wide), kCFNumberSInt64Type).value, 0x55667788);
}

TEST_F(CFNumber, SmallWholeNumbersNeedNoObject)
{
    const long before = qrx::cf::liveObjects();
    const SInt64 limits[] = {0, 1, -1, INT32_MAX, INT32_MIN, (SInt64{1} << 59) - 1, -(SInt64{1} << 59)};
    for (const SInt64 value : limits) {
        CFNumberRef number = makeNumber(value);
        EXPECT_EQ(qrx::cf::liveObjects(), before) << value;
        EXPECT_EQ(read<SInt64>(number, kCFNumberSInt64Type), (Answer<SInt64>{value, true}));
    }
}

TEST_F(CFNumber, LargeWholeNumbersAreKeptWhole)
{
    const long before = qrx::cf::liveObjects();
    for (const SInt64 value : {SInt64{1} << 59, -(SInt64{1} << 59) - 1, INT64_MAX, INT64_MIN}) {
        CFNumberRef number = makeNumber(value);
        EXPECT_EQ(qrx::cf::liveObjects(), before + 1) << value;
        EXPECT_EQ(CFNumberGetType(number), kCFNumberSInt64Type);
        EXPECT_EQ(read<SInt64>(number, kCFNumberSInt64Type), (Answer<SInt64>{value, true}));
    }
}

TEST_F(CFNumber, AnIntegerAskedForIn32BitsIsCutToTheLowBits)
{
    EXPECT_EQ(readInteger<SInt32>(0xFFFFFFFF, kCFNumberSInt32Type), (Answer<SInt32>{-1, false}));
    EXPECT_EQ(readInteger<SInt32>(0x123456789, kCFNumberIntType), (Answer<SInt32>{0x23456789, false}));
    EXPECT_EQ(readInteger<SInt32>(-5, kCFNumberSInt32Type), (Answer<SInt32>{-5, true}));
    EXPECT_EQ(readInteger<SInt32>(INT64_MIN, kCFNumberSInt32Type), (Answer<SInt32>{0, false}));
}

TEST_F(CFNumber, ANarrowUnsignedValueCountsAsExact)
{
    EXPECT_EQ(readInteger<SInt8>(200, kCFNumberSInt8Type), (Answer<SInt8>{-56, true}));
    EXPECT_EQ(readInteger<SInt8>(255, kCFNumberCharType), (Answer<SInt8>{-1, true}));
    EXPECT_EQ(readInteger<SInt8>(256, kCFNumberSInt8Type), (Answer<SInt8>{0, false}));
    EXPECT_EQ(readInteger<SInt8>(-128, kCFNumberSInt8Type), (Answer<SInt8>{-128, true}));
    EXPECT_EQ(readInteger<SInt8>(-129, kCFNumberSInt8Type), (Answer<SInt8>{127, false}));
    EXPECT_EQ(readInteger<SInt16>(0xFFFF, kCFNumberSInt16Type), (Answer<SInt16>{-1, true}));
    EXPECT_EQ(readInteger<SInt16>(0x10000, kCFNumberShortType), (Answer<SInt16>{0, false}));
    EXPECT_EQ(readInteger<SInt16>(-32769, kCFNumberSInt16Type), (Answer<SInt16>{32767, false}));
}

TEST_F(CFNumber, AnIntegerAskedForAsRealIsTheNearest)
{
    const SInt64 odd = (SInt64{1} << 53) + 1;
    EXPECT_EQ(readInteger<double>(3, kCFNumberFloat64Type), (Answer<double>{3.0, true}));
    EXPECT_EQ(readInteger<double>(odd, kCFNumberDoubleType), (Answer<double>{9007199254740992.0, false}));
    EXPECT_EQ(readInteger<double>(INT64_MAX, kCFNumberFloat64Type), (Answer<double>{9223372036854775808.0, false}));
    EXPECT_EQ(readInteger<double>(INT64_MIN, kCFNumberCGFloatType), (Answer<double>{-9223372036854775808.0, true}));
    EXPECT_EQ(readInteger<float>(16777217, kCFNumberFloat32Type), (Answer<float>{16777216.0F, false}));
    EXPECT_EQ(readInteger<float>(INT64_MAX, kCFNumberFloatType), (Answer<float>{9223372036854775808.0F, false}));
}

TEST_F(CFNumber, ARealAskedForAsIntegerIsCutTowardZero)
{
    EXPECT_EQ(readReal<SInt32>(3.7, kCFNumberSInt32Type), (Answer<SInt32>{3, false}));
    EXPECT_EQ(readReal<SInt32>(-3.7, kCFNumberIntType), (Answer<SInt32>{-3, false}));
    EXPECT_EQ(readReal<SInt32>(-4.0, kCFNumberSInt32Type), (Answer<SInt32>{-4, true}));
    EXPECT_EQ(readReal<SInt64>(4.5e15, kCFNumberSInt64Type), (Answer<SInt64>{4500000000000000, true}));
    EXPECT_EQ(readReal<SInt8>(-128.5, kCFNumberSInt8Type), (Answer<SInt8>{-128, false}));
    EXPECT_EQ(read<SInt16>(numberOf(kCFNumberFloat32Type, 2.5F), kCFNumberSInt16Type), (Answer<SInt16>{2, false}));
}

TEST_F(CFNumber, ARealOutsideTheIntegersIsNeverExact)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(readReal<SInt32>(3e9, kCFNumberSInt32Type), (Answer<SInt32>{INT32_MAX, false}));
    EXPECT_EQ(readReal<SInt32>(-3e9, kCFNumberSInt32Type), (Answer<SInt32>{INT32_MIN, false}));
    EXPECT_EQ(readReal<SInt64>(9223372036854775808.0, kCFNumberSInt64Type), (Answer<SInt64>{INT64_MAX, false}));
    EXPECT_EQ(readReal<SInt64>(-INFINITY, kCFNumberLongType), (Answer<SInt64>{INT64_MIN, false}));
    EXPECT_EQ(readReal<SInt16>(nan, kCFNumberSInt16Type), (Answer<SInt16>{0, false}));
}

TEST_F(CFNumber, ARealAskedForAsFloatIsTheNearest)
{
    EXPECT_EQ(readReal<float>(0.5, kCFNumberFloat32Type), (Answer<float>{0.5F, true}));
    EXPECT_EQ(readReal<float>(0.1, kCFNumberFloatType), (Answer<float>{0.1F, false}));
    EXPECT_EQ(readReal<float>(1e300, kCFNumberFloat32Type), (Answer<float>{INFINITY, false}));
    EXPECT_EQ(readReal<double>(0.1, kCFNumberFloat64Type), (Answer<double>{0.1, true}));
    EXPECT_EQ(read<double>(numberOf(kCFNumberFloat32Type, 0.1F), kCFNumberFloat64Type),
              (Answer<double>{static_cast<double>(0.1F), true}));
}

TEST_F(CFNumber, EqualityIsByValueNotByType)
{
    const auto equal = [](CFNumberRef first, CFNumberRef second) {
        const bool same = CFEqual(first, second) != 0;
        if (same) {
            EXPECT_EQ(CFHash(first), CFHash(second));
        }
        CFRelease(first);
        CFRelease(second);
        return same;
    };
    EXPECT_TRUE(equal(numberOf<SInt8>(kCFNumberSInt8Type, 3), makeNumber(3)));
    EXPECT_TRUE(equal(numberOf(kCFNumberFloat64Type, 3.0), makeNumber(3)));
    EXPECT_TRUE(equal(makeCountedNumber(), makeCountedNumber()));
    EXPECT_TRUE(equal(numberOf(kCFNumberFloat32Type, 0.5F), numberOf(kCFNumberFloat64Type, 0.5)));
    EXPECT_TRUE(equal(numberOf(kCFNumberFloat64Type, -0.0), makeNumber(0)));
    EXPECT_FALSE(equal(numberOf(kCFNumberFloat64Type, 3.5), makeNumber(3)));
    EXPECT_FALSE(equal(numberOf(kCFNumberFloat64Type, 9223372036854775808.0), makeCountedNumber()));
    EXPECT_FALSE(equal(makeNumber(3), makeNumber(4)));
}

using CFNumberDeathTest = CFNumber;

TEST_F(CFNumberDeathTest, WhatIsNoNumberEndsTheProcess)
{
    const SInt32 value = 1;
    EXPECT_DEATH(CFNumberGetValue(nullptr, kCFNumberSInt32Type, nullptr), "CFNumberGetValue: null instead of a number");
    EXPECT_DEATH(CFNumberGetType(reinterpret_cast<CFNumberRef>(kCFBooleanTrue)), "a boolean instead of a number");
    EXPECT_DEATH(CFNumberGetValue(makeNumber(1), 99, nullptr), "CFNumberGetValue: no such number type");
    EXPECT_DEATH(CFNumberCreate(nullptr, 0, &value), "CFNumberCreate: no such number type");
    EXPECT_DEATH(CFNumberCreate(nullptr, kCFNumberSInt32Type, nullptr), "CFNumberCreate: null instead of a value");
}

} // namespace
