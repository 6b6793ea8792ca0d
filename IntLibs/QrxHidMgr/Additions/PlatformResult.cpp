#include "PlatformResult.h"

#include "QrxError.h"

namespace qrx {

namespace {

// Of the USB family, whose header not every system has.
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
