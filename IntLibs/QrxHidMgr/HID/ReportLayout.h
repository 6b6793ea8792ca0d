#pragma once

/// What the bytes of the reports of one HID interface mean, made once from its report descriptor.
///
/// The rules, in one place:
///
///   A variable item counts values of one width, side by side from its offset on. Each value takes the next usage of
///   the item. Values for which no usage is left repeat the last one, unless that came out of a range or the values are
///   single bits: then they have no name and are padding. Usages for which no value is left have no place.
///
///   An array item counts entries of one width. An entry shows one of the item's usages: the logical minimum shows the
///   first, each number above it the next. Any other number, and a usage with the ID 0, means that nothing is shown.
///
///   Values are little-endian (HID 1.11, 5.8) and begin at any bit. They are signed where the logical minimum is
///   negative. Where the item has a null state, a value outside of the logical range is no value (6.2.2.5).
///
/// Padding, items without bits and reports whose number does not fit a byte are left out. Reading costs time in
/// proportion to the values of the report that is read, not to the usages that an array could show.

#include "LayoutField.h"
#include "ReportDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace qrx::hid {

/// One value of a report.
struct ReportValue {
    /// The usage page is in the high half.
    std::uint32_t usage = 0;
    std::uint32_t sizeBits = 0;
    /// Index in ReportLayout::fields.
    std::uint32_t field = 0;
    /// From the first bit of the report as it travels.
    std::size_t bitOffset = 0;
    /// Among the usages of the field.
    std::uint64_t usagePosition = 0;
    /// The logical value in two's complement; unsigned where `isSigned` is false. 1 for a usage that an array shows.
    std::int64_t value = 0;
    bool isSigned = false;
    /// The device says with this value that it has none.
    bool isNull = false;
    /// Shown by an array.
    bool isSelection = false;
};

/// The values of a report, and the memory in which they are found: kept from report to report, it saves allocations.
class ReportValues {
public:
    std::span<const ReportValue> values() const { return std::span(_values).first(_count); }

    /// Room for `count` more values at the end. They are the caller's to set.
    std::span<ReportValue> add(std::size_t count);
    void clear() { _count = 0; }

private:
    friend class ReportLayout;

    /// An entry of an array and the position that it shows. findShown swaps the two to sort by position.
    using Shown = std::pair<std::uint64_t, std::uint64_t>;

    /// Longer than what is in it, so that a report does not begin with clearing memory.
    std::vector<ReportValue> _values;
    std::size_t _count = 0;
    /// Scratch: what one array shows.
    std::vector<Shown> _shown;
};

/// A value to be written.
struct UsageValue {
    /// The usage page is in the high half.
    std::uint32_t usage = 0;
    std::int64_t value = 0;
    /// Which of several values of this usage in the report, from 0 on.
    std::uint32_t index = 0;
};

enum class EncodeResult : std::uint8_t {
    done,
    noSuchReport, ///< the interface declares none of this type and number
    tooShort,     ///< the buffer does not hold the whole report
    noSuchUsage,  ///< the report has no such value, or not that many
    outOfRange,   ///< outside of the logical range or of the field's bits, or not 0 or 1 for a usage of an array
    noRoom        ///< more usages are to be shown than the array has entries, or it has no number for "nothing"
};

/// Immutable once made; may be read on several threads.
class ReportLayout {
public:
    ReportLayout() = default;
    explicit ReportLayout(const Descriptor& descriptor);

    bool numbersReports() const { return _numbersReports; }
    /// By type, report number and offset.
    std::span<const LayoutField> fields() const { return _fields; }
    /// Those of one report, which stand next to each other in `fields`, by offset.
    std::span<const LayoutField> fieldsOf(ReportType type, std::uint32_t reportID) const;
    /// The field of the main item at this byte of the descriptor; null if it has none.
    const LayoutField* fieldOfItem(std::size_t itemOffset) const;
    /// Bits of the report as it travels, padding and the number included; 0 for a report that is not declared.
    std::size_t reportBits(ReportType type, std::uint32_t reportID) const;

    /// Reads a report as it travels, its number first where the interface numbers its reports. The values come in the
    /// order of their place; constant ones are left out, and so are those of more than 64 bits or those that the report
    /// is too short for. A usage that an array shows twice is listed once. No values for a report that is not declared.
    void decode(ReportType type, std::span<const std::uint8_t> report, ReportValues& values) const;

    /// Writes values into a report as it travels, and its number where reports are numbered. Padding becomes 0; values
    /// that are not named stay as they are in `report`, and so does everything on failure. An array of which a usage is
    /// named then shows the usages that are named with the value 1, in the order in which they are named, and no
    /// others. `failed` becomes the position in `values` of the one that could not be written, or their number where an
    /// array has no number for "nothing"; it stays as it is on success and where the report itself is refused.
    EncodeResult encode(ReportType type, std::uint32_t reportID, std::span<const UsageValue> values,
                        std::span<std::uint8_t> report, std::size_t* failed = nullptr) const;

    /// A report that has bits.
    struct DeclaredReport {
        ReportType type;
        std::uint32_t id;
        /// As it travels, padding and the number included.
        std::size_t bits;
        /// Positions in `fields`.
        std::size_t firstField;
        std::size_t endField;
    };

    /// By type and number.
    std::span<const DeclaredReport> reports() const { return _reports; }
    /// In the order of the descriptor, so an enclosing one comes first.
    std::span<const Collection> collections() const { return _collections; }

private:
    static void findShown(const LayoutField& array, std::span<const std::uint8_t> report,
                          std::vector<ReportValues::Shown>& shown);
    void addReports(const Descriptor& descriptor);
    const DeclaredReport* find(ReportType type, std::uint32_t reportID) const;

    bool _numbersReports = false;
    std::vector<LayoutField> _fields;
    std::vector<DeclaredReport> _reports;
    std::vector<Collection> _collections;
};

/// A layout to be shared.
std::shared_ptr<const ReportLayout> layoutOf(const Descriptor& descriptor);

} // namespace qrx::hid
