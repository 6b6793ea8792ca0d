#pragma once

/// The local items that wait for their main item (HID 1.11, 6.2.2.8): usages, and the balance of designator and string
/// ranges, whose values no element needs.

#include "DiagnosisLog.h"
#include "ItemReader.h"
#include "ReportDescriptor.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace qrx::hid {

class LocalItems {
public:
    explicit LocalItems(DiagnosisLog& log) : _log(log) {}

    /// Takes one local item; `usagePage` is the page in force where it stands.
    void take(const Item& item, std::optional<std::uint16_t> usagePage);

    /// Whether some usage carries no page of its own.
    bool needsUsagePage() const;
    /// True unless a usage waits, or one end of a usage range.
    bool isEmpty() const;
    /// Whether any usage stands on another page than `usagePage` where it was written.
    bool changesPage(std::uint16_t usagePage) const;

    /// The usages in full, as a main item on `usagePage` sees them.
    std::vector<UsageRange> joined(std::uint16_t usagePage) const;

    /// To be called at each main item: clears the local items and reports those that are incomplete, with the main
    /// item's place.
    void finish(const Item& mainItem);

private:
    enum Kind : std::uint8_t { usageKind, designatorKind, stringKind };
    enum class Waiting : std::uint8_t { nothing, forMaximum, forMinimum };

    struct Usage {
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        std::uint16_t page = 0;
        bool isExtended = false;
    };
    /// The half of a range that came first.
    struct OpenRange {
        Waiting waiting = Waiting::nothing;
        std::uint32_t value = 0;
        bool isExtended = false;
        /// The page in force where it stands.
        std::uint16_t page = 0;
    };

    void _takeMinimum(const Item& item, Kind kind, std::uint16_t page);
    void _takeMaximum(const Item& item, Kind kind, std::uint16_t page);
    /// `page` is in force at `item`, the second end.
    void _closeRange(const Item& item, Kind kind, OpenRange low, OpenRange high, std::uint16_t page);
    void _takeDelimiter(const Item& item);
    void _addUsage(Usage usage);

    DiagnosisLog& _log;
    std::vector<Usage> _usages;
    std::array<OpenRange, 3> _openRanges;
    bool _inAlternatives = false;
    bool _hasPreferred = false;
};

} // namespace qrx::hid
