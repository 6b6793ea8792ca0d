#include "QrxInput.h"

#include "Ground.h"
#include "InterfaceAccess.h"
#include "QrxError.h"

struct QrxInputCounts::Body {
    qrx::InputCounts counts;
};

namespace {

/// Null where the device has no such HID interface, and `error` is noSuchInterface then; otherwise `error` is cleared.
IOHIDDeviceInterface122** driverOf(const QrxHIDDevice& device, int interfaceNumber, std::error_code& error)
{
    const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection = qrx::connectionOf(device, interfaceNumber);
    IOHIDDeviceInterface122** const driver = connection ? connection->_borrowedDeviceInterface() : nullptr;
    error = driver == nullptr ? QrxError::noSuchInterface : std::error_code();
    return driver;
}

} // namespace

// A value that is copied cheaply: the counts as they were when they were asked for, shared by all copies.
QrxInputCounts::QrxInputCounts() : _body(std::make_shared<const Body>()) {}
QrxInputCounts::QrxInputCounts(const QrxInputCounts& other) = default;
QrxInputCounts& QrxInputCounts::operator=(const QrxInputCounts& other) = default;
QrxInputCounts::~QrxInputCounts() = default;

uint64_t QrxInputCounts::getReportCount() const
{
    return _body->counts.reports;
}

uint64_t QrxInputCounts::getByteCount() const
{
    return _body->counts.bytes;
}

uint64_t QrxInputCounts::getWakeUpCount() const
{
    return _body->counts.wakeUps;
}

uint64_t QrxInputCounts::getFullQueueCount() const
{
    return _body->counts.fullQueues;
}

QrxInputCounts QrxGetInputCounts(const QrxHIDDevice& device, int interfaceNumber, std::error_code& error)
{
    // All counts stay 0 where `driverOf` fails.
    QrxInputCounts counts;
    if (IOHIDDeviceInterface122** const driver = driverOf(device, interfaceNumber, error)) {
        counts._body =
            std::make_shared<const QrxInputCounts::Body>(QrxInputCounts::Body{qrx::inputCounts(driver, error)});
    }
    return counts;
}

std::chrono::steady_clock::time_point QrxGetArrivalTime(const QrxHIDDevice& device, int interfaceNumber,
                                                        std::error_code& error)
{
    IOHIDDeviceInterface122** const driver = driverOf(device, interfaceNumber, error);
    return driver != nullptr ? qrx::arrivalTime(driver, error) : std::chrono::steady_clock::time_point();
}
