#include "QrxRecording.h"

#include <utility>

// The facts are behind a pointer, so that some can be added without changing the class that programs were built with.
struct QrxRecordedInterface::Body {
    int number = 0;
    std::vector<std::uint8_t> reportDescriptor;
    std::string name;
    std::string physicalPath;
    std::uint8_t subclass = 0;
    std::uint8_t protocol = 0;
};

QrxRecordedInterface::QrxRecordedInterface() : _body(std::make_unique<Body>()) {}

QrxRecordedInterface::QrxRecordedInterface(int number, std::vector<std::uint8_t> reportDescriptor)
    : QrxRecordedInterface()
{
    _body->number = number;
    _body->reportDescriptor = std::move(reportDescriptor);
}

QrxRecordedInterface::QrxRecordedInterface(const QrxRecordedInterface& other)
    : _body(std::make_unique<Body>(*other._body))
{
}

QrxRecordedInterface::QrxRecordedInterface(QrxRecordedInterface&& other) noexcept = default;

// Assignment takes a copy and exchanges: nothing is half assigned when memory runs out.
QrxRecordedInterface& QrxRecordedInterface::operator=(QrxRecordedInterface other) noexcept
{
    _body.swap(other._body);
    return *this;
}

QrxRecordedInterface::~QrxRecordedInterface() = default;

int QrxRecordedInterface::getNumber() const
{
    return _body->number;
}

// Setters check nothing: a program may set facts in any order, and the rules are about all of them together
// (RecordingRules.cpp).
QrxRecordedInterface& QrxRecordedInterface::setNumber(int number)
{
    _body->number = number;
    return *this;
}

const std::vector<std::uint8_t>& QrxRecordedInterface::getReportDescriptor() const
{
    return _body->reportDescriptor;
}

QrxRecordedInterface& QrxRecordedInterface::setReportDescriptor(std::vector<std::uint8_t> reportDescriptor)
{
    _body->reportDescriptor = std::move(reportDescriptor);
    return *this;
}

const std::string& QrxRecordedInterface::getName() const
{
    return _body->name;
}

QrxRecordedInterface& QrxRecordedInterface::setName(std::string name)
{
    _body->name = std::move(name);
    return *this;
}

const std::string& QrxRecordedInterface::getPhysicalPath() const
{
    return _body->physicalPath;
}

QrxRecordedInterface& QrxRecordedInterface::setPhysicalPath(std::string physicalPath)
{
    _body->physicalPath = std::move(physicalPath);
    return *this;
}

std::uint8_t QrxRecordedInterface::getSubclass() const
{
    return _body->subclass;
}

QrxRecordedInterface& QrxRecordedInterface::setSubclass(std::uint8_t subclass)
{
    _body->subclass = subclass;
    return *this;
}

std::uint8_t QrxRecordedInterface::getProtocol() const
{
    return _body->protocol;
}

QrxRecordedInterface& QrxRecordedInterface::setProtocol(std::uint8_t protocol)
{
    _body->protocol = protocol;
    return *this;
}
