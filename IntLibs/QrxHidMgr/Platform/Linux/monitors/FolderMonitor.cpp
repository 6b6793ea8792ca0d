#include "FolderMonitor.h"

#include "Base/Uninterrupted.h"
#include "Linux/sysfs/UsbNames.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include <sys/inotify.h>

namespace qrx::platform {

namespace {

/// Whether one of the events in the buffer is about a report node, or says that events were lost.
bool concernsNodes(const char* bytes, std::size_t size)
{
    for (std::size_t at = 0; at + sizeof(inotify_event) <= size;) {
        inotify_event event{};
        std::memcpy(&event, bytes + at, sizeof event);
        const char* name = bytes + at + sizeof event;
        if ((event.mask & IN_Q_OVERFLOW) != 0 || isHidrawName(std::string_view(name, ::strnlen(name, event.len)))) {
            return true;
        }
        at += sizeof event + event.len;
    }
    return false;
}

} // namespace

std::unique_ptr<FolderMonitor> FolderMonitor::make(SystemCalls& calls, const std::string& folder)
{
    FileDescriptor fd(calls, calls.inotifyCreate());
    constexpr std::uint32_t kChanges = IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM;
    if (!fd.isOpen() || calls.inotifyWatch(fd.get(), folder.c_str(), kChanges | IN_ONLYDIR) < 0) {
        return nullptr;
    }
    return std::unique_ptr<FolderMonitor>(new FolderMonitor(calls, std::move(fd)));
}

DeviceMonitor::Next FolderMonitor::take(DeviceEvent&)
{
    alignas(inotify_event) char buffer[4096];
    // All events that are read in one go lead to one rescan.
    for (;;) {
        const ssize_t size = uninterrupted([&] { return _calls.read(_fd.get(), buffer, sizeof buffer); });
        if (size <= 0) {
            return Next::none;
        }
        if (concernsNodes(buffer, static_cast<std::size_t>(size))) {
            return Next::rescan;
        }
    }
}

} // namespace qrx::platform
