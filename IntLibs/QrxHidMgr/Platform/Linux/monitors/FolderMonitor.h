#pragma once

#include "Base/FileDescriptor.h"
#include "Base/SystemCalls.h"
#include "DeviceMonitor.h"

#include <memory>
#include <string>

namespace qrx::platform {

/// Watches the device folder for report nodes that come and go (inotify).
class FolderMonitor : public DeviceMonitor {
public:
    /// Null with errno if the folder cannot be watched.
    static std::unique_ptr<FolderMonitor> make(SystemCalls& calls, const std::string& folder);

    int descriptor() const override { return _fd.get(); }
    /// Events of other nodes are read and passed over.
    Next take(DeviceEvent& event) override;

private:
    FolderMonitor(SystemCalls& calls, FileDescriptor fd) : _calls(calls), _fd(std::move(fd)) {}

    SystemCalls& _calls;
    FileDescriptor _fd;
};

} // namespace qrx::platform
