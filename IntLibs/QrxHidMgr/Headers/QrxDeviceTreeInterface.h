/// @file
/// The library in one small object, for applications that only name devices and send to the first.

#ifndef QRX_DEVICE_TREE_INTERFACE_H
#define QRX_DEVICE_TREE_INTERFACE_H

#include "QrxDeviceTree.h"
#include "QrxExport.h"
#include "swizzler"

#include <utility>
#include <valarray>
#include <vector>

// Deliberate: the destructor is not virtual; the facade is a value, made and destroyed by the application as what it
// is.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// Builds a device tree for a list of devices, watches it, and sends output reports to its first device.
///
/// A plain object without reference count: construct, `createDeviceTree`, `startTheDeviceService`, any number of
/// `setOutputReport`, destroy. It owns its tree and does not give it out; an application that wants input reports or
/// more than one device uses `QrxDeviceTree` instead. Do not delete an object of a derived class through this one.
///
/// All calls come from one thread, the one whose run loop delivers arrivals and removals. `startTheDeviceService` and
/// `setOutputReport` before `createDeviceTree` end the process with a message on standard error.
class QRX_EXPORT QrxDeviceTreeInterface {
public:
    /// No tree, no devices wanted, device interface -1.
    QrxDeviceTreeInterface();

    /// Releases the tree, and with it all that the application does not hold otherwise.
    ~QrxDeviceTreeInterface();

    /// Keeps a pointer of the application's own, not owned and never read by the library.
    virtual void setApplicationOwner(void* owner);

    /// Makes a new tree for the pairs (vendor ID, product ID), 0 in either half accepting any value, and adds the
    /// matching devices that are present. A tree made before is released.
    virtual void createDeviceTree(const std::vector<std::pair<unsigned short, unsigned short>>& ids);

    /// Sends one report to the first device of the tree (index 0), whatever its number of interfaces, and blocks until
    /// the platform returns. Throws `std::out_of_range` with the text "vector [] access out of range" when there is no
    /// device.
    ///
    /// @param reportType       0 input, 1 output, 2 feature
    /// @param reportID         the report's number, 0 where reports are not numbered
    /// @param report           the bytes as they go out; without bytes nothing is sent
    /// @param interfaceNumber  the USB interface to send on; `setDeviceInterface` has no part in it
    /// @return always true; whether the report arrived is not known
    virtual bool setOutputReport(unsigned int reportType, unsigned int reportID, std::valarray<unsigned char> report,
                                 int interfaceNumber);

    /// Keeps a USB interface number of the application's choice; never read by the library.
    void setDeviceInterface(int interfaceNumber);

    /// Follows matching devices on the calling thread's run loop from now on, and writes "QrxDeviceTreeInterface()
    /// Device count in tree = ", the count and an end of line to standard output. An exception is caught and writes
    /// "Oops" instead. Opens no device.
    ///
    /// @return always true
    bool startTheDeviceService();

    /// Does nothing: watching ends with the tree.
    void stopTheDeviceService();

protected:
    /// The pairs given to the last `createDeviceTree`.
    std::vector<std::pair<unsigned short, unsigned short>> _vendorAndProductIDs;

    /// The tree, or empty before `createDeviceTree`.
    mis::swizzler<QrxDeviceTree> _deviceTree;

    /// The application's choice of USB interface, -1 for none.
    int _deviceInterface;

    /// The application's pointer, null until it sets one.
    void* _applicationOwner;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#endif
