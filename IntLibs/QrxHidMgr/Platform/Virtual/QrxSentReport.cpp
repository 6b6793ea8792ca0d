#include "QrxVirtualDevice.h"

#include <utility>

// The public form of what VirtualUsbDevice.h calls a SentReport: with plain integers, so that programs need no header
// of the platform.
struct QrxSentReport::Body {
    int interfaceNumber;
    unsigned int reportType;
    unsigned int reportID;
    std::vector<std::uint8_t> bytes;
};

QrxSentReport::QrxSentReport(int interfaceNumber, unsigned int reportType, unsigned int reportID,
                             std::vector<std::uint8_t> bytes)
    : _body(new Body{interfaceNumber, reportType, reportID, std::move(bytes)})
{
}

QrxSentReport::QrxSentReport(const QrxSentReport& other) : _body(std::make_unique<Body>(*other._body)) {}

QrxSentReport::QrxSentReport(QrxSentReport&& other) noexcept = default;

QrxSentReport& QrxSentReport::operator=(QrxSentReport other) noexcept
{
    _body.swap(other._body);
    return *this;
}

QrxSentReport::~QrxSentReport() = default;

int QrxSentReport::getInterfaceNumber() const
{
    return _body->interfaceNumber;
}

unsigned int QrxSentReport::getReportType() const
{
    return _body->reportType;
}

unsigned int QrxSentReport::getReportID() const
{
    return _body->reportID;
}

const std::vector<std::uint8_t>& QrxSentReport::getBytes() const
{
    return _body->bytes;
}
