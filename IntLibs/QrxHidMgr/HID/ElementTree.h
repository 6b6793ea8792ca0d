#pragma once

/// The elements of a HID interface as the platform numbers and nests them, made from a parsed report descriptor.
///
/// Plain records: the registry turns each into the property dictionary of the same keys. Cookies are positions in one
/// table: 0 the (unpublished) root, then the collections in descriptor order, then button elements (input, output,
/// feature), then value elements (the same), then one handler per report number, also for a number that only output or
/// feature reports use, and before them one for unnumbered input if there is any.

#include "ReportDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qrx::hid {

/// The platform's element types.
enum class ElementType : std::uint32_t {
    inputMisc = 1,
    inputButton = 2,
    output = 129,
    feature = 257,
    collection = 513
};

/// Usage of array heads and their slots.
constexpr std::uint32_t kNoUsage = 0xFFFFFFFF;

/// The offset of a usage of a variable field for which the item declares no value: it reads as 0. The offset lies
/// beyond any report, is -1 in a signed 32-bit property, and is safe to add to: a size_t does not wrap round.
constexpr std::size_t kNoBitOffset = 0xFFFFFFFF;

/// A duplicate whose head counts more than this is numbered but not published.
constexpr std::uint32_t kMaximumPublishedDuplicates = 32;

enum class ElementRole : std::uint8_t {
    collection,
    field,         ///< a variable field, or the head of its duplicates
    duplicate,     ///< one of the fields that a head with a count above 1 stands for
    arrayHead,     ///< an array as a whole
    arraySlot,     ///< one of the places of an array
    arraySelector, ///< one usage that an array can show; 1 bit, has no place of its own in the report
    reportHandler  ///< a whole input report
};

struct Element {
    std::uint32_t cookie = 0;
    ElementRole role = ElementRole::field;
    ElementType type = ElementType::inputMisc;
    std::uint32_t usagePage = 0;
    std::uint32_t usage = 0;
    std::uint32_t reportID = 0;
    /// Collections only.
    std::uint32_t collectionType = 0;
    /// Bits of one value, and how many values.
    std::uint32_t reportSize = 0;
    std::uint32_t reportCount = 1;
    std::uint32_t flags = 0;
    /// The logical range, in 32 bits: an unsigned maximum above 0x7FFFFFFF is negative here.
    std::int32_t min = 0;
    std::int32_t max = 0;
    std::int32_t scaledMin = 0;
    std::int32_t scaledMax = 0;
    std::uint32_t unit = 0;
    /// The item's value: -2 is 14 where the device codes it as a nibble.
    std::int32_t unitExponent = 0;
    std::optional<std::uint32_t> duplicateIndex;
    /// Selectors only: which of the usages of its array.
    std::uint32_t usagePosition = 0;
    /// Byte offset of the main item in the descriptor. Not for collections and report handlers.
    std::uint32_t itemOffset = 0;
    /// Where the value begins: from the first bit of the report as it travels, so the byte with the report's number is
    /// counted where there is one. A selector has its array's.
    std::size_t bitOffset = 0;
    /// False for duplicates beyond kMaximumPublishedDuplicates.
    bool isPublished = true;
    /// Cookies of the children, collections first, then elements in cookie order; they belong to the tree. Collections
    /// only; unpublished ones are not listed.
    std::span<const std::uint32_t> children;

    /// "Size": bits of all values together.
    std::uint32_t sizeBits() const { return reportSize * reportCount; }
};

struct UsagePair {
    std::uint32_t usagePage = 0;
    std::uint32_t usage = 0;
    bool operator==(const UsagePair&) const = default;
};

/// Moved and not copied: elements refer to its list of children.
struct ElementTree {
    ElementTree() = default;
    ElementTree(ElementTree&&) = default;
    ElementTree& operator=(ElementTree&&) = default;

    /// By cookie; entry 0 is the root, whose children are the top-level elements.
    std::vector<Element> elements;
    /// The children of all collections, one list after the other.
    std::vector<std::uint32_t> children;
    /// Cookies of the report handlers, in report table order ("InputReportElements").
    std::vector<std::uint32_t> reportHandlers;
    /// The usage of the first top-level collection.
    UsagePair primaryUsage;
    /// The usages of every application and physical collection, without repeats ("DeviceUsagePairs").
    std::vector<UsagePair> usagePairs;
    /// Bytes of the longest report of each kind as it travels. With report numbers each is at least 1.
    std::uint32_t maxInputReportSize = 0;
    std::uint32_t maxOutputReportSize = 0;
    std::uint32_t maxFeatureReportSize = 0;
    bool usesReportIDs = false;

    /// False where the descriptor has no input, output or feature item that could travel: such an interface is not
    /// published.
    bool hasFields = false;
};

/// Entries of the descriptor's table, if there were no limit.
std::uint64_t wantedElements(const Descriptor& descriptor);

/// Linear in the number of elements, which `limits` bounds: where there are too many, first the unpublished duplicates
/// are left out, then the largest items are cut, each with a diagnosis added to `descriptor`. Reports whose number does
/// not fit a byte can never travel and make no elements, nor do fields without bits.
ElementTree buildElementTree(Descriptor& descriptor, const Limits& limits = {});

/// The value at `bitOffset` of `sizeBits` (0 to 32), little-endian, sign-extended if asked. Bits past the end of the
/// report read as 0.
std::int32_t extractValue(std::span<const std::uint8_t> report, std::size_t bitOffset, std::uint32_t sizeBits,
                          bool isSigned);

} // namespace qrx::hid
