#include "ErrorStatus.h"

#include <cerrno>

namespace qrx::platform {

namespace {

/// Errors that mean the same in every call, among them those of the kernel's USB core: EPROTO (no answer, or a garbled
/// one), EILSEQ (checksum), EOVERFLOW (more data than announced), EREMOTEIO (less), ENOSPC (no bandwidth left on the
/// bus), ESHUTDOWN (the device or its controller is being removed). Unknown ones become a general error.
Status statusOfAny(int error)
{
    switch (error) {
    case ENODEV:
    case ESHUTDOWN:
    case ENXIO:
        return Status::notAttached;
    case ENOMEM:
        return Status::noMemory;
    case EMFILE:
    case ENFILE:
    case ENOSPC:
        return Status::noResources;
    case EPROTO:
    case EILSEQ:
    case EIO:
    case EREMOTEIO:
    case EOVERFLOW:
        return Status::ioError;
    default:
        return Status::error;
    }
}

} // namespace

Status statusOfRequest(int error)
{
    switch (error) {
    // A stall: the device has refused the control transfer.
    case EPIPE:
        return Status::pipeStalled;
    case ETIMEDOUT:
        return Status::timeout;
    case EACCES:
    case EPERM:
    case EBADF: // the node is open for reading only
        return Status::notPermitted;
    // The kernel's checks of the size, or a report that the device does not have.
    case EINVAL:
        return Status::badArgument;
    case ENOTTY:
    case ENOSYS:
    case EOPNOTSUPP:
        return Status::unsupported;
    default:
        return statusOfAny(error);
    }
}

Status statusOfOpen(int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
    case EROFS:
        return Status::notPrivileged;
    // The node was removed between the look and the opening.
    case ENOENT:
    case ENOTDIR:
        return Status::notAttached;
    default:
        return statusOfAny(error);
    }
}

} // namespace qrx::platform
