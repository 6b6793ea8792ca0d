#include "QrxReportDecoder.h"

#include "QrxHIDCapabilityImpl.h"
#include "QrxHIDReport.h"

#include <algorithm>

// The platform lists the fields of a report in this way (all of one kind, input or output or feature, follow in this
// order, while the kinds may alternate):
//
//   variable, one value    the element itself
//   variable, n values     a head that counts n, then n duplicates that count 1 each; with a large n the head alone
//   array of n places      a head without a usage that counts n; if n > 1 its n slots, also without a usage (with a
//                          large n none); then a selector of 1 bit for each usage that the array can show. An entry
//                          of the array is the logical minimum plus the position of the selector among these.
//
// Heads tell everything, so duplicates and slots are passed over, where they are listed.

namespace {

constexpr uint32_t kNoUsage = 0xFFFFFFFF;
constexpr uint32_t kConstantFlag = 0x001;
constexpr size_t kWidestValueBits = 64;
constexpr size_t kBitsPerByte = 8;

constexpr uint32_t kInputMisc = 1;
constexpr uint32_t kInputButton = 2;
constexpr uint32_t kOutput = 129;
constexpr uint32_t kFeature = 257;

bool isOfReportType(uint32_t elementType, unsigned int reportType)
{
    switch (reportType) {
    case 0:
        return elementType == kInputMisc || elementType == kInputButton;
    case 1:
        return elementType == kOutput;
    case 2:
        return elementType == kFeature;
    default:
        return false;
    }
}

// An element with what is needed of it; asking is a look-up each time.
struct Field {
    QrxHIDCapabilityPtr capability;
    uint32_t usagePage;
    uint32_t usage;
    uint32_t count;
    size_t sizeBits;
    int32_t bitOffset;
    bool isArray;

    explicit Field(const QrxHIDCapabilityPtr& element)
        : capability(element), usagePage(element->getUsagePage()), usage(element->getUsage()),
          count(element->getReportCount()), sizeBits(element->getReportSize()), bitOffset(QrxFieldBitOffset(*element)),
          isArray(element->isArray())
    {
    }

    bool isArrayHead() const { return isArray && usage == kNoUsage; }
    bool isSelector() const { return isArray && usage != kNoUsage; }
    bool isReadable() const { return bitOffset >= 0 && sizeBits > 0 && sizeBits <= kWidestValueBits; }
    bool isConstant() const { return (capability->getFlags() & kConstantFlag) != 0; }
    bool isSigned() const { return static_cast<int32_t>(capability->getMinValue()) < 0; }
    size_t valueOffset(size_t index) const { return static_cast<size_t>(bitOffset) + index * sizeBits; }
};

// Whether `field` is the copy at `index` of the values that `head` counts: also made alike, and in its place.
bool isCopyOf(const Field& field, const Field& head, size_t index)
{
    return field.count == 1 && field.usage == head.usage && field.usagePage == head.usagePage &&
           field.isArray == head.isArray && field.sizeBits == head.sizeBits && head.bitOffset >= 0 &&
           field.bitOffset >= 0 && static_cast<size_t>(field.bitOffset) == head.valueOffset(index);
}

// The position after the duplicates or slots of the head at `position`, as far as they are listed.
size_t endOfCopies(const std::vector<Field>& fields, size_t position)
{
    const Field& head = fields[position];
    size_t end = position + 1;
    if (head.count <= 1) {
        return end;
    }
    for (size_t i = 0; i < head.count && end < fields.size() && isCopyOf(fields[end], head, i); ++i) {
        ++end;
    }
    return end;
}

} // namespace

/// Collects the values of one report.
class QrxReportReading {
public:
    QrxReportReading(const uint8_t* bytes, size_t count) : _bytes(bytes), _bits(count * kBitsPerByte) {}

    void read(const std::vector<Field>& fields);
    std::vector<QrxDecodedValue> takeValues();

private:
    void readVariable(const Field& head);
    void readArray(const Field& head, const std::vector<Field>& fields, size_t firstSelector, size_t selectorEnd);
    QrxDecodedValue valueOf(const Field& field, const Field& head, size_t place) const;
    bool holds(const Field& field, size_t index) const;
    uint64_t bitsOf(const Field& field, size_t index) const;

    const uint8_t* _bytes;
    size_t _bits;
    std::vector<QrxDecodedValue> _values;
};

void QrxReportReading::read(const std::vector<Field>& fields)
{
    size_t position = 0;
    while (position < fields.size()) {
        const Field& head = fields[position];
        size_t next = endOfCopies(fields, position);
        if (head.isArrayHead()) {
            const size_t firstSelector = next;
            while (next < fields.size() && fields[next].isSelector()) {
                ++next;
            }
            readArray(head, fields, firstSelector, next);
        } else {
            readVariable(head);
        }
        position = next;
    }
}

void QrxReportReading::readVariable(const Field& head)
{
    if (!head.isReadable() || head.isConstant()) {
        return;
    }
    for (size_t i = 0; i < head.count && holds(head, i); ++i) {
        QrxDecodedValue value = valueOf(head, head, i);
        value._bits = bitsOf(head, i);
        value._isSigned = head.isSigned();
        _values.push_back(std::move(value));
    }
}

void QrxReportReading::readArray(const Field& head, const std::vector<Field>& fields, size_t firstSelector,
                                 size_t selectorEnd)
{
    if (!head.isReadable() || head.isConstant()) {
        return;
    }
    const auto minimum = static_cast<int32_t>(head.capability->getMinValue());
    std::vector<bool> isShown(selectorEnd - firstSelector, false);
    for (size_t i = 0; i < head.count && holds(head, i); ++i) {
        // Modulo 2^64, as a difference of two 64-bit entries may need 65 bits: what is below the minimum, or far above
        // it, becomes a number above any count of selectors.
        const uint64_t selector = bitsOf(head, i) - static_cast<uint64_t>(int64_t{minimum});
        if (selector >= isShown.size() || isShown[selector]) {
            continue;
        }
        isShown[selector] = true;
        const Field& shown = fields[firstSelector + selector];
        if (shown.usage != 0) {
            QrxDecodedValue value = valueOf(shown, head, i);
            value._bits = 1;
            value._isArraySelection = true;
            _values.push_back(std::move(value));
        }
    }
}

// What `field` says of the value in a place of `head`, but for the value itself.
QrxDecodedValue QrxReportReading::valueOf(const Field& field, const Field& head, size_t place) const
{
    QrxDecodedValue value;
    value._capability = field.capability;
    value._usagePage = field.usagePage;
    value._usage = field.usage;
    value._bitOffset = head.valueOffset(place);
    value._sizeBits = head.sizeBits;
    return value;
}

bool QrxReportReading::holds(const Field& field, size_t index) const
{
    return field.valueOffset(index) + field.sizeBits <= _bits;
}

// HID 1.11, 8.4: values are little-endian, and begin at any bit. Negative ones are filled up to 64 bits.
uint64_t QrxReportReading::bitsOf(const Field& field, size_t index) const
{
    uint64_t bits = 0;
    const size_t offset = field.valueOffset(index);
    for (size_t taken = 0; taken < field.sizeBits;) {
        const size_t position = offset + taken;
        const size_t inByte = position % kBitsPerByte;
        const size_t width = std::min(kBitsPerByte - inByte, field.sizeBits - taken);
        const auto part =
            (static_cast<uint64_t>(_bytes[position / kBitsPerByte]) >> inByte) & ((uint64_t{1} << width) - 1);
        bits |= part << taken;
        taken += width;
    }
    if (field.isSigned() && field.sizeBits < kWidestValueBits) {
        const uint64_t sign = uint64_t{1} << (field.sizeBits - 1);
        bits = (bits ^ sign) - sign;
    }
    return bits;
}

std::vector<QrxDecodedValue> QrxReportReading::takeValues()
{
    std::stable_sort(_values.begin(), _values.end(), [](const QrxDecodedValue& left, const QrxDecodedValue& right) {
        return left.getBitOffset() < right.getBitOffset();
    });
    return std::move(_values);
}

namespace {

bool numbersReports(const QrxHIDDevice& device, int interfaceNumber)
{
    for (unsigned int i = 0; i < device.getReportCount(); ++i) {
        const mis::swizzler<QrxHIDReport> report = device.getReportAtIndex(i);
        if (report->getInterfaceNumber() == interfaceNumber && report->getReportID() != 0) {
            return true;
        }
    }
    return false;
}

std::vector<Field> fieldsOf(QrxHIDReport& report, unsigned int reportType)
{
    std::vector<Field> fields;
    for (unsigned int i = 0; i < report.getCapabilityCount(); ++i) {
        const QrxHIDCapabilityPtr capability = report.getCapabilityAtIndex(i);
        if (isOfReportType(capability->getType(), reportType)) {
            fields.emplace_back(capability);
        }
    }
    return fields;
}

} // namespace

std::vector<QrxDecodedValue> QrxDecodeReport(const QrxHIDDevice& device, unsigned int reportType, const uint8_t* bytes,
                                             size_t count, int interfaceNumber)
{
    if (count == 0) {
        return {};
    }
    const unsigned int reportID = numbersReports(device, interfaceNumber) ? bytes[0] : 0;
    const mis::swizzler<QrxHIDReport> report = device.getReport(interfaceNumber, reportID);
    if (!report) {
        return {};
    }
    QrxReportReading reading(bytes, count);
    reading.read(fieldsOf(*report, reportType));
    return reading.takeValues();
}

QrxDecodedValue QrxDecodedValue::withValue(uint64_t bits) const
{
    QrxDecodedValue value(*this);
    value._bits = bits;
    return value;
}

int32_t QrxFieldBitOffset(const QrxHIDCapability& field)
{
    const auto* element = dynamic_cast<const _QrxHIDCapabilityImpl*>(&field);
    return element != nullptr ? element->getReportBitOffset() : -1;
}
