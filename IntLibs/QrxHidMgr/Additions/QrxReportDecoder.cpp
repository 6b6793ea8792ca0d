// The convenient way to decode: a list of values with their elements, made anew for each report. Programs that decode
// every report of a fast device use QrxReportLayout, which allocates nothing; both read with the same layout, so they
// cannot differ.

#include "QrxReportDecoder.h"

#include "HID/ReportLayout.h"
#include "InterfaceLayout.h"
#include "ReportTypes.h"

#include <span>

using namespace qrx;

namespace {

constexpr unsigned kPageShift = 16;
constexpr std::uint32_t kUsageIDMask = 0xFFFF;

} // namespace

/// Makes the public values of those that the layout reads.
class QrxReportReading {
public:
    static QrxDecodedValue valueOf(const hid::ReportValue& read, const hid::LayoutField& field,
                                   QrxHIDCapabilityPtr element)
    {
        QrxDecodedValue value;
        value._capability = std::move(element);
        value._usagePage = read.usage >> kPageShift;
        value._usage = read.usage & kUsageIDMask;
        value._bits = static_cast<std::uint64_t>(read.value);
        value._bitOffset = read.bitOffset;
        value._sizeBits = read.sizeBits;
        value._isSigned = read.isSigned;
        value._isRelative = (field.flags & hid::kFieldRelative) != 0;
        value._isNull = read.isNull;
        value._isArraySelection = read.isSelection;
        return value;
    }
};

QrxDecodedValue QrxDecodedValue::withValue(uint64_t bits) const
{
    QrxDecodedValue changed = *this;
    changed._bits = bits;
    // Somebody has put a value into the place of "none".
    changed._isNull = false;
    return changed;
}

std::vector<QrxDecodedValue> QrxDecodeReport(const QrxHIDDevice& device, unsigned int reportType, const uint8_t* bytes,
                                             size_t count, int interfaceNumber)
{
    const auto type = privateType(static_cast<QrxReportType>(reportType));
    const auto layout = type ? InterfaceLayout::of(device, interfaceNumber) : nullptr;
    // Nothing can be said about such a report, which is no error of the caller.
    if (!layout) {
        return {};
    }
    hid::ReportValues read;
    layout->reports()->decode(*type, {bytes, count}, read);
    std::vector<QrxDecodedValue> values;
    values.reserve(read.values().size());
    for (const hid::ReportValue& value : read.values()) {
        values.push_back(
            QrxReportReading::valueOf(value, layout->reports()->fields()[value.field], layout->elementOf(value)));
    }
    return values;
}
