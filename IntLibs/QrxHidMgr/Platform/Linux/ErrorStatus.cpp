#include "ErrorStatus.h"

#include <cerrno>

namespace qrx::platform {

namespace {

/// What means the same in every call.
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
    case EPIPE:
        return Status::pipeStalled;
    case ETIMEDOUT:
        return Status::timeout;
    case EACCES:
    case EPERM:
    case EBADF: // the node is open for reading only
        return Status::notPermitted;
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
    case ENOENT:
    case ENOTDIR:
        return Status::notAttached;
    default:
        return statusOfAny(error);
    }
}

} // namespace qrx::platform
