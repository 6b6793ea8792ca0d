// Numbers. A whole number is kept as a sign-extended 64-bit value together with the type that it was made of. Most fit
// into the reference itself (TaggedNumber.h) and cost nothing; nearly every property of a device is one of these. What
// does not fit, and every real number, is an object on the heap. Reals are kept as a double, which holds every float
// exactly.
//
// Reading converts between all types. The result says whether the conversion was exact, and a value is stored in
// either case: the nearest real, the low bits of an integer, a real cut toward zero.

#include "TaggedNumber.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

using namespace qrx::cf;

struct __CFNumber : Object {
    static constexpr Type kType = Type::number;

    __CFNumber(CFNumberType kind, std::int64_t integer) : Object(kType, kMortal), _kind(kind), _integer(integer) {}
    __CFNumber(CFNumberType kind, double real) : Object(kType, kMortal), _kind(kind), _real(real) {}

    const CFNumberType _kind;
    union {
        const std::int64_t _integer;
        const double _real;
    };
};

namespace {

constexpr std::uintptr_t kTypeMask = 3;
// The smallest real above every 64-bit integer; as a double it is exact, which the largest integer is not.
constexpr double kTwoTo63 = 9223372036854775808.0;

struct NumberContent {
    CFNumberType type;
    std::int64_t integer; ///< of a whole number
    double real;          ///< of a real number

    bool isReal() const { return type == kCFNumberFloat32Type || type == kCFNumberFloat64Type; }
};

/// The type without its aliases, by its width here (LP64: a long has 64 bits).
CFNumberType canonicalType(CFNumberType type, const char* function)
{
    constexpr CFNumberType kOfLong = sizeof(long) == 8 ? kCFNumberSInt64Type : kCFNumberSInt32Type;
    switch (type) {
    case kCFNumberCharType:
        return kCFNumberSInt8Type;
    case kCFNumberShortType:
        return kCFNumberSInt16Type;
    case kCFNumberIntType:
        return kCFNumberSInt32Type;
    case kCFNumberLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
        return kOfLong;
    case kCFNumberLongLongType:
        return kCFNumberSInt64Type;
    case kCFNumberFloatType:
        return kCFNumberFloat32Type;
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
        return kCFNumberFloat64Type;
    default:
        break;
    }
    // The types of fixed width are the first six of the published numbering.
    if (type < kCFNumberSInt8Type || type > kCFNumberFloat64Type) {
        fail(function, "no such number type");
    }
    return type;
}

std::int64_t taggedValue(CFNumberRef number)
{
    // An arithmetic shift: the sign is in the top bit of the reference.
    return reinterpret_cast<std::intptr_t>(number) >> kTagBits;
}

NumberContent contentOf(CFNumberRef number, const char* function)
{
    if (isTagged(number)) {
        const auto bits = reinterpret_cast<std::uintptr_t>(number);
        const auto type = static_cast<CFNumberType>(((bits >> 1) & kTypeMask) + kCFNumberSInt8Type);
        return {type, taggedValue(number), 0};
    }
    const auto& heap = checked<__CFNumber>(number, function);
    const bool real = heap._kind == kCFNumberFloat32Type || heap._kind == kCFNumberFloat64Type;
    return real ? NumberContent{heap._kind, 0, heap._real} : NumberContent{heap._kind, heap._integer, 0};
}

CFNumberRef makeInteger(CFNumberType type, std::int64_t value)
{
    return fitsTag(value) ? taggedNumber(type, value) : create<__CFNumber>(0, type, value);
}

template <class T>
T readAs(const void* value)
{
    // The caller's value may be at any address.
    T read;
    std::memcpy(&read, value, sizeof read);
    return read;
}

template <class T>
void storeAs(T value, void* target)
{
    if (target != nullptr) {
        std::memcpy(target, &value, sizeof value);
    }
}

/// Cuts to the low bits.
// Deliberate: a small unsigned value (200 asked for in 8 bits, read as -56) counts as exact, in 32 bits it does not.
template <class T>
bool storeInteger(std::int64_t value, void* target)
{
    const auto low = static_cast<T>(value);
    storeAs(low, target);
    if constexpr (sizeof(T) < sizeof(std::int32_t)) {
        return low == value || static_cast<std::make_unsigned_t<T>>(low) == value;
    } else {
        return low == value;
    }
}

/// Cuts toward zero. Where the language leaves the result open: the nearest limit, and 0 for what is no number.
template <class T>
bool storeTruncated(double value, void* target)
{
    constexpr auto kLow = std::numeric_limits<T>::min();
    constexpr auto kHigh = std::numeric_limits<T>::max();
    // A power of two is exact in a double, while the largest integer itself is not; so the limit is compared with ">=".
    const double limit = std::ldexp(1.0, std::numeric_limits<T>::digits);
    const double whole = std::trunc(value);
    T result = 0;
    bool inRange = false;
    if (whole >= limit) {
        result = kHigh;
    } else if (whole < -limit) {
        result = kLow;
    } else if (!std::isnan(whole)) {
        result = static_cast<T>(whole);
        inRange = true;
    }
    storeAs(result, target);
    return inRange && whole == value;
}

template <class T>
bool storeReal(std::int64_t value, void* target)
{
    const auto nearest = static_cast<T>(value);
    storeAs(nearest, target);
    // The nearest real of the largest integers is 2^63, which does not convert back.
    return nearest < static_cast<T>(kTwoTo63) && static_cast<std::int64_t>(nearest) == value;
}

bool storeFloat(double value, void* target)
{
    const auto nearest = static_cast<float>(value);
    storeAs(nearest, target);
    return static_cast<double>(nearest) == value || std::isnan(value);
}

bool storeOfInteger(std::int64_t value, CFNumberType type, void* target)
{
    switch (type) {
    case kCFNumberSInt8Type:
        return storeInteger<std::int8_t>(value, target);
    case kCFNumberSInt16Type:
        return storeInteger<std::int16_t>(value, target);
    case kCFNumberSInt32Type:
        return storeInteger<std::int32_t>(value, target);
    case kCFNumberFloat32Type:
        return storeReal<float>(value, target);
    case kCFNumberFloat64Type:
        return storeReal<double>(value, target);
    default:
        return storeInteger<std::int64_t>(value, target);
    }
}

bool storeOfReal(double value, CFNumberType type, void* target)
{
    switch (type) {
    case kCFNumberSInt8Type:
        return storeTruncated<std::int8_t>(value, target);
    case kCFNumberSInt16Type:
        return storeTruncated<std::int16_t>(value, target);
    case kCFNumberSInt32Type:
        return storeTruncated<std::int32_t>(value, target);
    case kCFNumberFloat32Type:
        return storeFloat(value, target);
    case kCFNumberFloat64Type:
        storeAs(value, target);
        return true;
    default:
        return storeTruncated<std::int64_t>(value, target);
    }
}

/// A real number that is whole compares as an integer, so that 3 equals 3.0 without loss for any size.
NumberContent wholeIfPossible(NumberContent content)
{
    if (content.isReal() && std::trunc(content.real) == content.real && content.real >= -kTwoTo63 &&
        content.real < kTwoTo63) {
        return {kCFNumberSInt64Type, static_cast<std::int64_t>(content.real), 0};
    }
    return content;
}

bool equalNumbers(CFTypeRef first, CFTypeRef second)
{
    const auto a = wholeIfPossible(contentOf(static_cast<CFNumberRef>(first), "CFEqual"));
    const auto b = wholeIfPossible(contentOf(static_cast<CFNumberRef>(second), "CFEqual"));
    // One is whole and the other is not, or lies beyond all integers: they differ.
    if (a.isReal() != b.isReal()) {
        return false;
    }
    return a.isReal() ? a.real == b.real || (std::isnan(a.real) && std::isnan(b.real)) : a.integer == b.integer;
}

CFHashCode hashNumber(CFTypeRef number)
{
    const auto content = wholeIfPossible(contentOf(static_cast<CFNumberRef>(number), "CFHash"));
    if (!content.isReal()) {
        return static_cast<CFHashCode>(content.integer);
    }
    // NaNs count as equal here, whatever their bits, so they need one common hash.
    return std::isnan(content.real) ? 1 : static_cast<CFHashCode>(std::bit_cast<std::uint64_t>(content.real));
}

} // namespace

const TypeOperations qrx::cf::kNumberOperations{"a number", dispose<__CFNumber>, equalNumbers, hashNumber};

CFTypeID CFNumberGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::number);
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value)
{
    const CFNumberType canonical = canonicalType(type, "CFNumberCreate");
    if (value == nullptr) {
        fail("CFNumberCreate", "null instead of a value");
    }
    switch (canonical) {
    case kCFNumberSInt8Type:
        return makeInteger(canonical, readAs<std::int8_t>(value));
    case kCFNumberSInt16Type:
        return makeInteger(canonical, readAs<std::int16_t>(value));
    case kCFNumberSInt32Type:
        return makeInteger(canonical, readAs<std::int32_t>(value));
    case kCFNumberFloat32Type:
        return create<__CFNumber>(0, canonical, static_cast<double>(readAs<float>(value)));
    case kCFNumberFloat64Type:
        return create<__CFNumber>(0, canonical, readAs<double>(value));
    default:
        return makeInteger(canonical, readAs<std::int64_t>(value));
    }
}

CFNumberType CFNumberGetType(CFNumberRef number)
{
    return contentOf(number, "CFNumberGetType").type;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value)
{
    if (isTagged(number) && type == kCFNumberSInt32Type) {
        // How nearly every property is read.
        return storeInteger<std::int32_t>(taggedValue(number), value);
    }
    const NumberContent content = contentOf(number, "CFNumberGetValue");
    const CFNumberType canonical = canonicalType(type, "CFNumberGetValue");
    return content.isReal() ? storeOfReal(content.real, canonical, value)
                            : storeOfInteger(content.integer, canonical, value);
}
