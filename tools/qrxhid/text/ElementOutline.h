#pragma once

#include "QrxReportLayout.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrxhid {

enum class FieldKind { input, output, feature };

/// "input", "output", "feature".
const char* fieldKindName(FieldKind kind);

/// Usages of one page that follow each other.
struct UsageSpan {
    std::uint32_t page = 0;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

/// A field as a person sees it: one for a row of buttons, one for an array with all the usages that it can show.
struct FieldOutline {
    FieldKind kind = FieldKind::input;
    std::uint32_t reportID = 0;
    /// Those of an array, or the one of a variable field, or several for fields in a row.
    std::vector<UsageSpan> usages;
    bool isArray = false;
    std::size_t sizeBits = 0;
    std::uint64_t count = 0;
    /// From the first bit of the report as it travels; nothing for usages for which the report has no value.
    std::optional<std::size_t> bitOffset;
    std::int64_t minimum = 0;
    std::int64_t maximum = 0;
    std::int64_t physicalMinimum = 0;
    std::int64_t physicalMaximum = 0;
    std::uint32_t unit = 0;
    std::int32_t unitExponent = 0;
    /// The main item's flags, HID 1.11, 6.2.2.5.
    std::uint32_t flags = 0;

    /// How many usages there are.
    std::uint64_t usageCount() const;
    bool isConstant() const;
};

/// An element: a collection with its elements, or a field.
struct ElementOutline {
    std::uint32_t usagePage = 0;
    std::uint32_t usage = 0;
    std::optional<FieldOutline> field;
    std::vector<ElementOutline> elements;
};

/// A report that the interface has.
struct ReportOutline {
    FieldKind kind = FieldKind::input;
    std::uint32_t reportID = 0;
    /// As it travels, padding and the byte of its number included.
    std::size_t bits = 0;

    std::size_t bytes() const;
};

struct InterfaceOutline {
    int number = 0;
    std::vector<ElementOutline> elements;
    /// Input before output before feature, each by ascending number.
    std::vector<ReportOutline> reports;

    /// In bytes; 0 if there is no report of that kind.
    std::size_t longestReport(FieldKind kind) const;
};

/// What the report descriptor of an interface says, for people.
InterfaceOutline outlineOf(const QrxReportLayout& layout, int interfaceNumber);

} // namespace qrxhid
