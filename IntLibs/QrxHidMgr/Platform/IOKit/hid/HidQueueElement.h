#pragma once

#include "HID/ElementTree.h"
#include "IOKit/registry/HidEntries.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace qrx::iokit {

/// A report on its way to the queues.
struct ReportView {
    hid::ReportType type;
    /// 0 for a device that does not number its reports.
    std::uint32_t id;
    /// As it travels, with the number of a numbered report.
    std::span<const std::uint8_t> bytes;
    /// An unsolicited input report, as opposed to one that was asked for or sent. Only such a report concerns report
    /// handlers and may be too short.
    bool isInput;
};

/// A value of an element: in `value` if it has at most 4 bytes, in a block of its own otherwise.
struct ElementValue {
    struct Free {
        void operator()(void* block) const { std::free(block); }
    };

    std::int32_t value = 0;
    std::uint32_t longSize = 0;
    std::unique_ptr<void, Free> longValue;
};

/// The report type of an element; none for a collection.
std::optional<hid::ReportType> reportTypeOf(const hid::Element& element);

/// Reads an element's value out of a report that holds it. A long value is a block from malloc.
ElementValue readValue(const hid::Element& element, std::span<const std::uint8_t> report);

/// An element in a queue, with what is needed to know whether its value has changed.
class HidQueueElement {
public:
    /// `cookie` names an element that is no collection.
    HidQueueElement(std::shared_ptr<const DriverElements> known, std::uint32_t cookie);

    const hid::Element& element() const { return _element; }

    /// The new value if the report gives the element one that is to be queued: a handler's and a relative element's
    /// always, any other's when it has changed, or always too if `isEveryValueQueued`.
    std::optional<ElementValue> take(const ReportView& report, bool isEveryValueQueued);

    /// Forgets the values seen: the next one is compared with 0.
    void forget() { _last.clear(); }

private:
    /// True if an entry of the array shows the element's usage. `isRolledOver` is set if all of them say that too many
    /// keys are down.
    bool isSelected(std::span<const std::uint8_t> report, bool& isRolledOver) const;
    std::optional<ElementValue> takeSelector(std::span<const std::uint8_t> report, bool isEveryValueQueued);
    bool hasChanged(const ElementValue& value);

    hid::Element _element;
    hid::ReportType _type;
    /// The length of the element's input report as declared; a shorter report is left out as a whole. 0 for other
    /// types.
    std::size_t _declaredBytes = 0;
    /// A selector's array; null for other elements.
    std::shared_ptr<const hid::LayoutField> _array;
    /// The position of the array's usage that reports too many keys at once, if it has that.
    std::optional<std::uint64_t> _rollOver;
    /// The bytes of the last value; empty stands for 0.
    std::vector<std::uint8_t> _last;
};

} // namespace qrx::iokit
