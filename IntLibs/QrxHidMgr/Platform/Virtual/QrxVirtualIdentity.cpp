#include "QrxVirtualDevice.h"

#include <utility>

// The facts are behind a pointer, so that some can be added without changing the class that programs were built with.
struct QrxVirtualIdentity::Body {
    std::uint16_t vendorID = 0;
    std::uint16_t productID = 0;
    // Version 1.00 in binary-coded decimal (USB 2.0, 9.6.1).
    std::uint16_t releaseNumber = 0x0100;
    std::uint8_t deviceClass = 0;
    std::uint8_t deviceSubclass = 0;
    std::uint8_t deviceProtocol = 0;
    std::string vendorName;
    std::string productName;
    std::string serialNumber;
};

QrxVirtualIdentity::QrxVirtualIdentity() : _body(std::make_unique<Body>()) {}

QrxVirtualIdentity::QrxVirtualIdentity(std::uint16_t vendorID, std::uint16_t productID) : QrxVirtualIdentity()
{
    _body->vendorID = vendorID;
    _body->productID = productID;
}

QrxVirtualIdentity::QrxVirtualIdentity(const QrxVirtualIdentity& other) : _body(std::make_unique<Body>(*other._body)) {}

QrxVirtualIdentity::QrxVirtualIdentity(QrxVirtualIdentity&& other) noexcept = default;

QrxVirtualIdentity& QrxVirtualIdentity::operator=(QrxVirtualIdentity other) noexcept
{
    _body.swap(other._body);
    return *this;
}

QrxVirtualIdentity::~QrxVirtualIdentity() = default;

std::uint16_t QrxVirtualIdentity::getVendorID() const
{
    return _body->vendorID;
}

QrxVirtualIdentity& QrxVirtualIdentity::setVendorID(std::uint16_t vendorID)
{
    _body->vendorID = vendorID;
    return *this;
}

std::uint16_t QrxVirtualIdentity::getProductID() const
{
    return _body->productID;
}

QrxVirtualIdentity& QrxVirtualIdentity::setProductID(std::uint16_t productID)
{
    _body->productID = productID;
    return *this;
}

std::uint16_t QrxVirtualIdentity::getReleaseNumber() const
{
    return _body->releaseNumber;
}

QrxVirtualIdentity& QrxVirtualIdentity::setReleaseNumber(std::uint16_t releaseNumber)
{
    _body->releaseNumber = releaseNumber;
    return *this;
}

std::uint8_t QrxVirtualIdentity::getDeviceClass() const
{
    return _body->deviceClass;
}

QrxVirtualIdentity& QrxVirtualIdentity::setDeviceClass(std::uint8_t deviceClass)
{
    _body->deviceClass = deviceClass;
    return *this;
}

std::uint8_t QrxVirtualIdentity::getDeviceSubclass() const
{
    return _body->deviceSubclass;
}

QrxVirtualIdentity& QrxVirtualIdentity::setDeviceSubclass(std::uint8_t deviceSubclass)
{
    _body->deviceSubclass = deviceSubclass;
    return *this;
}

std::uint8_t QrxVirtualIdentity::getDeviceProtocol() const
{
    return _body->deviceProtocol;
}

QrxVirtualIdentity& QrxVirtualIdentity::setDeviceProtocol(std::uint8_t deviceProtocol)
{
    _body->deviceProtocol = deviceProtocol;
    return *this;
}

const std::string& QrxVirtualIdentity::getVendorName() const
{
    return _body->vendorName;
}

QrxVirtualIdentity& QrxVirtualIdentity::setVendorName(std::string vendorName)
{
    _body->vendorName = std::move(vendorName);
    return *this;
}

const std::string& QrxVirtualIdentity::getProductName() const
{
    return _body->productName;
}

QrxVirtualIdentity& QrxVirtualIdentity::setProductName(std::string productName)
{
    _body->productName = std::move(productName);
    return *this;
}

const std::string& QrxVirtualIdentity::getSerialNumber() const
{
    return _body->serialNumber;
}

QrxVirtualIdentity& QrxVirtualIdentity::setSerialNumber(std::string serialNumber)
{
    _body->serialNumber = std::move(serialNumber);
    return *this;
}
