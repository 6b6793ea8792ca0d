#include "descriptor/ItemScope.h"

#include "HID/ItemReader.h"
#include "HID/ReportDescriptor.h"

#include <algorithm>
#include <map>
#include <utility>

namespace qrxhid {

namespace {

using qrx::hid::Field;
using qrx::hid::Item;
using qrx::hid::ItemReader;
using qrx::hid::ItemType;
namespace tag = qrx::hid::tag;

constexpr unsigned kPageShift = 16;

/// Follows the state that main items are read with (HID 1.11, 6.2.2.4), as indexes of the items that have set it.
class ScopeReader {
public:
    explicit ScopeReader(std::span<const std::uint8_t> descriptor)
        : _described(qrx::hid::parseReportDescriptor(descriptor))
    {
        // Where a field lies is left to the parser, so that what is marked here is what the library reads.
        for (const Field& field : _described.fields) {
            _fields[field.offset] = &field;
        }
    }

    void read(const Item& item)
    {
        const std::size_t index = _scopes.size();
        // One for each item, reserved ones too, so that an item and its scope have the same index.
        _scopes.emplace_back();
        switch (item.type) {
        case ItemType::main:
            readMain(item, index);
            break;
        case ItemType::global:
            readGlobal(item, index);
            break;
        case ItemType::local:
            readLocal(item, index);
            break;
        case ItemType::reserved:
            break;
        }
    }

    /// After the last item.
    std::vector<ItemScope> take()
    {
        // Without any item in force: all that still reach end here.
        setGlobals({}, _scopes.size());
        return std::move(_scopes);
    }

private:
    struct Globals {
        /// By their tags.
        std::map<std::uint8_t, std::size_t> items;
        std::uint32_t usagePage = 0;
    };
    /// A Collection item, its local items before it.
    using OpenCollection = std::vector<std::size_t>;

    void readMain(const Item& item, std::size_t index)
    {
        _locals.push_back(index);
        if (item.tag == tag::kCollection) {
            _collections.push_back(std::exchange(_locals, {}));
        } else if (item.tag == tag::kEndCollection && !_collections.empty()) {
            // The Collection item stands behind its local items.
            const std::size_t first = _collections.back().back();
            reachFrom(_collections.back(), {first, index});
            _scopes[index].reach.push_back({first, index});
            _collections.pop_back();
        } else if (const auto found = _fields.find(item.offset); found != _fields.end()) {
            _scopes[index].bits = bitsOf(*found->second);
            reachFrom(_locals, {index, index});
        }
        _locals.clear();
        _usageMinimum.reset();
    }

    void reachFrom(const std::vector<std::size_t>& items, const ItemRange& range)
    {
        for (const std::size_t one : items) {
            _scopes[one].reach.push_back(range);
        }
    }

    static DeclaredBits bitsOf(const Field& field)
    {
        constexpr std::size_t kReportIDBits = 8;
        return {static_cast<QrxReportType>(field.type), field.reportID,
                field.bitOffset + (field.reportID == 0 ? 0 : kReportIDBits), std::size_t{field.count} * field.sizeBits};
    }

    void readGlobal(const Item& item, std::size_t index)
    {
        Globals next = _globals;
        if (item.tag == tag::kPush) {
            // As deep as the parser goes; what it drops, this must drop as well.
            if (_pushed.size() < qrx::hid::Limits().globalStackDepth) {
                _pushed.push_back(_globals);
            }
        } else if (item.tag == tag::kPop) {
            if (!_pushed.empty()) {
                next = std::move(_pushed.back());
                _pushed.pop_back();
            }
        } else {
            next.items[item.tag] = index;
            next.usagePage = item.tag == tag::kUsagePage ? item.data : next.usagePage;
        }
        setGlobals(std::move(next), index);
    }

    /// From the item at `index` on, these are in force.
    void setGlobals(Globals next, std::size_t index)
    {
        for (const auto& [tagOfItem, item] : _globals.items) {
            const auto kept = next.items.find(tagOfItem);
            if (kept == next.items.end() || kept->second != item) {
                _scopes[item].reach.back().last = index - 1;
            }
        }
        for (const auto& [tagOfItem, item] : next.items) {
            const auto before = _globals.items.find(tagOfItem);
            if (before == _globals.items.end() || before->second != item) {
                _scopes[item].reach.push_back({index, index});
            }
        }
        _globals = std::move(next);
    }

    void readLocal(const Item& item, std::size_t index)
    {
        _locals.push_back(index);
        const std::uint32_t usage =
            item.dataBytes == sizeof item.data ? item.data : _globals.usagePage << kPageShift | item.data;
        if (item.tag == tag::kUsage) {
            setUsages(index, usage, usage);
        } else if (item.tag == tag::kUsageMinimum) {
            setUsages(index, usage, usage);
            _usageMinimum = index;
        } else if (item.tag == tag::kUsageMaximum) {
            // Both items of a range tell of all of it. A maximum without its minimum names a single usage.
            const std::uint32_t first = _usageMinimum ? *_scopes[*_usageMinimum].firstUsage : usage;
            setUsages(index, first, usage);
            setUsages(_usageMinimum.value_or(index), first, usage);
            _usageMinimum.reset();
        }
    }

    void setUsages(std::size_t index, std::uint32_t first, std::uint32_t last)
    {
        _scopes[index].firstUsage = first;
        _scopes[index].lastUsage = last;
    }

    const qrx::hid::Descriptor _described;
    /// By the offsets of their items.
    std::map<std::size_t, const Field*> _fields;
    std::vector<ItemScope> _scopes;
    Globals _globals;
    std::vector<Globals> _pushed;
    std::vector<std::size_t> _locals;
    /// The Usage Minimum that waits for its maximum.
    std::optional<std::size_t> _usageMinimum;
    std::vector<OpenCollection> _collections;
};

} // namespace

std::vector<ItemScope> itemScopes(std::span<const std::uint8_t> descriptor)
{
    // The parser looks at no more either.
    descriptor = descriptor.first(std::min(descriptor.size(), qrx::hid::Limits().descriptorBytes));
    ScopeReader reader(descriptor);
    ItemReader items(descriptor);
    Item item;
    while (items.next(item) == ItemReader::Outcome::item) {
        reader.read(item);
    }
    return reader.take();
}

} // namespace qrxhid
