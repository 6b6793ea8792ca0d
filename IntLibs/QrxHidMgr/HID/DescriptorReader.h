#pragma once

/// One pass over a report descriptor: the state machine of HID 1.11, 6.2.2.

#include "DiagnosisLog.h"
#include "GlobalState.h"
#include "ItemReader.h"
#include "LocalItems.h"
#include "PlacesByNumber.h"
#include "ReportDescriptor.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qrx::hid {

/// Used once, for one descriptor.
class DescriptorReader {
public:
    explicit DescriptorReader(const Limits& limits) : _limits(limits), _log(_descriptor, limits), _locals(_log) {}
    DescriptorReader(const DescriptorReader&) = delete;
    DescriptorReader& operator=(const DescriptorReader&) = delete;

    Descriptor read(std::span<const std::uint8_t> bytes);

private:
    void _takeMain(const Item& item);
    void _takeGlobal(const Item& item);
    void _takeReportID(const Item& item);
    void _push(const Item& item);
    void _pop(const Item& item);

    void _openCollection(const Item& item);
    void _closeCollection(const Item& item);
    void _addField(const Item& item, ReportType type);
    void _checkField(const Item& item, const Field& field);
    void _checkRange(const Item& item, const Field& field);
    /// The usages waiting, joined with the current page.
    std::vector<UsageRange> _takeUsages(const Item& item);
    std::size_t _reportIndex(ReportType type);
    void _finish(std::size_t end);

    const Limits& _limits;
    Descriptor _descriptor;
    DiagnosisLog _log;
    LocalItems _locals;
    GlobalState _global;
    std::vector<GlobalState> _pushed;
    /// Pushes and collections beyond their limits. They are counted so that the items that close them are not taken for
    /// those that close others.
    std::size_t _lostPushes = 0;
    std::size_t _lostCollections = 0;
    /// Indices of the open collections, the innermost last.
    std::vector<std::size_t> _open;
    /// Indices in `_descriptor.reports`, by number and type.
    PlacesByNumber _reportsByKey;
    /// By report index: bits of its fields, with the first one that did not fit. Above the limit no field is kept.
    std::vector<std::uint64_t> _wantedBits;
    /// Indices in `_descriptor.reportIDs`.
    PlacesByNumber _knownIDs;
    /// Offset of the first field before any Report ID item.
    std::optional<std::size_t> _unnumberedField;
};

} // namespace qrx::hid
