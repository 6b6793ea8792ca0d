// What tells a device from others of its kind, read once and then kept as a value that outlives the device. The model
// has the IDs and the names; the rest comes from the properties of the device's entry and, for the place and the nodes,
// from the ground through the device interface of a driver. A device of an application's own class has only what the
// model says.

#include "QrxDeviceIdentity.h"

#include "DriverProperties.h"
#include "Ground.h"
#include "InterfaceAccess.h"
#include "PropertyReading.h"

#include <cstdlib>
#include <stdexcept>

using namespace qrx;

namespace {

struct InterfaceIdentity {
    int number = 0;
    std::string name;
    std::string nodePath;
    std::vector<std::uint8_t> reportDescriptor;
};

QrxUsbSpeed speedOf(std::int32_t value)
{
    // The platform's numbers for "Device Speed". Faster generations than the first super speed count as super.
    switch (value) {
    case 0:
        return QrxUsbSpeed::low;
    case 1:
        return QrxUsbSpeed::full;
    case 2:
        return QrxUsbSpeed::high;
    default:
        return value > 2 ? QrxUsbSpeed::super : QrxUsbSpeed::unknown;
    }
}

void read(const _QrxHIDInterfaceMac& interface, InterfaceIdentity& identity)
{
    identity.number = interface.getInterfaceNumber();
    identity.name = textOf(interface._borrowedProperties(), CFSTR("USB Interface Name"));
    const _QrxHIDDeviceConnectionImpl* connection = interface._borrowedConnection();
    if (connection != nullptr && connection->_borrowedDeviceInterface() != nullptr) {
        identity.nodePath = nodePath(connection->_borrowedDeviceInterface());
    }
    const std::span<const std::uint8_t> descriptor = reportDescriptorOf(interface);
    identity.reportDescriptor.assign(descriptor.begin(), descriptor.end());
}

struct BusFacts {
    std::string serialNumber;
    std::uint32_t locationID = 0;
    std::uint32_t address = 0;
    QrxUsbSpeed speed = QrxUsbSpeed::unknown;
    Place place;
};

void read(const _QrxHIDDeviceImpl& device, BusFacts& facts)
{
    const CFDictionaryRef properties = device._borrowedProperties();
    facts.serialNumber = textOf(properties, CFSTR("USB Serial Number"));
    facts.locationID = properties::bits(properties, CFSTR("locationID"));
    facts.address = properties::bits(properties, CFSTR("USB Address"));
    facts.speed = speedOf(properties::number(properties, CFSTR("Device Speed"), -1));
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : device._getInterfaces()) {
        const _QrxHIDDeviceConnectionImpl* connection = interface->_borrowedConnection();
        // All interfaces are plugged at one place; any that has a driver can say it.
        if (connection != nullptr && connection->_borrowedDeviceInterface() != nullptr) {
            facts.place = placeOf(connection->_borrowedDeviceInterface(), facts.locationID);
            break;
        }
    }
}

/// The first device of whose identity `has` says that it has what is wanted.
template <class Wanted>
mis::swizzler<QrxHIDDevice> findDevice(QrxDeviceTree& tree, const Wanted& wanted,
                                       bool (*has)(const QrxDeviceIdentity&, const Wanted&))
{
    for (unsigned int index = 0; index < tree.getHIDDeviceCount(); ++index) {
        const mis::swizzler<QrxHIDDevice> device = tree.getDeviceAtIndex(index);
        if (has(QrxDeviceIdentity(*device), wanted)) {
            return device;
        }
    }
    return {};
}

} // namespace

struct QrxDeviceIdentity::Body {
    std::uint32_t vendorID = 0;
    std::uint32_t productID = 0;
    std::uint32_t releaseNumber = 0;
    std::string vendorName;
    std::string productName;
    BusFacts bus;
    std::vector<InterfaceIdentity> interfaces;

    const InterfaceIdentity& interface(int number) const
    {
        // Answers of the operations are references, so "none" needs an object that stays.
        static const InterfaceIdentity sm_None;
        for (const InterfaceIdentity& one : interfaces) {
            if (one.number == number) {
                return one;
            }
        }
        return sm_None;
    }
};

QrxDeviceIdentity::QrxDeviceIdentity() : _body(std::make_shared<Body>()) {}

QrxDeviceIdentity::QrxDeviceIdentity(const QrxHIDDevice& device)
{
    // Copies share one body, which nobody changes once it is made.
    auto body = std::make_shared<Body>();
    body->vendorID = device.getVendorID();
    body->productID = device.getProductID();
    body->releaseNumber = device.getReleaseNumber();
    body->vendorName = device.getVendorName();
    body->productName = device.getProductName();
    // A device of another backend, as tests have them, keeps what the model tells.
    if (const auto* found = dynamic_cast<const _QrxHIDDeviceImpl*>(&device)) {
        read(*found, body->bus);
        const std::vector<mis::swizzler<_QrxHIDInterfaceMac>>& interfaces = found->_getInterfaces();
        body->interfaces = std::vector<InterfaceIdentity>(interfaces.size());
        for (std::size_t index = 0; index < interfaces.size(); ++index) {
            read(*interfaces[index], body->interfaces[index]);
        }
    }
    _body = std::move(body);
}

QrxDeviceIdentity::QrxDeviceIdentity(const QrxDeviceIdentity& other) = default;
QrxDeviceIdentity& QrxDeviceIdentity::operator=(const QrxDeviceIdentity& other) = default;
QrxDeviceIdentity::~QrxDeviceIdentity() = default;

uint32_t QrxDeviceIdentity::getVendorID() const
{
    return _body->vendorID;
}

uint32_t QrxDeviceIdentity::getProductID() const
{
    return _body->productID;
}

uint32_t QrxDeviceIdentity::getReleaseNumber() const
{
    return _body->releaseNumber;
}

const std::string& QrxDeviceIdentity::getVendorName() const
{
    return _body->vendorName;
}

const std::string& QrxDeviceIdentity::getProductName() const
{
    return _body->productName;
}

const std::string& QrxDeviceIdentity::getSerialNumber() const
{
    return _body->bus.serialNumber;
}

const std::string& QrxDeviceIdentity::getPortChain() const
{
    return _body->bus.place.portChain;
}

uint32_t QrxDeviceIdentity::getBusNumber() const
{
    // The chain begins with the number of the bus: "1-2.1". An empty chain gives 0, which no bus has.
    return static_cast<uint32_t>(std::strtoul(_body->bus.place.portChain.c_str(), nullptr, 10));
}

uint32_t QrxDeviceIdentity::getLocationID() const
{
    return _body->bus.locationID;
}

uint32_t QrxDeviceIdentity::getAddress() const
{
    return _body->bus.address;
}

QrxUsbSpeed QrxDeviceIdentity::getSpeed() const
{
    return _body->bus.speed;
}

bool QrxDeviceIdentity::isVirtual() const
{
    return _body->bus.place.isVirtual;
}

size_t QrxDeviceIdentity::getInterfaceCount() const
{
    return _body->interfaces.size();
}

int QrxDeviceIdentity::getInterfaceNumber(size_t index) const
{
    if (index >= _body->interfaces.size()) {
        throw std::out_of_range("vector [] access out of range");
    }
    return _body->interfaces[index].number;
}

const std::string& QrxDeviceIdentity::getInterfaceName(int interfaceNumber) const
{
    return _body->interface(interfaceNumber).name;
}

const std::string& QrxDeviceIdentity::getNodePath(int interfaceNumber) const
{
    return _body->interface(interfaceNumber).nodePath;
}

const std::vector<uint8_t>& QrxDeviceIdentity::getReportDescriptor(int interfaceNumber) const
{
    return _body->interface(interfaceNumber).reportDescriptor;
}

bool QrxDeviceIdentity::operator==(const QrxDeviceIdentity& other) const
{
    // The address is left out, because it changes with every plugging, and so are the names, which IDs imply.
    return _body->vendorID == other._body->vendorID && _body->productID == other._body->productID &&
           _body->releaseNumber == other._body->releaseNumber &&
           _body->bus.serialNumber == other._body->bus.serialNumber &&
           _body->bus.place.portChain == other._body->bus.place.portChain;
}

mis::swizzler<QrxHIDDevice> QrxFindDevice(QrxDeviceTree& tree, const QrxDeviceIdentity& identity)
{
    return findDevice<QrxDeviceIdentity>(
        tree, identity, [](const QrxDeviceIdentity& one, const QrxDeviceIdentity& wanted) { return one == wanted; });
}

mis::swizzler<QrxHIDDevice> QrxFindDeviceBySerialNumber(QrxDeviceTree& tree, const std::string& serialNumber)
{
    // Many devices have no serial number: an empty one must not find the first of them.
    return findDevice<std::string>(tree, serialNumber, [](const QrxDeviceIdentity& one, const std::string& wanted) {
        return !wanted.empty() && one.getSerialNumber() == wanted;
    });
}

mis::swizzler<QrxHIDDevice> QrxFindDeviceAtPort(QrxDeviceTree& tree, const std::string& portChain)
{
    return findDevice<std::string>(tree, portChain, [](const QrxDeviceIdentity& one, const std::string& wanted) {
        return !wanted.empty() && one.getPortChain() == wanted;
    });
}
