// Items one by one, as they are written: no item is judged or joined with others, so that what a descriptor says can be
// compared with what is made of it.

#include "descriptor/ItemText.h"

#include "text/TextFormat.h"
#include "text/UnitText.h"
#include "text/UsageNames.h"

#include "HID/ItemReader.h"

#include <algorithm>
#include <array>

namespace qrxhid {

namespace {

using qrx::hid::Item;
using qrx::hid::ItemReader;
using qrx::hid::ItemType;
namespace tag = qrx::hid::tag;

/// The words of a main item's bits, HID 1.11, 6.2.2.5: for 0 and for 1.
struct FlagPair {
    const char* off;
    const char* on;
};
// The three bits by which fields are spoken of; those below are told where they are set.
constexpr std::array<FlagPair, 3> kAlwaysTold = {
    {{"Data", "Constant"}, {"Array", "Variable"}, {"Absolute", "Relative"}}};
constexpr std::array<const char*, 6> kToldIfSet = {"Wrap",       "Non Linear", "No Preferred",
                                                   "Null State", "Volatile",   "Buffered Bytes"};
constexpr std::array<const char*, 7> kCollections = {"Physical",    "Application",  "Logical",       "Report",
                                                     "Named Array", "Usage Switch", "Usage Modifier"};

std::string flagsText(std::uint32_t flags)
{
    std::string text;
    for (std::size_t bit = 0; bit < kAlwaysTold.size(); ++bit) {
        text +=
            (bit == 0 ? "" : ", ") + std::string((flags >> bit & 1U) != 0 ? kAlwaysTold[bit].on : kAlwaysTold[bit].off);
    }
    // Bits beyond the ninth are reserved and have no word.
    for (std::size_t bit = 0; bit < kToldIfSet.size(); ++bit) {
        if ((flags >> (bit + kAlwaysTold.size()) & 1U) != 0) {
            text += std::string(", ") + kToldIfSet[bit];
        }
    }
    return text;
}

std::string collectionText(std::uint32_t type)
{
    // 0x80 to 0xff are the vendor's.
    return type < kCollections.size() ? kCollections[type] : hexText(type, 2);
}

/// Puts items into words; what earlier items have set is kept as far as later ones are read by it.
class Reader {
public:
    std::string meaningOf(const Item& item)
    {
        switch (item.type) {
        case ItemType::main:
            return mainText(item);
        case ItemType::global:
            return globalText(item);
        case ItemType::local:
            return localText(item);
        case ItemType::reserved:
            break;
        }
        // A reserved item has no meaning to tell; its data are shown as they are.
        return item.dataBytes == 0 ? "" : hexText(item.data, 2);
    }

private:
    static std::string mainText(const Item& item)
    {
        switch (item.tag) {
        case tag::kCollection:
            return collectionText(item.data);
        case tag::kEndCollection:
            return "";
        default:
            return flagsText(item.data);
        }
    }

    std::string globalText(const Item& item)
    {
        switch (item.tag) {
        case tag::kUsagePage:
            _page = item.data;
            return usagePageName(_page);
        case tag::kLogicalMinimum:
        case tag::kPhysicalMinimum:
            // One minimum for both kinds: a maximum is read by the minimum that was written last, mostly just before.
            _minimum = item.signedData();
            return std::to_string(_minimum);
        case tag::kLogicalMaximum:
        case tag::kPhysicalMaximum: {
            // Where the minimum is not negative, a maximum below it can only be meant without a sign.
            const bool isUnsigned = _minimum >= 0 && item.signedData() < _minimum;
            return isUnsigned ? std::to_string(item.data) : std::to_string(item.signedData());
        }
        case tag::kUnitExponent:
            return std::to_string(item.signedData());
        case tag::kUnit:
            return item.data == 0 ? "none" : unitText(item.data, 0);
        case tag::kPush:
        case tag::kPop:
            return "";
        default:
            return std::to_string(item.data);
        }
    }

    std::string localText(const Item& item) const
    {
        constexpr std::uint8_t kExtendedBytes = 4;
        constexpr unsigned kPageShift = 16;
        constexpr std::uint32_t kUsageIDMask = 0xFFFF;
        switch (item.tag) {
        case tag::kUsage:
        case tag::kUsageMinimum:
        case tag::kUsageMaximum:
            // Under a page that is set just above, naming it again would only be noise.
            return item.dataBytes == kExtendedBytes ? usageText(item.data >> kPageShift, item.data & kUsageIDMask)
                                                    : usageName(_page, item.data);
        case tag::kDelimiter:
            return item.data == 1 ? "Open" : "Close";
        default:
            return std::to_string(item.data);
        }
    }

    std::uint32_t _page = 0;
    std::int64_t _minimum = 0;
};

} // namespace

std::vector<ItemText> itemTexts(std::span<const std::uint8_t> descriptor)
{
    std::vector<ItemText> texts;
    ItemReader items(descriptor);
    Reader reader;
    std::size_t depth = 0;
    Item item;
    for (auto outcome = items.next(item); outcome != ItemReader::Outcome::end; outcome = items.next(item)) {
        const bool isCut = outcome == ItemReader::Outcome::truncated;
        const bool isMain = !isCut && item.type == ItemType::main;
        // The end of a collection stands as far left as its beginning; an end too many does not go beyond the margin.
        depth -= isMain && item.tag == tag::kEndCollection && depth > 0 ? 1 : 0;
        texts.push_back({item.offset, {}, depth, item.name(), isCut ? "cut off by the end" : reader.meaningOf(item)});
        // After the Collection item itself, which stands outside of what it opens.
        depth += isMain && item.tag == tag::kCollection ? 1 : 0;
        if (isCut) {
            break;
        }
    }
    // Items follow each other without a gap, so each one ends where the next begins.
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::size_t end = i + 1 < texts.size() ? texts[i + 1].offset : descriptor.size();
        const auto bytes = descriptor.subspan(texts[i].offset, end - texts[i].offset);
        texts[i].bytes.assign(bytes.begin(), bytes.end());
    }
    return texts;
}

} // namespace qrxhid
