/// @file
/// Which device it is: what tells one from another of its kind.

#ifndef QRX_DEVICE_IDENTITY_H
#define QRX_DEVICE_IDENTITY_H

#include "QrxDeviceTree.h"
#include "QrxExport.h"
#include "QrxHIDDevice.h"
#include "swizzler"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The speeds of USB; `super` is 5 Gbit/s and above.
enum class QrxUsbSpeed { unknown, low, full, high, super };

/// What a device and the bus say of it, as it was when the library found it. A value: copies are cheap, outlive the
/// device and may be used on any thread.
///
/// Texts are UTF-8 and the device's own: escape them before you show them. Numbers that are not known are 0 and texts
/// "".
class QRX_EXPORT QrxDeviceIdentity {
public:
    /// The identity of no device: every number is 0 and every text "".
    QrxDeviceIdentity();
    /// The identity of a device that the library found; for any other device, its IDs and names only. Call it on the
    /// device's thread.
    explicit QrxDeviceIdentity(const QrxHIDDevice& device);
    QrxDeviceIdentity(const QrxDeviceIdentity& other);
    QrxDeviceIdentity& operator=(const QrxDeviceIdentity& other);
    ~QrxDeviceIdentity();

    uint32_t getVendorID() const;
    uint32_t getProductID() const;
    /// bcdDevice: 0x0110 is release 1.10.
    uint32_t getReleaseNumber() const;
    /// The names as QrxHIDDevice gives them: on macOS "" for one that is not ASCII.
    const std::string& getVendorName() const;
    const std::string& getProductName() const;
    /// "" for the many devices that have none. Not every maker gives each device its own.
    const std::string& getSerialNumber() const;

    /// Where it is plugged: the number of the bus, "-", and the ports from the root hub on, joined by ".": "1-2.1". The
    /// same each time that something is plugged in there, as long as the buses are numbered alike. A virtual device has
    /// "virtual-" and a number, which it keeps.
    const std::string& getPortChain() const;
    /// The number before the "-"; 0 for a virtual device.
    uint32_t getBusNumber() const;
    /// The platform's number of the place: the bus in the top byte, then 4 bits for each port.
    uint32_t getLocationID() const;
    /// The device's number on its bus, which the host gives anew each time that the device is plugged in.
    uint32_t getAddress() const;
    QrxUsbSpeed getSpeed() const;
    /// Made by this program, see QrxVirtualDevice.
    bool isVirtual() const;

    /// How many USB interfaces there are, those that are not HID included.
    size_t getInterfaceCount() const;
    /// The number of the interface at `index`, counted from 0. Throws std::out_of_range past the end.
    int getInterfaceNumber(size_t index) const;
    /// The name of an interface, chosen by its number; "" if there is none.
    const std::string& getInterfaceName(int interfaceNumber) const;
    /// The file by which the system offers the interface: "/dev/hidraw3". "" on macOS, for a virtual device and for an
    /// interface that is not HID.
    const std::string& getNodePath(int interfaceNumber) const;
    /// Empty for an interface that is not HID, and where the platform does not publish it.
    const std::vector<uint8_t>& getReportDescriptor(int interfaceNumber) const;

    /// The same device at the same place, as far as the platform can tell: equal IDs, release, serial number and port
    /// chain. So a device equals itself when it was pulled and plugged into the same port again, and two devices of a
    /// kind differ as long as both are plugged in.
    bool operator==(const QrxDeviceIdentity& other) const;
    bool operator!=(const QrxDeviceIdentity& other) const { return !(*this == other); }

private:
    struct Body;
    std::shared_ptr<const Body> _body;
};

/// The first device of a tree with that identity, or an empty handle.
QRX_EXPORT mis::swizzler<QrxHIDDevice> QrxFindDevice(QrxDeviceTree& tree, const QrxDeviceIdentity& identity);

/// The first device of a tree with that serial number, or an empty handle; always empty for "".
QRX_EXPORT mis::swizzler<QrxHIDDevice> QrxFindDeviceBySerialNumber(QrxDeviceTree& tree,
                                                                   const std::string& serialNumber);

/// The device of a tree that is plugged into that port ("1-2.1"), or an empty handle; always empty for "".
QRX_EXPORT mis::swizzler<QrxHIDDevice> QrxFindDeviceAtPort(QrxDeviceTree& tree, const std::string& portChain);

#endif
