#include "Linux/hidraw/ErrorStatus.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace qrx::platform {
namespace {

struct Row {
    int error;
    Status ofRequest;
    Status ofOpen;
};

TEST(ErrorStatus, EachErrorOfARequestAndOfAnOpeningHasItsStatus)
{
    const Row rows[] = {
        {ENODEV, Status::notAttached, Status::notAttached},
        {ESHUTDOWN, Status::notAttached, Status::notAttached},
        {ENXIO, Status::notAttached, Status::notAttached},
        {ENOMEM, Status::noMemory, Status::noMemory},
        {EMFILE, Status::noResources, Status::noResources},
        {ENFILE, Status::noResources, Status::noResources},
        {ENOSPC, Status::noResources, Status::noResources},
        {EPROTO, Status::ioError, Status::ioError},
        {EILSEQ, Status::ioError, Status::ioError},
        {EIO, Status::ioError, Status::ioError},
        {EREMOTEIO, Status::ioError, Status::ioError},
        {EOVERFLOW, Status::ioError, Status::ioError},
        {EPIPE, Status::pipeStalled, Status::error},
        {ETIMEDOUT, Status::timeout, Status::error},
        {EACCES, Status::notPermitted, Status::notPrivileged},
        {EPERM, Status::notPermitted, Status::notPrivileged},
        {EROFS, Status::error, Status::notPrivileged},
        {EBADF, Status::notPermitted, Status::error},
        {EINVAL, Status::badArgument, Status::error},
        {ENOTTY, Status::unsupported, Status::error},
        {ENOSYS, Status::unsupported, Status::error},
        {EOPNOTSUPP, Status::unsupported, Status::error},
        {ENOENT, Status::error, Status::notAttached},
        {ENOTDIR, Status::error, Status::notAttached},
        {EDOM, Status::error, Status::error},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(statusOfRequest(row.error), row.ofRequest) << row.error;
        EXPECT_EQ(statusOfOpen(row.error), row.ofOpen) << row.error;
    }
}

} // namespace
} // namespace qrx::platform
