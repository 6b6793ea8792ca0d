#include "QrxVirtualDevice.h"

#include <utility>

// Nothing is checked here: what a device may have is decided when it is made of all its interfaces
// (QrxVirtualDevice.cpp).
struct QrxVirtualInterface::Body {
    int number = 0;
    std::vector<std::uint8_t> reportDescriptor;
    std::string name;
    std::uint8_t subclass = 0;
    std::uint8_t protocol = 0;
};

QrxVirtualInterface::QrxVirtualInterface() : _body(std::make_unique<Body>()) {}

QrxVirtualInterface::QrxVirtualInterface(int number, std::vector<std::uint8_t> reportDescriptor) : QrxVirtualInterface()
{
    _body->number = number;
    _body->reportDescriptor = std::move(reportDescriptor);
}

QrxVirtualInterface::QrxVirtualInterface(const QrxVirtualInterface& other) : _body(std::make_unique<Body>(*other._body))
{
}

QrxVirtualInterface::QrxVirtualInterface(QrxVirtualInterface&& other) noexcept = default;

QrxVirtualInterface& QrxVirtualInterface::operator=(QrxVirtualInterface other) noexcept
{
    _body.swap(other._body);
    return *this;
}

QrxVirtualInterface::~QrxVirtualInterface() = default;

int QrxVirtualInterface::getNumber() const
{
    return _body->number;
}

QrxVirtualInterface& QrxVirtualInterface::setNumber(int number)
{
    _body->number = number;
    return *this;
}

const std::vector<std::uint8_t>& QrxVirtualInterface::getReportDescriptor() const
{
    return _body->reportDescriptor;
}

QrxVirtualInterface& QrxVirtualInterface::setReportDescriptor(std::vector<std::uint8_t> reportDescriptor)
{
    _body->reportDescriptor = std::move(reportDescriptor);
    return *this;
}

const std::string& QrxVirtualInterface::getName() const
{
    return _body->name;
}

QrxVirtualInterface& QrxVirtualInterface::setName(std::string name)
{
    _body->name = std::move(name);
    return *this;
}

std::uint8_t QrxVirtualInterface::getSubclass() const
{
    return _body->subclass;
}

QrxVirtualInterface& QrxVirtualInterface::setSubclass(std::uint8_t subclass)
{
    _body->subclass = subclass;
    return *this;
}

std::uint8_t QrxVirtualInterface::getProtocol() const
{
    return _body->protocol;
}

QrxVirtualInterface& QrxVirtualInterface::setProtocol(std::uint8_t protocol)
{
    _body->protocol = protocol;
    return *this;
}
