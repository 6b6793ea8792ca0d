#include "HidrawNode.h"

#include "Base/Log.h"
#include "Base/Uninterrupted.h"
#include "ErrorStatus.h"
#include "HidrawChannel.h"

#include <cerrno>
#include <new>

#include <fcntl.h>

namespace qrx::platform {

namespace {

int openNode(SystemCalls& calls, const std::string& node, int mode)
{
    // Non-blocking, because the run loop waits for all devices together; O_NOCTTY, since the path could be anything by
    // now.
    constexpr int kFlags = O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    return uninterrupted([&] { return calls.openAt(AT_FDCWD, node.c_str(), mode | kFlags); });
}

} // namespace

HidrawNode::HidrawNode(SystemCalls& calls, Place place, std::vector<std::uint8_t> reportDescriptor)
    : _calls(calls), _place(std::move(place)), _reportDescriptor(std::move(reportDescriptor))
{
}

Status HidrawNode::refuse(int error)
{
    const Status status = statusOfOpen(error);
    if (status == Status::notPrivileged) {
        _access->tellRefusal(_place.node, error);
    } else if (status == Status::noResources || status == Status::noMemory) {
        _access->tellScarcity(_place.node, error);
    }
    return status;
}

Status HidrawNode::open(std::unique_ptr<HIDChannel>& channel)
{
    if (_access->hasLeft()) {
        return Status::notAttached;
    }
    if (_place.node.empty()) {
        _access->tellMissingNode(_place.interfaceNumber);
        return Status::unsupported;
    }
    bool canWrite = true;
    FileDescriptor fd(_calls, openNode(_calls, _place.node, O_RDWR));
    // A mode of 0440 or a read-only file system lets the node be read: input without output is better than nothing.
    if (!fd.isOpen() && (errno == EACCES || errno == EROFS)) {
        const int refused = errno;
        canWrite = false;
        fd = FileDescriptor(_calls, openNode(_calls, _place.node, O_RDONLY));
        if (fd.isOpen()) {
            log(LogLevel::info, _place.node + " may be read only: output is refused");
        } else {
            return refuse(refused);
        }
    }
    if (!fd.isOpen()) {
        return refuse(errno);
    }
    // The node's number may have gone to another device since it was looked up. So its folder is looked up once more,
    // now that the node is open: it stands below our HID device, whose running number is never used twice, hence the
    // descriptor just opened is this device's.
    if (_access->hasLeft()) {
        return Status::notAttached;
    }
    if (_calls.exists(_place.sysfs.c_str()) != 0) {
        return statusOfOpen(errno);
    }
    channel = std::make_unique<HidrawChannel>(_calls, std::move(fd), _reportDescriptor, canWrite, _access,
                                              _place.interfaceNumber);
    return Status::success;
}

} // namespace qrx::platform
