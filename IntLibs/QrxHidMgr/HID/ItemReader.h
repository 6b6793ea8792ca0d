#pragma once

/// Cuts a report descriptor into its items (HID 1.11, 6.2.2.1 to 6.2.2.3).

#include <cstddef>
#include <cstdint>
#include <span>

namespace qrx::hid {

enum class ItemType : std::uint8_t { main = 0, global = 1, local = 2, reserved = 3 };

namespace tag {
constexpr std::uint8_t kInput = 0x8;
constexpr std::uint8_t kOutput = 0x9;
constexpr std::uint8_t kCollection = 0xA;
constexpr std::uint8_t kFeature = 0xB;
constexpr std::uint8_t kEndCollection = 0xC;

constexpr std::uint8_t kUsagePage = 0x0;
constexpr std::uint8_t kLogicalMinimum = 0x1;
constexpr std::uint8_t kLogicalMaximum = 0x2;
constexpr std::uint8_t kPhysicalMinimum = 0x3;
constexpr std::uint8_t kPhysicalMaximum = 0x4;
constexpr std::uint8_t kUnitExponent = 0x5;
constexpr std::uint8_t kUnit = 0x6;
constexpr std::uint8_t kReportSize = 0x7;
constexpr std::uint8_t kReportID = 0x8;
constexpr std::uint8_t kReportCount = 0x9;
constexpr std::uint8_t kPush = 0xA;
constexpr std::uint8_t kPop = 0xB;

constexpr std::uint8_t kUsage = 0x0;
constexpr std::uint8_t kUsageMinimum = 0x1;
constexpr std::uint8_t kUsageMaximum = 0x2;
constexpr std::uint8_t kDesignatorIndex = 0x3;
constexpr std::uint8_t kDesignatorMinimum = 0x4;
constexpr std::uint8_t kDesignatorMaximum = 0x5;
constexpr std::uint8_t kStringIndex = 0x7;
constexpr std::uint8_t kStringMinimum = 0x8;
constexpr std::uint8_t kStringMaximum = 0x9;
constexpr std::uint8_t kDelimiter = 0xA;
} // namespace tag

/// One item. A long item has its tag and no data: none is defined, so none is ever read.
struct Item {
    /// Where its first byte stands in the descriptor.
    std::size_t offset = 0;
    ItemType type = ItemType::main;
    std::uint8_t tag = 0;
    /// 0, 1, 2 or 4.
    std::uint8_t dataBytes = 0;
    bool isLong = false;
    std::uint32_t data = 0;

    /// Extended from the item's own width: one byte 0xFF is -1.
    std::int32_t signedData() const;
    /// As HID 1.11 spells it ("Usage Maximum"); a static string.
    const char* name() const;
};

class ItemReader {
public:
    enum class Outcome : std::uint8_t { item, end, truncated };

    /// `bytes` must outlive the reader.
    explicit ItemReader(std::span<const std::uint8_t> bytes) : _bytes(bytes) {}

    /// Reads the next item. Where the bytes end inside it, `item` has its place and type, and the reader must not be
    /// asked again: it would take the data for items.
    Outcome next(Item& item);

private:
    Outcome _skipLongItem(Item& item);

    std::span<const std::uint8_t> _bytes;
    std::size_t _position = 0;
};

} // namespace qrx::hid
