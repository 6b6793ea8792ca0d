#pragma once

/// How many table entries each field makes, so that a hostile descriptor cannot make more than Limits allow.

#include "DiagnosisLog.h"
#include "ReportDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qrx::hid {

/// The largest common upper limit such that all amounts in `wanted`, each cut to it, fit into `room` together; `room`
/// if they fit uncut. `room` is below the largest number of its type.
std::uint64_t largestShare(const std::vector<std::uint64_t>& wanted, std::uint64_t room);

/// Table entries of all fields together, if there were no limit.
std::uint64_t wantedEntries(const std::vector<Field>& fields);

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

    std::vector<std::uint64_t> _entries;
    std::uint64_t _total = 0;
    bool _makesHiddenDuplicates = true;
};

} // namespace qrx::hid
