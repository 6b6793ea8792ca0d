/// @file
/// What the bytes of a report mean: values by usage.

#ifndef QRX_REPORT_DECODER_H
#define QRX_REPORT_DECODER_H

#include "QrxExport.h"
#include "QrxHIDCapability.h"
#include "QrxHIDDevice.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// One value of a report, as QrxDecodeReport made it. It may be copied and kept, also after the device has gone.
class QRX_EXPORT QrxDecodedValue {
public:
    uint32_t getUsagePage() const { return _usagePage; }
    uint32_t getUsage() const { return _usage; }

    /// Whether the value can be negative: the field's logical minimum is. Never for a usage that an array shows.
    bool isSigned() const { return _isSigned; }

    /// The logical value, as the device sent it; 1 for a usage that an array shows. Unsigned values above INT64_MAX,
    /// which only a field of 64 bits can have, do not fit and are negative here: take getUnsignedValue where isSigned
    /// is false.
    int64_t getValue() const { return static_cast<int64_t>(_bits); }

    /// The same for a value that is not signed, without that limit. Of a negative value it is the two's complement in
    /// 64 bits.
    uint64_t getUnsignedValue() const { return _bits; }

    /// Where the value stands, in bits from the first bit of the report as it travels: the byte of the report's number
    /// is counted where there is one.
    size_t getBitOffset() const { return _bitOffset; }

    /// The width of the value in bits.
    size_t getSizeBits() const { return _sizeBits; }

    /// The field that the value belongs to; several values share one that counts more than one. For a usage that an
    /// array shows, the usage's own 1-bit element. Empty where the platform's elements are not those that this library
    /// makes of the descriptor, and where the device declares more elements than are kept.
    const QrxHIDCapabilityPtr& getCapability() const { return _capability; }

    /// True when the usage was shown by an array (a pressed key among the six of a keyboard, say). Usages that an array
    /// does not show are not in the list at all.
    bool isArraySelection() const { return _isArraySelection; }

    /// Whether the value is a change, not a position.
    bool isRelative() const { return _isRelative; }

    /// The device says with this value that it has none: the field has a null state, and the value is outside of its
    /// logical range.
    bool isNull() const { return _isNull; }

    /// The same usage in the same place with another value, which is not null: 0 for a key that has been released
    /// since, say. `bits` are the value in two's complement.
    QrxDecodedValue withValue(uint64_t bits) const;

private:
    friend class QrxReportReading;
    QrxDecodedValue() = default;

    QrxHIDCapabilityPtr _capability;
    uint32_t _usagePage = 0;
    uint32_t _usage = 0;
    uint64_t _bits = 0;
    size_t _bitOffset = 0;
    size_t _sizeBits = 0;
    bool _isSigned = false;
    bool _isRelative = false;
    bool _isNull = false;
    bool _isArraySelection = false;
};

/// Takes a report apart by what the device declared of it: QrxReportLayout with the elements of the device's tree.
///
/// `reportType` is 0 input, 1 output, 2 feature, as for `QrxHIDDevice::setReport`. `bytes` are `count` bytes as a
/// delegate gets them and `setReport` takes them: the report's number first where the interface numbers its reports.
///
/// The values come in the order of their place in the report. Left out are padding (constant fields), values that the
/// report is too short for, values of more than 64 bits, and array entries that name no usage of the array or its usage
/// 0 ("no event" on a keyboard). A usage that an array shows twice is listed once. The list is empty for a report that
/// the device does not declare, for no bytes, for a device that the library did not find, and where the platform does
/// not publish the report descriptor.
///
/// Call it on the device's thread. The result holds references on the device's elements and nothing else; it stays
/// valid after the device has gone.
QRX_EXPORT std::vector<QrxDecodedValue> QrxDecodeReport(const QrxHIDDevice& device, unsigned int reportType,
                                                        const uint8_t* bytes, size_t count, int interfaceNumber);

#endif
