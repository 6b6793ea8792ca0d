#include "QrxHIDDeviceConnection.h"

#include "AbstractOperation.h"
#include "NodeSearch.h"
#include "QrxHIDDevice.h"

#include <utility>

QrxHIDDeviceConnection::QrxHIDDeviceConnection() = default;

QrxHIDDeviceConnection::~QrxHIDDeviceConnection() = default;

void QrxHIDDeviceConnection::open()
{
    reportAbstract("virtual void QrxHIDDeviceConnection::open()");
}

void QrxHIDDeviceConnection::close()
{
    reportAbstract("virtual void QrxHIDDeviceConnection::close()");
}

mis::swizzler<QrxHIDDevice> QrxHIDDeviceConnection::getDevice() const
{
    return findNearestDevice(*this);
}

void QrxHIDDeviceConnection::handleReport(std::valarray<uint8_t> report, int interfaceNumber)
{
    // The application's delegate may end this connection during the call. The device is held by the handle; nothing of
    // the connection is used after the call. The array is this call's own copy, so the device takes it over without
    // another one.
    const mis::swizzler<QrxHIDDevice> device = getDevice();
    if (device) {
        device->_handleReport(std::move(report), interfaceNumber);
    }
}

void QrxHIDDeviceConnection::setReport(unsigned int, unsigned int, std::valarray<uint8_t>)
{
    reportAbstract(
        "virtual void QrxHIDDeviceConnection::setReport(unsigned int, unsigned int, std::valarray<uint8_t>)");
}
