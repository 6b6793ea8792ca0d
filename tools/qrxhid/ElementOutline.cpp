#include "ElementOutline.h"

#include "DeviceText.h"

#include "QrxHIDCollection.h"
#include "QrxReportDecoder.h"

#include <algorithm>
#include <map>
#include <numeric>

// The platform lists each copy of a field that counts several values, and each usage of an array, as an element of its
// own. The outline takes a head together with what belongs to it: its copies (unlisted where there are more than 32),
// and for an array the 1-bit selectors that name its usages. Then single fields of the same making with ascending
// usages, side by side in the report, become one row.

namespace qrxhid {

namespace {

constexpr std::uint32_t kNoUsage = 0xFFFFFFFF;
constexpr std::uint32_t kMaximumListedCopies = 32;
constexpr std::uint32_t kConstantFlag = 0x001;
constexpr std::uint32_t kOutputType = 129;
constexpr std::uint32_t kFeatureType = 257;

using Elements = std::vector<QrxHIDElementPtr>;

const QrxHIDCapability* asField(const QrxHIDElementPtr& element)
{
    return dynamic_cast<const QrxHIDCapability*>(element.get());
}

FieldKind kindOf(const QrxHIDCapability& field)
{
    switch (field.getType()) {
    case kOutputType:
        return FieldKind::output;
    case kFeatureType:
        return FieldKind::feature;
    default:
        return FieldKind::input;
    }
}

std::int64_t signedValue(std::uint32_t pattern)
{
    return static_cast<std::int32_t>(pattern);
}

/// A maximum below its minimum is an unsigned one with all 32 bits in use.
std::int64_t maximumValue(std::uint32_t minimum, std::uint32_t maximum)
{
    return signedValue(maximum) < signedValue(minimum) ? std::int64_t{maximum} : signedValue(maximum);
}

FieldOutline outlineOfHead(const QrxHIDCapability& head)
{
    FieldOutline field;
    field.kind = kindOf(head);
    field.reportID = head.getReportID();
    field.isArray = head.isArray();
    field.sizeBits = head.getReportSize();
    field.count = head.getReportCount();
    if (const std::int32_t offset = QrxFieldBitOffset(head); offset >= 0) {
        field.bitOffset = offset;
    }
    field.minimum = signedValue(head.getMinValue());
    field.maximum = maximumValue(head.getMinValue(), head.getMaxValue());
    field.physicalMinimum = signedValue(head.getScaledMinValue());
    field.physicalMaximum = maximumValue(head.getScaledMinValue(), head.getScaledMaxValue());
    field.unit = head.getUnit();
    field.unitExponent = static_cast<std::int32_t>(head.getUnitExponent());
    field.flags = head.getFlags();
    if (head.getUsage() != kNoUsage) {
        field.usages.push_back({head.getUsagePage(), head.getUsage(), head.getUsage()});
    }
    return field;
}

void addUsage(std::vector<UsageSpan>& usages, std::uint32_t page, std::uint32_t usage)
{
    if (!usages.empty() && usages.back().page == page && usages.back().last + 1 == usage) {
        usages.back().last = usage;
    } else {
        usages.push_back({page, usage, usage});
    }
}

/// Where the platform tells no places, many copies mean that they are not listed.
bool isInPlace(const QrxHIDCapability& element, const QrxHIDCapability& head, std::uint32_t index)
{
    const std::int64_t headOffset = QrxFieldBitOffset(head);
    const std::int64_t offset = QrxFieldBitOffset(element);
    if (headOffset < 0 || offset < 0) {
        return headOffset == offset && head.getReportCount() <= kMaximumListedCopies;
    }
    return offset == headOffset + static_cast<std::int64_t>(index * head.getReportSize());
}

/// Whether `element` is the copy at `index` of the values that `head` counts.
bool isCopyOf(const QrxHIDCapability& element, const QrxHIDCapability& head, std::uint32_t index)
{
    return element.getReportCount() == 1 && element.getUsage() == head.getUsage() &&
           element.getUsagePage() == head.getUsagePage() && element.getType() == head.getType() &&
           element.getReportID() == head.getReportID() && element.getReportSize() == head.getReportSize() &&
           isInPlace(element, head, index);
}

bool isSelectorOf(const QrxHIDCapability& element, const QrxHIDCapability& head)
{
    return element.isArray() && element.getUsage() != kNoUsage && element.getType() == head.getType() &&
           element.getReportID() == head.getReportID();
}

/// Takes elements off the front of a list.
class FieldFolder {
public:
    explicit FieldFolder(const Elements& elements) : _elements(elements) {}

    bool isAtEnd() const { return _position == _elements.size(); }
    const QrxHIDElementPtr& next() { return _elements[_position++]; }
    FieldOutline takeField(const QrxHIDCapability& head);

private:
    const QrxHIDCapability* peek() const { return isAtEnd() ? nullptr : asField(_elements[_position]); }
    void passCopies(const QrxHIDCapability& head);

    const Elements& _elements;
    std::size_t _position = 0;
};

void FieldFolder::passCopies(const QrxHIDCapability& head)
{
    const std::uint32_t copies = head.getReportCount();
    for (std::uint32_t i = 0; copies > 1 && i < copies; ++i) {
        const QrxHIDCapability* element = peek();
        if (element == nullptr || !isCopyOf(*element, head, i)) {
            return;
        }
        ++_position;
    }
}

FieldOutline FieldFolder::takeField(const QrxHIDCapability& head)
{
    FieldOutline field = outlineOfHead(head);
    passCopies(head);
    if (head.isArray() && head.getUsage() == kNoUsage) {
        for (const QrxHIDCapability* element = peek(); element != nullptr && isSelectorOf(*element, head);
             element = peek()) {
            addUsage(field.usages, element->getUsagePage(), element->getUsage());
            ++_position;
        }
    }
    return field;
}

bool isOfSameMaking(const FieldOutline& left, const FieldOutline& right)
{
    return left.kind == right.kind && left.reportID == right.reportID && left.sizeBits == right.sizeBits &&
           left.minimum == right.minimum && left.maximum == right.maximum &&
           left.physicalMinimum == right.physicalMinimum && left.physicalMaximum == right.physicalMaximum &&
           left.unit == right.unit && left.unitExponent == right.unitExponent && left.flags == right.flags;
}

/// `next` continues the row that `row` is: the next usage in the next bits.
bool continues(const FieldOutline& row, const FieldOutline& next)
{
    if (row.isArray || next.isArray || row.usages.size() != 1 || next.usages.size() != 1 || next.count != 1 ||
        row.count != row.usageCount() || !isOfSameMaking(row, next)) {
        return false;
    }
    const bool isNextUsage =
        next.usages[0].page == row.usages[0].page && next.usages[0].first == row.usages[0].last + 1;
    const auto rowBits = static_cast<std::int64_t>(row.count * row.sizeBits);
    const bool isBeside = row.bitOffset && next.bitOffset ? *next.bitOffset == *row.bitOffset + rowBits
                                                          : !row.bitOffset && !next.bitOffset;
    return isNextUsage && isBeside;
}

void addField(std::vector<ElementOutline>& elements, const FieldOutline& field)
{
    if (!elements.empty() && elements.back().field && continues(*elements.back().field, field)) {
        FieldOutline& row = *elements.back().field;
        row.usages[0].last = field.usages[0].last;
        row.count += field.count;
        return;
    }
    ElementOutline element;
    element.field = field;
    elements.push_back(element);
}

Elements childrenOf(const QrxHIDCollection& collection)
{
    Elements children;
    for (unsigned int i = 0; i < collection.getElementCount(); ++i) {
        children.push_back(collection.getElementAtIndex(i));
    }
    return children;
}

std::vector<ElementOutline> fold(const Elements& elements)
{
    std::vector<ElementOutline> outlines;
    FieldFolder folder(elements);
    while (!folder.isAtEnd()) {
        const QrxHIDElementPtr& element = folder.next();
        if (const auto* collection = dynamic_cast<const QrxHIDCollection*>(element.get())) {
            outlines.push_back(
                {collection->getUsagePage(), collection->getUsage(), std::nullopt, fold(childrenOf(*collection))});
        } else if (const QrxHIDCapability* head = asField(element)) {
            addField(outlines, folder.takeField(*head));
        }
    }
    return outlines;
}

ReportPart partOf(FieldKind kind, const std::vector<ElementOutline>& fields)
{
    ReportPart part{kind, 0, 0};
    for (const ElementOutline& element : fields) {
        if (element.field->kind == kind) {
            ++part.fieldCount;
            part.fieldBits += element.field->count * element.field->sizeBits;
        }
    }
    return part;
}

ReportOutline outlineOf(QrxHIDReport& report)
{
    Elements elements;
    for (unsigned int i = 0; i < report.getCapabilityCount(); ++i) {
        elements.push_back(report.getCapabilityAtIndex(i));
    }
    const std::vector<ElementOutline> fields = fold(elements);
    ReportOutline outline;
    outline.reportID = report.getReportID();
    for (const FieldKind kind : {FieldKind::input, FieldKind::output, FieldKind::feature}) {
        if (const ReportPart part = partOf(kind, fields); part.fieldCount > 0) {
            outline.parts.push_back(part);
            if (kind == FieldKind::input) {
                outline.inputBits = report.getReportSize();
            }
        }
    }
    return outline;
}

} // namespace

const char* fieldKindName(FieldKind kind)
{
    switch (kind) {
    case FieldKind::output:
        return "output";
    case FieldKind::feature:
        return "feature";
    default:
        return "input";
    }
}

std::uint64_t FieldOutline::usageCount() const
{
    return std::accumulate(usages.begin(), usages.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const UsageSpan& span) { return sum + span.last - span.first + 1; });
}

bool FieldOutline::isConstant() const
{
    return (flags & kConstantFlag) != 0;
}

std::vector<InterfaceOutline> outlineOf(const QrxHIDDevice& device)
{
    std::map<int, Elements> elementsByInterface;
    for (unsigned int i = 0; i < device.getElementCount(); ++i) {
        if (const QrxHIDElementPtr element = device.getElementAtIndex(i)) {
            elementsByInterface[element->getInterfaceNumber()].push_back(element);
        }
    }
    std::map<int, std::vector<ReportOutline>> reports;
    for (unsigned int i = 0; i < device.getReportCount(); ++i) {
        const mis::swizzler<QrxHIDReport> report = device.getReportAtIndex(i);
        reports[report->getInterfaceNumber()].push_back(outlineOf(*report));
    }
    std::vector<InterfaceOutline> interfaces;
    for (const auto& [number, elements] : elementsByInterface) {
        interfaces.push_back({number, fold(elements), reports[number]});
    }
    return interfaces;
}

} // namespace qrxhid
