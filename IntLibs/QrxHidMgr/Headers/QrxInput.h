/// @file
/// When input came, and how much.
///
/// The functions are called on the thread that opened the device and make no system call. They clear `error` on
/// success; the errors are QrxError::noSuchInterface, QrxError::notOpen, and on macOS, which offers neither counts nor
/// times, QrxError::notPossible.

#ifndef QRX_INPUT_H
#define QRX_INPUT_H

#include "QrxExport.h"
#include "QrxHIDDevice.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <system_error>

/// What has come in on an interface since it was opened. A value.
class QRX_EXPORT QrxInputCounts {
public:
    /// All 0.
    QrxInputCounts();
    QrxInputCounts(const QrxInputCounts& other);
    QrxInputCounts& operator=(const QrxInputCounts& other);
    ~QrxInputCounts();

    /// Reports that were read, and the bytes of all of them.
    uint64_t getReportCount() const;
    uint64_t getByteCount() const;
    /// How often the loop woke for this interface; below the number of reports where several were read at once.
    uint64_t getWakeUpCount() const;
    /// How often input found no room, see QrxGetPossibleLosses.
    uint64_t getFullQueueCount() const;

private:
    friend QRX_EXPORT QrxInputCounts QrxGetInputCounts(const QrxHIDDevice& device, int interfaceNumber,
                                                       std::error_code& error);
    struct Body;
    std::shared_ptr<const Body> _body;
};

/// The counts as they are now; all 0 on failure.
QRX_EXPORT QrxInputCounts QrxGetInputCounts(const QrxHIDDevice& device, int interfaceNumber, std::error_code& error);

/// When the report was read that the delegate is being told of; between reports, the last one. Reports that were read
/// in one go have one time. The clock is the system's monotonic one, CLOCK_MONOTONIC on Linux.
///
/// Times are taken from the first call for an interface on, so that they cost nothing where nobody asks: that call
/// returns the present time. On failure the result is the clock's epoch.
QRX_EXPORT std::chrono::steady_clock::time_point QrxGetArrivalTime(const QrxHIDDevice& device, int interfaceNumber,
                                                                   std::error_code& error);

#endif
