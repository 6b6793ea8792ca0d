#pragma once

/// How many table entries each field makes, so that a hostile descriptor cannot make more than Limits allow.

#include "DiagnosisLog.h"
#include "ReportDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qrx::hid {

/// Array items and one-bit variables; all other variables are values. Buttons are numbered before values.
inline bool isButton(const Field& field)
{
    return !field.isVariable() || field.sizeBits == 1;
}

/// Whether the field's report can travel at all: its number fits a byte.
bool canTravel(std::uint32_t reportID);

/// The values that the last usage of a value field stands for: those for which no usage is left. 1 where it makes no
/// duplicates.
std::uint32_t lastUsageCount(const Field& field);

class ElementBudget {
public:
    /// Counts; where all fields together would make more than `room` entries, first leaves out unpublished duplicates,
    /// then cuts the largest items, and says so in `log`.
    ElementBudget(const std::vector<Field>& fields, std::size_t room, DiagnosisLog& log);

    /// Entries that the field may make; 0 for padding.
    std::size_t entries(std::size_t fieldIndex) const { return _entries[fieldIndex]; }
    std::size_t total() const { return _total; }
    bool makesHiddenDuplicates() const { return _makesHiddenDuplicates; }

private:
    void _count(const std::vector<Field>& fields);
    void _cutLargest(const std::vector<Field>& fields, std::size_t room, DiagnosisLog& log);
    /// The largest number of entries an item may have so that all fit.
    std::uint64_t _largestItem(std::size_t room) const;

    std::vector<std::uint64_t> _entries;
    std::uint64_t _total = 0;
    bool _makesHiddenDuplicates = true;
};

} // namespace qrx::hid
