// The bytes of a descriptor as items. A short item begins with a prefix byte: two bits for the size of its data (0, 1,
// 2 or 4 bytes), two for its type, four for its tag; the data follows, little-endian. The prefix 0xFE begins a long
// item: a byte with the length of its data, a byte with its tag, then the data. No long item was ever defined, so these
// are stepped over. The reader knows nothing of what items mean, and it reads no byte that the descriptor does not
// have.

#include "ItemReader.h"

#include <array>

namespace qrx::hid {

namespace {

constexpr std::uint8_t kLongItemPrefix = 0xFE;

// A tag has four bits, so each table has 16 names and every tag finds one.
using Names = std::array<const char*, 16>;

constexpr const char* kReservedMain = "reserved main item";
constexpr Names kMainNames = {kReservedMain,    kReservedMain, kReservedMain, kReservedMain,
                              kReservedMain,    kReservedMain, kReservedMain, kReservedMain,
                              "Input",          "Output",      "Collection",  "Feature",
                              "End Collection", kReservedMain, kReservedMain, kReservedMain};

constexpr const char* kReservedGlobal = "reserved global item";
constexpr Names kGlobalNames = {"Usage Page",
                                "Logical Minimum",
                                "Logical Maximum",
                                "Physical Minimum",
                                "Physical Maximum",
                                "Unit Exponent",
                                "Unit",
                                "Report Size",
                                "Report ID",
                                "Report Count",
                                "Push",
                                "Pop",
                                kReservedGlobal,
                                kReservedGlobal,
                                kReservedGlobal,
                                kReservedGlobal};

constexpr const char* kReservedLocal = "reserved local item";
constexpr Names kLocalNames = {
    "Usage",        "Usage Minimum", "Usage Maximum",  "Designator Index", "Designator Minimum", "Designator Maximum",
    kReservedLocal, "String Index",  "String Minimum", "String Maximum",   "Delimiter",          kReservedLocal,
    kReservedLocal, kReservedLocal,  kReservedLocal,   kReservedLocal};

} // namespace

std::int32_t Item::signedData() const
{
    // The size of the data decides about the sign bit (6.2.2.2): 0xFF in one byte is -1, in two bytes 255.
    switch (dataBytes) {
    case 1:
        return static_cast<std::int8_t>(data);
    case 2:
        return static_cast<std::int16_t>(data);
    default:
        return static_cast<std::int32_t>(data);
    }
}

const char* Item::name() const
{
    switch (type) {
    case ItemType::main:
        return kMainNames[tag & 0xFU];
    case ItemType::global:
        return kGlobalNames[tag & 0xFU];
    case ItemType::local:
        return kLocalNames[tag & 0xFU];
    case ItemType::reserved:
        break;
    }
    return isLong ? "long item" : "reserved item";
}

ItemReader::Outcome ItemReader::next(Item& item)
{
    if (_position >= _bytes.size()) {
        return Outcome::end;
    }
    const std::uint8_t prefix = _bytes[_position];
    // Cleared for each item: data of fewer than four bytes is put together by "or" below.
    item = Item{};
    item.offset = _position++;
    item.type = static_cast<ItemType>(prefix >> 2 & 3U);
    item.tag = static_cast<std::uint8_t>(prefix >> 4);
    if (prefix == kLongItemPrefix) {
        return _skipLongItem(item);
    }

    // HID 1.11, 6.2.2.2: the size code 3 means four bytes.
    const unsigned sizeCode = prefix & 3U;
    item.dataBytes = static_cast<std::uint8_t>(sizeCode == 3 ? 4 : sizeCode);
    if (_bytes.size() - _position < item.dataBytes) {
        return Outcome::truncated;
    }
    for (unsigned i = 0; i < item.dataBytes; ++i) {
        item.data |= std::uint32_t{_bytes[_position + i]} << (8 * i);
    }
    _position += item.dataBytes;
    return Outcome::item;
}

ItemReader::Outcome ItemReader::_skipLongItem(Item& item)
{
    constexpr std::size_t kHeaderBytes = 2; // length and tag
    item.isLong = true;
    if (_bytes.size() - _position < kHeaderBytes) {
        return Outcome::truncated;
    }
    const std::size_t length = _bytes[_position];
    // A long item's tag replaces the four bits of the prefix, which are the same for all long items.
    item.tag = _bytes[_position + 1];
    _position += kHeaderBytes;
    if (_bytes.size() - _position < length) {
        return Outcome::truncated;
    }
    _position += length;
    return Outcome::item;
}

} // namespace qrx::hid
