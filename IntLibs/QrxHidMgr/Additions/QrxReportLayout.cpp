// The public face of the layout of reports. Layouts are immutable and shared: a copy of a layout, and the values
// decoded with it, cost a reference and stay valid when the device goes. Types of the inner layer do not appear in the
// header, so facts can be added without changing what programs were compiled against.

#include "QrxReportLayout.h"

#include "HID/ReportLayout.h"
#include "InterfaceLayout.h"
#include "QrxError.h"
#include "ReportTypes.h"

#include <cstdlib>
#include <span>
#include <stdexcept>
#include <vector>

using namespace qrx;

namespace {

constexpr unsigned kPageShift = 16;
constexpr std::uint32_t kUsageIDMask = 0xFFFF;

template <class Item>
const Item& itemAt(std::span<const Item> items, std::size_t index)
{
    if (index >= items.size()) {
        throw std::out_of_range("vector [] access out of range");
    }
    return items[index];
}

/// Powers of 10 by squaring: exact for 0 to 22, the nearest double for their inverses, and defined for every exponent
/// that a device may choose. Not std::pow: clang compiles it to a function that macOS has only from 10.9 on.
double powerOfTen(std::int32_t exponent)
{
    double power = 1;
    double square = 10;
    for (auto left = std::abs(std::int64_t{exponent}); left != 0; left /= 2) {
        if (left % 2 != 0) {
            power *= square;
        }
        square *= square;
    }
    return exponent < 0 ? 1 / power : power;
}

std::shared_ptr<const hid::ReportLayout> emptyLayout()
{
    // One object serves all empty layouts, so that making one allocates nothing.
    static const auto sm_Empty = hid::layoutOf({});
    return sm_Empty;
}

std::error_code errorOf(hid::EncodeResult result)
{
    switch (result) {
    case hid::EncodeResult::done:
        return {};
    case hid::EncodeResult::noSuchReport:
        return QrxError::noSuchReport;
    case hid::EncodeResult::tooShort:
        return QrxError::wrongLength;
    case hid::EncodeResult::noSuchUsage:
        return QrxError::noSuchUsage;
    case hid::EncodeResult::outOfRange:
        return QrxError::outOfRange;
    case hid::EncodeResult::noRoom:
        break;
    }
    return QrxError::noRoom;
}

} // namespace

// --- a field -----------------------------------------------------------------------------------------------------

QrxReportType QrxReportField::getReportType() const
{
    return publicType(_field->type);
}

uint32_t QrxReportField::getReportID() const
{
    return _field->reportID;
}

size_t QrxReportField::getBitOffset() const
{
    return _field->bitOffset;
}

uint32_t QrxReportField::getSizeBits() const
{
    return _field->sizeBits;
}

uint32_t QrxReportField::getCount() const
{
    return _field->count;
}

uint64_t QrxReportField::getUsageCount() const
{
    return _field->usageCount;
}

uint32_t QrxReportField::getUsage(uint64_t position) const
{
    if (position >= _field->usageCount) {
        throw std::out_of_range("vector [] access out of range");
    }
    return _field->usageAt(position);
}

size_t QrxReportField::getUsageRangeCount() const
{
    return _field->usages.size();
}

uint32_t QrxReportField::getFirstUsage(size_t range) const
{
    return itemAt(std::span(_field->usages), range).first;
}

uint32_t QrxReportField::getLastUsage(size_t range) const
{
    return itemAt(std::span(_field->usages), range).last;
}

bool QrxReportField::isArray() const
{
    return _field->isArray;
}

bool QrxReportField::isConstant() const
{
    return _field->isConstant();
}

bool QrxReportField::isRelative() const
{
    return (_field->flags & hid::kFieldRelative) != 0;
}

bool QrxReportField::isSigned() const
{
    return _field->isSigned;
}

bool QrxReportField::hasNullState() const
{
    return _field->hasNullState();
}

uint32_t QrxReportField::getFlags() const
{
    return _field->flags;
}

// The limits are those that decoding and encoding use: as far as the field can hold them, and not inverted.
int64_t QrxReportField::getLogicalMinimum() const
{
    return _field->logicalMinimum;
}

int64_t QrxReportField::getLogicalMaximum() const
{
    return _field->logicalMaximum;
}

int64_t QrxReportField::getPhysicalMinimum() const
{
    return _field->physicalMinimum;
}

int64_t QrxReportField::getPhysicalMaximum() const
{
    return _field->physicalMaximum;
}

uint32_t QrxReportField::getUnit() const
{
    return _field->unit;
}

int32_t QrxReportField::getUnitExponent() const
{
    return _field->unitExponent;
}

double QrxReportField::getPhysicalValue(int64_t logicalValue) const
{
    const auto logicalRange = static_cast<double>(_field->logicalMaximum - _field->logicalMinimum);
    // Without a range there is no scale; dividing by it would give infinity.
    if (logicalRange == 0) {
        return static_cast<double>(logicalValue);
    }
    const auto physicalRange = static_cast<double>(_field->physicalMaximum - _field->physicalMinimum);
    const double fromMinimum = static_cast<double>(logicalValue) - static_cast<double>(_field->logicalMinimum);
    // HID 1.11, 6.2.2.7, solved for the physical value: multiplied before it is divided, so that whole results stay
    // whole.
    const double scaled = fromMinimum * physicalRange / logicalRange + static_cast<double>(_field->physicalMinimum);
    return scaled * powerOfTen(_field->unitExponent);
}

size_t QrxReportField::getCollection() const
{
    return _field->collection.value_or(kQrxNoCollection);
}

size_t QrxReportField::getDescriptorOffset() const
{
    return _field->itemOffset;
}

// --- the values of a report --------------------------------------------------------------------------------------

// The values refer to fields of a layout by index, so they hold the layout that they were read with.
struct QrxReportValues::Body {
    std::shared_ptr<const hid::ReportLayout> layout = emptyLayout();
    hid::ReportValues values;

    const hid::ReportValue& at(std::size_t index) const { return itemAt(values.values(), index); }
};

QrxReportValues::QrxReportValues() : _body(std::make_unique<Body>()) {}

QrxReportValues::~QrxReportValues() = default;

size_t QrxReportValues::getCount() const
{
    return _body->values.values().size();
}

uint32_t QrxReportValues::getUsagePage(size_t index) const
{
    return _body->at(index).usage >> kPageShift;
}

uint32_t QrxReportValues::getUsage(size_t index) const
{
    return _body->at(index).usage & kUsageIDMask;
}

int64_t QrxReportValues::getValue(size_t index) const
{
    return _body->at(index).value;
}

uint64_t QrxReportValues::getUnsignedValue(size_t index) const
{
    return static_cast<uint64_t>(_body->at(index).value);
}

double QrxReportValues::getPhysicalValue(size_t index) const
{
    return getField(index).getPhysicalValue(getValue(index));
}

bool QrxReportValues::isSigned(size_t index) const
{
    return _body->at(index).isSigned;
}

bool QrxReportValues::isNull(size_t index) const
{
    return _body->at(index).isNull;
}

bool QrxReportValues::isArraySelection(size_t index) const
{
    return _body->at(index).isSelection;
}

size_t QrxReportValues::getBitOffset(size_t index) const
{
    return _body->at(index).bitOffset;
}

uint32_t QrxReportValues::getSizeBits(size_t index) const
{
    return _body->at(index).sizeBits;
}

QrxReportField QrxReportValues::getField(size_t index) const
{
    return QrxReportField(_body->layout->fields()[_body->at(index).field]);
}

// --- the layout --------------------------------------------------------------------------------------------------

QrxReportLayout::QrxReportLayout() : _layout(emptyLayout()) {}

QrxReportLayout::QrxReportLayout(const uint8_t* descriptor, size_t size)
    : _layout(hid::layoutOf(hid::parseReportDescriptor({descriptor, size})))
{
}

QrxReportLayout::QrxReportLayout(const QrxHIDDevice& device, int interfaceNumber)
{
    const auto known = InterfaceLayout::of(device, interfaceNumber);
    _layout = known ? known->reports() : emptyLayout();
}

QrxReportLayout::QrxReportLayout(const QrxReportLayout& other) = default;
QrxReportLayout& QrxReportLayout::operator=(const QrxReportLayout& other) = default;
QrxReportLayout::~QrxReportLayout() = default;

bool QrxReportLayout::isEmpty() const
{
    return _layout->reports().empty();
}

bool QrxReportLayout::hasReportNumbers() const
{
    return _layout->numbersReports();
}

size_t QrxReportLayout::getReportCount() const
{
    return _layout->reports().size();
}

QrxReportType QrxReportLayout::getReportType(size_t index) const
{
    return publicType(itemAt(_layout->reports(), index).type);
}

uint32_t QrxReportLayout::getReportID(size_t index) const
{
    return itemAt(_layout->reports(), index).id;
}

size_t QrxReportLayout::getReportSizeBits(QrxReportType type, uint32_t reportID) const
{
    const auto known = privateType(type);
    return known ? _layout->reportBits(*known, reportID) : 0;
}

size_t QrxReportLayout::getReportSizeBytes(QrxReportType type, uint32_t reportID) const
{
    return (getReportSizeBits(type, reportID) + 7) / 8;
}

size_t QrxReportLayout::getFieldCount() const
{
    return _layout->fields().size();
}

QrxReportField QrxReportLayout::getField(size_t index) const
{
    return QrxReportField(itemAt(_layout->fields(), index));
}

size_t QrxReportLayout::getCollectionCount() const
{
    return _layout->collections().size();
}

uint32_t QrxReportLayout::getCollectionType(size_t index) const
{
    return itemAt(_layout->collections(), index).type;
}

uint32_t QrxReportLayout::getCollectionUsage(size_t index) const
{
    // Usages are one number here, page and ID, as for fields; the descriptor keeps them apart.
    const hid::Collection& collection = itemAt(_layout->collections(), index);
    return static_cast<uint32_t>(collection.usagePage) << kPageShift | (collection.usage & kUsageIDMask);
}

size_t QrxReportLayout::getCollectionParent(size_t index) const
{
    return itemAt(_layout->collections(), index).parent.value_or(kQrxNoCollection);
}

void QrxReportLayout::decode(QrxReportType type, const uint8_t* bytes, size_t size, QrxReportValues& values) const
{
    values._body->layout = _layout;
    if (const auto known = privateType(type)) {
        _layout->decode(*known, {bytes, size}, values._body->values);
    } else {
        values._body->values.clear();
    }
}

std::error_code QrxReportLayout::encode(QrxReportType type, uint32_t reportID, const QrxUsageValue* values,
                                        size_t count, uint8_t* bytes, size_t size, size_t* failed) const
{
    // "None of the values" unless the inner layer names one.
    if (failed != nullptr) {
        *failed = count;
    }
    const auto known = privateType(type);
    if (!known) {
        return QrxError::noSuchReport;
    }
    // Copied, since the reader of reports knows no public types.
    std::vector<hid::UsageValue> wanted(count);
    for (size_t i = 0; i < count; ++i) {
        wanted[i] = {values[i].usage, values[i].value, values[i].index};
    }
    return errorOf(_layout->encode(*known, reportID, wanted, {bytes, size}, failed));
}
