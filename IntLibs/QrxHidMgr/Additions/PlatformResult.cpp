#include "PlatformResult.h"

#include "QrxError.h"

namespace qrx {

namespace {

// Results of the USB family (IOUSBLib.h): the header of some systems lacks them.
constexpr IOReturn kPipeStalled = static_cast<IOReturn>(0xe000404f);
constexpr IOReturn kTransactionTimeout = static_cast<IOReturn>(0xe0004051);

} // namespace

std::error_code errorOfResult(IOReturn result)
{
    switch (result) {
    case kIOReturnSuccess:
        return {};
    case kIOReturnNotOpen:
        return QrxError::notOpen;
    case kIOReturnNoDevice:
    case kIOReturnNotAttached:
    case kIOReturnOffline:
        return QrxError::gone;
    // A stall is how a device refuses a control transfer (USB 2.0, 8.5.3.4).
    case kPipeStalled:
        return QrxError::refused;
    case kIOReturnTimeout:
    case kIOReturnNotResponding:
    case kTransactionTimeout:
        return QrxError::timedOut;
    case kIOReturnNotPrivileged:
    case kIOReturnNotPermitted:
        return QrxError::noPermission;
    case kIOReturnExclusiveAccess:
    case kIOReturnBusy:
        return QrxError::busy;
    // File descriptors are the only resource that our ground reports this result for.
    case kIOReturnNoResources:
        return QrxError::outOfDescriptors;
    case kIOReturnNoMemory:
        return std::make_error_code(std::errc::not_enough_memory);
    case kIOReturnUnsupported:
        return QrxError::notPossible;
    default:
        return QrxError::failed;
    }
}

} // namespace qrx
