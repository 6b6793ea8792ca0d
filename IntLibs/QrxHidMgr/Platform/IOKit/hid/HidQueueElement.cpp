#include "HidQueueElement.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace qrx::iokit {

namespace {

constexpr std::uint32_t kBitsOfShortValue = 32;
/// A keyboard shows it in all entries when more keys are down than it can tell (HID usage tables, keyboard page).
constexpr std::uint32_t kErrorRollOver = 0x00070001;

// The limits of an element are 32-bit patterns; a negative one means signed values. Whole reports have no sign.
bool isSigned(const hid::Element& element)
{
    return element.role != hid::ElementRole::reportHandler && (element.min < 0 || element.max < 0);
}

std::size_t bytesOf(std::uint32_t bits)
{
    return (std::size_t{bits} + 7) / 8;
}

// A long value begins at any bit; in the block it begins at bit 0.
void copyBits(std::span<const std::uint8_t> report, std::size_t bitOffset, std::uint32_t bits, std::uint8_t* target)
{
    for (std::uint32_t done = 0; done < bits; done += 8) {
        const std::uint32_t now = std::min(bits - done, std::uint32_t{8});
        target[done / 8] = static_cast<std::uint8_t>(hid::extractValue(report, bitOffset + done, now, false));
    }
}

} // namespace

std::optional<hid::ReportType> reportTypeOf(const hid::Element& element)
{
    switch (element.type) {
    case hid::ElementType::inputMisc:
    case hid::ElementType::inputButton:
        return hid::ReportType::input;
    case hid::ElementType::output:
        return hid::ReportType::output;
    case hid::ElementType::feature:
        return hid::ReportType::feature;
    case hid::ElementType::collection:
        break;
    }
    return std::nullopt;
}

ElementValue readValue(const hid::Element& element, std::span<const std::uint8_t> report)
{
    ElementValue value;
    const std::uint32_t bits = element.sizeBits();
    if (bits <= kBitsOfShortValue) {
        value.value = hid::extractValue(report, element.bitOffset, bits, isSigned(element));
        return value;
    }
    const std::size_t size = bytesOf(bits);
    // From malloc's heap, because the receiver of the event frees it. Cleared, so that bits beyond the value are 0.
    value.longValue.reset(std::calloc(size, 1));
    if (!value.longValue) {
        throw std::bad_alloc();
    }
    value.longSize = static_cast<std::uint32_t>(size);
    auto* target = static_cast<std::uint8_t*>(value.longValue.get());
    if (element.role == hid::ElementRole::reportHandler) {
        std::memcpy(target, report.data(), std::min(size, report.size()));
    } else {
        copyBits(report, element.bitOffset, bits, target);
    }
    return value;
}

HidQueueElement::HidQueueElement(std::shared_ptr<const DriverElements> known, std::uint32_t cookie)
    : _element(known->tree.elements[cookie]), _type(reportTypeOf(_element).value_or(hid::ReportType::input))
{
    for (const std::uint32_t handler : known->tree.reportHandlers) {
        const hid::Element& report = known->tree.elements[handler];
        if (_type == hid::ReportType::input && report.reportID == _element.reportID) {
            _declaredBytes = bytesOf(report.reportSize);
        }
    }
    if (_element.role == hid::ElementRole::arraySelector) {
        // The field belongs to the layout, which the pointer keeps with it.
        const hid::LayoutField* array = known->layout.fieldOfItem(_element.itemOffset);
        _rollOver = array->positionOf(kErrorRollOver);
        _array = {std::move(known), array};
    }
}

bool HidQueueElement::isSelected(std::span<const std::uint8_t> report, bool& isRolledOver) const
{
    // Entries that a short answer lacks show nothing.
    const std::size_t entries = _array->valuesWithin(report.size() * 8);
    bool isThere = false;
    isRolledOver = _rollOver.has_value() && entries != 0;
    for (std::size_t entry = 0; entry < entries; ++entry) {
        const auto shown = _array->shownBy(_array->logicalValue(report, entry));
        isThere = isThere || shown == _element.usagePosition;
        isRolledOver = isRolledOver && shown == _rollOver;
    }
    return isThere;
}

std::optional<ElementValue> HidQueueElement::takeSelector(std::span<const std::uint8_t> report, bool isEveryValueQueued)
{
    bool isRolledOver = false;
    ElementValue value;
    value.value = isSelected(report, isRolledOver) ? 1 : 0;
    if (isRolledOver && _element.usagePosition != *_rollOver) {
        // The keyboard cannot tell which keys are down: they stay as they were.
        return std::nullopt;
    }
    if (!hasChanged(value) && !isEveryValueQueued) {
        return std::nullopt;
    }
    return value;
}

bool HidQueueElement::hasChanged(const ElementValue& value)
{
    const std::uint8_t* bytes = value.longValue ? static_cast<const std::uint8_t*>(value.longValue.get())
                                                : reinterpret_cast<const std::uint8_t*>(&value.value);
    const std::size_t size = value.longValue ? value.longSize : sizeof value.value;
    // A value that was never seen counts as 0: the first report makes events only for what is not 0.
    _last.resize(size);
    if (std::equal(_last.begin(), _last.end(), bytes)) {
        return false;
    }
    _last.assign(bytes, bytes + size);
    return true;
}

std::optional<ElementValue> HidQueueElement::take(const ReportView& report, bool isEveryValueQueued)
{
    if (report.type != _type || report.id != _element.reportID) {
        return std::nullopt;
    }
    // What is queued of a report: everything of a handler, every change of a relative value (0 included), and of all
    // other elements what differs from the last time.
    const bool isHandler = _element.role == hid::ElementRole::reportHandler;
    // A short input report is dropped as a whole: which of its fields it has is not certain. Reports that were asked
    // for or sent do not concern handlers.
    if (report.isInput ? report.bytes.size() < _declaredBytes : isHandler) {
        return std::nullopt;
    }
    if (_array) {
        return takeSelector(report.bytes, isEveryValueQueued);
    }
    ElementValue value = readValue(_element, report.bytes);
    const bool isRelative = (_element.flags & hid::kFieldRelative) != 0;
    const bool isAlwaysQueued = isHandler || isRelative || isEveryValueQueued;
    if (!isAlwaysQueued && !hasChanged(value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace qrx::iokit
