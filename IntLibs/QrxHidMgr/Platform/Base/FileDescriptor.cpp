#include "FileDescriptor.h"

#include "SystemCalls.h"

#include <cerrno>

namespace qrx::platform {

void FileDescriptor::closeOpen()
{
    // Linux frees the number even when close fails, and callers still want the errno of what went before.
    const int savedErrno = errno;
    SystemCalls& calls = _calls != nullptr ? *_calls : SystemCalls::kernel();
    calls.close(std::exchange(_fd, -1));
    errno = savedErrno;
}

} // namespace qrx::platform
