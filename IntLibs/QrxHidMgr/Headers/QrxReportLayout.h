/// @file
/// What the reports of an interface mean: its fields, and the way from bytes to values by usage and back.

#ifndef QRX_REPORT_LAYOUT_H
#define QRX_REPORT_LAYOUT_H

#include "QrxExport.h"
#include "QrxReportType.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <system_error>

class QrxHIDDevice;

namespace qrx::hid {
struct LayoutField;
class ReportLayout;
} // namespace qrx::hid

/// In place of a collection's index where there is no collection.
constexpr size_t kQrxNoCollection = static_cast<size_t>(-1);

/// One item of a report descriptor that has a meaning: `getCount` values of one width, side by side.
///
/// A view into a layout: copy it freely, use it while that layout, a copy of it, or the values that the layout filled
/// live.
class QRX_EXPORT QrxReportField {
public:
    QrxReportType getReportType() const;
    /// 0 for an interface that does not number its reports.
    uint32_t getReportID() const;
    /// Where the first value begins, in bits from the first bit of the report as it travels: the byte with the report's
    /// number is counted where there is one.
    size_t getBitOffset() const;
    /// The width of one value in bits.
    uint32_t getSizeBits() const;
    /// How many values have a usage; for an array, how many usages it can show at once.
    uint32_t getCount() const;
    /// How many usages the field names. An array can show any of them. In a field that is no array the value at an
    /// index has the usage at this position, or the last one where there are more values than usages; where there are
    /// more usages than values, those that are left over have no place in the report.
    uint64_t getUsageCount() const;
    /// The usage at a position, the usage page in the high 16 bits. Throws std::out_of_range past the end.
    uint32_t getUsage(uint64_t position) const;
    /// The same usages as ranges without a gap, in order; a single usage is a range with equal ends. The operations
    /// throw std::out_of_range past the end.
    size_t getUsageRangeCount() const;
    uint32_t getFirstUsage(size_t range) const;
    uint32_t getLastUsage(size_t range) const;

    /// The field names which of its usages are on, instead of having a value for each of them.
    bool isArray() const;
    /// The device declares the field as constant. It is not read, and `encode` writes zeros there.
    bool isConstant() const;
    /// A change since the last report, instead of a position.
    bool isRelative() const;
    /// Values can be negative: the logical minimum is.
    bool isSigned() const;
    /// A value outside of the logical range says that there is none.
    bool hasNullState() const;
    /// The data of the item, HID 1.11, 6.2.2.5.
    uint32_t getFlags() const;

    /// The limits that decoding and encoding go by: cut to what the field's width can hold, and 0 and 1 for a field of
    /// single bits. Only an array's may be inverted.
    int64_t getLogicalMinimum() const;
    int64_t getLogicalMaximum() const;
    /// Equal to the logical ones for arrays and single bits, and where the device declares no range that increases.
    int64_t getPhysicalMinimum() const;
    int64_t getPhysicalMaximum() const;
    /// The unit's code, HID 1.11, 6.2.2.7; 0 for none and for arrays.
    uint32_t getUnit() const;
    /// The power of ten by which physical values are to be multiplied. Unlike that of QrxHIDCapability it is decoded:
    /// -2 where the device wrote the code 14.
    int32_t getUnitExponent() const;
    /// What a logical value measures, in the field's unit, the exponent applied. A value outside of the logical range
    /// is scaled by the same line. The value itself where the logical range is empty.
    double getPhysicalValue(int64_t logicalValue) const;

    /// The innermost collection around the field, an index for the layout's operations on collections; kQrxNoCollection
    /// outside of all.
    size_t getCollection() const;
    /// Where the item stands in the report descriptor, in bytes from its beginning.
    size_t getDescriptorOffset() const;

private:
    friend class QrxReportLayout;
    friend class QrxReportValues;
    explicit QrxReportField(const qrx::hid::LayoutField& field) : _field(&field) {}

    const qrx::hid::LayoutField* _field;
};

/// The values of one report, in the order of their place: what QrxReportLayout::decode fills.
///
/// Keep one and use it again: once it has grown to the longest report, decoding allocates nothing. It keeps the layout
/// that filled it. Indexes are below getCount; operations throw std::out_of_range past the end.
class QRX_EXPORT QrxReportValues {
public:
    QrxReportValues();
    QrxReportValues(const QrxReportValues&) = delete;
    QrxReportValues& operator=(const QrxReportValues&) = delete;
    ~QrxReportValues();

    size_t getCount() const;
    uint32_t getUsagePage(size_t index) const;
    uint32_t getUsage(size_t index) const;
    /// The logical value, as the device sent it; 1 for a usage that an array shows. An unsigned value above INT64_MAX,
    /// which only a field of 64 bits can have, is negative here: take getUnsignedValue where isSigned is false.
    int64_t getValue(size_t index) const;
    /// The same without that limit for a value that is not signed. Of a negative one the two's complement.
    uint64_t getUnsignedValue(size_t index) const;
    /// What the value measures, in the field's unit (getField(index).getUnit(), QrxGetUnitText); see
    /// QrxReportField::getPhysicalValue.
    double getPhysicalValue(size_t index) const;
    bool isSigned(size_t index) const;
    /// The device says with this value that it has none (a hat switch at rest).
    bool isNull(size_t index) const;
    /// Shown by an array (a pressed key among the six of a keyboard). Usages that an array does not show are not
    /// listed.
    bool isArraySelection(size_t index) const;
    /// In bits from the first bit of the report as it travels.
    size_t getBitOffset(size_t index) const;
    uint32_t getSizeBits(size_t index) const;
    QrxReportField getField(size_t index) const;

private:
    friend class QrxReportLayout;
    struct Body;
    std::unique_ptr<Body> _body;
};

/// A value that is to be written.
struct QrxUsageValue {
    /// The usage page in the high 16 bits.
    uint32_t usage;
    /// The logical value. For a usage of an array: 1 to show it, 0 not to.
    int64_t value;
    /// Which of several values of this usage in the report, from 0 on.
    uint32_t index;
};

/// All that the report descriptor of one HID interface says of its reports.
///
/// Made once for an interface and used for each of its reports. A layout does not change and holds nothing of the
/// device: copies are cheap, outlive the device, and may be used on several threads.
class QRX_EXPORT QrxReportLayout {
public:
    /// Empty: no reports.
    QrxReportLayout();
    /// Reads a report descriptor of `size` bytes, at most the first 4096. A fault does not end the reading: whatever
    /// can be understood is kept.
    QrxReportLayout(const uint8_t* descriptor, size_t size);
    /// The layout of an interface of a device that the library found. Empty if it has no HID interface of that number,
    /// or if the platform does not publish the descriptor. The first call for an interface reads the descriptor; later
    /// ones give the same layout. Call it on the device's thread.
    QrxReportLayout(const QrxHIDDevice& device, int interfaceNumber);
    QrxReportLayout(const QrxReportLayout& other);
    QrxReportLayout& operator=(const QrxReportLayout& other);
    ~QrxReportLayout();

    /// No reports are known.
    bool isEmpty() const;
    /// Reports begin with a byte that tells their number.
    bool hasReportNumbers() const;

    /// The reports by type and number: those of all types that have at least one bit.
    size_t getReportCount() const;
    QrxReportType getReportType(size_t index) const;
    uint32_t getReportID(size_t index) const;
    /// The size of a report as it travels, padding and the byte of its number included; 0 if there is no such report.
    size_t getReportSizeBits(QrxReportType type, uint32_t reportID) const;
    /// The same in whole bytes, which is what travels.
    size_t getReportSizeBytes(QrxReportType type, uint32_t reportID) const;

    /// The fields by type, report number and offset, constant ones included that have a usage.
    size_t getFieldCount() const;
    /// Throws std::out_of_range past the end.
    QrxReportField getField(size_t index) const;

    /// The collections in the order of the descriptor: an enclosing one comes before those that it encloses.
    /// The operations below throw std::out_of_range past the end.
    size_t getCollectionCount() const;
    /// 0 physical, 1 application, 2 logical, 3 report, 4 named array, 5 usage switch, 6 usage modifier.
    uint32_t getCollectionType(size_t index) const;
    /// The usage page in the high 16 bits.
    uint32_t getCollectionUsage(size_t index) const;
    /// The index of the enclosing collection; kQrxNoCollection for a top-level one.
    size_t getCollectionParent(size_t index) const;

    /// Takes a report apart. `bytes` are `size` bytes as a delegate gets them and setReport takes them: the report's
    /// number first where the interface numbers its reports.
    ///
    /// Left out are constant fields, values that the report is too short for, values of more than 64 bits, and array
    /// entries that name no usage of the array or its usage 0 ("no event" on a keyboard). A usage that an array shows
    /// twice is listed once. There are no values for a report that is not declared, and for no bytes. The time depends
    /// on the values of the report, not on the usages that its arrays could show.
    void decode(QrxReportType type, const uint8_t* bytes, size_t size, QrxReportValues& values) const;

    /// Writes values into a report of `size` bytes, at least getReportSizeBytes, and its number where reports are
    /// numbered. Padding becomes 0; values that are not named stay as they are in `bytes`, so begin with zeros or with
    /// a report that was read. An array of which a usage is named then shows those named with the value 1, in that
    /// order, and no others.
    ///
    /// Nothing is written on failure: QrxError::noSuchReport, wrongLength (the buffer is too short), noSuchUsage,
    /// outOfRange (outside of the logical range of a field without a null state, outside of the field's width, or
    /// neither 0 nor 1 for a usage of an array) or noRoom (more usages than the array has entries, or the array has no
    /// number for "nothing"). `failed`, if given, becomes the position in `values` of the one that could not be
    /// written, `count` if it was none in particular and on success.
    std::error_code encode(QrxReportType type, uint32_t reportID, const QrxUsageValue* values, size_t count,
                           uint8_t* bytes, size_t size, size_t* failed = nullptr) const;

private:
    std::shared_ptr<const qrx::hid::ReportLayout> _layout;
};

#endif
