/// @file
/// Functions in place of delegates, for short programs.
///
/// A function may do anything, such as replace itself or drop the object that it was given to: it is kept alive until
/// it returns. An empty function, and one that was never set, does nothing. An exception passes as that of a delegate
/// would. All calls come on the thread of the tree or device.

#ifndef QRX_FUNCTIONS_H
#define QRX_FUNCTIONS_H

#include "QrxDeviceTree.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxDeviceTreeRemovalInterface.h"
#include "QrxExport.h"
#include "QrxHIDDevice.h"
#include "QrxHIDDeviceDelegateInterface.h"
#include "QrxHIDDeviceEventInterface.h"
#include "swizzler"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

/// The delegate of a tree, made of functions. It holds the tree, and is its delegate from the constructor to the
/// destructor, unless another one is set meanwhile; the application owns it and uses it on the tree's thread.
///
///     QrxTreeFunctions functions(QrxDeviceTree::NewInstance());
///     functions.onAdded([](const mis::swizzler<QrxHIDDevice>& device) { ... });
///     functions.getTree()->observe(0x046d, 0);
class QRX_EXPORT QrxTreeFunctions : public QrxDeviceTreeDelegateInterface, public QrxDeviceTreeRemovalInterface {
public:
    using DeviceFunction = std::function<void(const mis::swizzler<QrxHIDDevice>& device)>;

    /// Becomes the tree's delegate in place of any earlier one. Ends the process when the handle is empty.
    explicit QrxTreeFunctions(const mis::swizzler<QrxDeviceTree>& tree);
    QrxTreeFunctions(const QrxTreeFunctions&) = delete;
    QrxTreeFunctions& operator=(const QrxTreeFunctions&) = delete;
    /// Leaves the tree without a delegate, or with the other one that was set meanwhile.
    ~QrxTreeFunctions() override;

    /// The tree that the constructor was given.
    const mis::swizzler<QrxDeviceTree>& getTree() const;

    /// As QrxDeviceTreeDelegateInterface::deviceAdded.
    QrxTreeFunctions& onAdded(DeviceFunction function);
    /// As QrxDeviceTreeRemovalInterface::deviceRemoved. Also without it a device that leaves is closed.
    QrxTreeFunctions& onRemoved(DeviceFunction function);

    void deviceAdded(mis::swizzler<QrxHIDDevice> device) override;
    void deviceRemoved(mis::swizzler<QrxHIDDevice> device) override;

private:
    struct Body;
    std::unique_ptr<Body> _body;
};

/// The delegate of a device, made of functions. The device owns it, as any delegate. Set the functions before the
/// device is opened: what comes earlier is dropped.
class QRX_EXPORT QrxDeviceFunctions : public QrxHIDDeviceDelegateInterface, public QrxHIDDeviceEventInterface {
public:
    using ReportFunction = std::function<void(const uint8_t* bytes, size_t size, int interfaceNumber)>;
    using SetReportFunction = std::function<void(unsigned int reportType, unsigned int reportID, const uint8_t* bytes,
                                                 size_t size, int interfaceNumber)>;
    using LossFunction = std::function<void(int interfaceNumber, uint64_t count)>;

    /// Makes one and sets it as the device's delegate. It lives until the device ends; one that is replaced before
    /// (setDelegate, or this again) is the caller's to delete.
    static QrxDeviceFunctions& installOn(QrxHIDDevice& device);

    QrxDeviceFunctions();
    QrxDeviceFunctions(const QrxDeviceFunctions&) = delete;
    QrxDeviceFunctions& operator=(const QrxDeviceFunctions&) = delete;
    ~QrxDeviceFunctions() override;

    /// As QrxHIDDeviceDelegateInterface::handleReport; the bytes live until the function returns.
    QrxDeviceFunctions& onReport(ReportFunction function);
    /// As QrxHIDDeviceDelegateInterface::handleSetReport.
    QrxDeviceFunctions& onSetReport(SetReportFunction function);
    /// As QrxHIDDeviceEventInterface::deviceRemoved. Also without it a device that leaves is closed.
    QrxDeviceFunctions& onRemoved(std::function<void()> function);
    /// As QrxHIDDeviceEventInterface::inputMayBeLost.
    QrxDeviceFunctions& onPossibleLoss(LossFunction function);

    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override;
    void handleSetReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                         mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override;
    void deviceRemoved(mis::swizzler<QrxHIDDevice> device) override;
    void inputMayBeLost(mis::swizzler<QrxHIDDevice> device, int interfaceNumber, uint64_t count) override;

private:
    struct Body;
    std::unique_ptr<Body> _body;
};

#endif
