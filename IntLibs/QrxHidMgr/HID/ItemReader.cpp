#include "ItemReader.h"

#include <array>

namespace qrx::hid {

namespace {

constexpr std::uint8_t kLongItemPrefix = 0xFE;

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
    item.tag = _bytes[_position + 1];
    _position += kHeaderBytes;
    if (_bytes.size() - _position < length) {
        return Outcome::truncated;
    }
    _position += length;
    return Outcome::item;
}

} // namespace qrx::hid
