#pragma once

/// Fills an element table in the order in which the platform numbers it.

#include "DiagnosisLog.h"
#include "ElementBudget.h"
#include "ElementTree.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace qrx::hid {

/// Used once, for one descriptor, which must outlive it.
class ElementTreeBuilder {
public:
    ElementTreeBuilder(Descriptor& descriptor, const Limits& limits);
    ElementTreeBuilder(const ElementTreeBuilder&) = delete;
    ElementTreeBuilder& operator=(const ElementTreeBuilder&) = delete;

    ElementTree build();

private:
    void _measureReports();
    void _addCollections();
    void _addFields(const ElementBudget& budget, bool buttons, ReportType type);
    void _addArray(const Field& field);
    void _addVariables(const Field& field);
    /// `element` is their head, and becomes the last of them.
    void _addDuplicates(Element& element, std::size_t bitOffset);
    void _addHandlers();
    void _linkChildren();
    void _describeDevice();

    /// What the elements of a field have in common.
    static Element _elementOf(const Field& field);
    /// The cookie of the collection, or of the nearest one around it that is in the table.
    std::uint32_t _cookieOf(std::optional<std::size_t> collection) const;
    /// Gives the element the next cookie, unless the current field's share is used up.
    void _add(const Element& element);
    void _append(const Element& element, std::uint32_t parentCookie);

    Descriptor& _descriptor;
    DiagnosisLog _log;
    std::size_t _limit;
    ElementTree _tree;
    /// By cookie: the collection an element is listed in, 0 the root.
    std::vector<std::uint32_t> _parents;
    std::size_t _collectionCount = 0;
    /// The input reports that get a handler, in report table order, with their bits as they travel.
    std::vector<Report> _inputReports;
    /// What is left of the share of the field being added, and where its elements hang.
    std::size_t _left = 0;
    std::uint32_t _parentCookie = 0;
    bool _makesHiddenDuplicates = true;
};

} // namespace qrx::hid
