#pragma once

#include "Base/EpollSet.h"
#include "DeviceTable.h"
#include "Provider/Provider.h"
#include "VirtualWorld.h"
#include "qrx_hidapi.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace qrx::hidapi {

/// What there is between hid_init and hid_exit: the providers, the devices that they find, and virtual devices.
///
/// Three environment variables, read when it is made, are for trying a program on devices that are not there:
///   QRX_HIDAPI_RECORDINGS    files of recorded devices, one a line
///   QRX_HIDAPI_FAULTS        what they do by themselves, as scripts: one for all, or one for each, one file a line
///   QRX_HIDAPI_ONLY_VIRTUAL  not empty: the machine's own devices are left out
///
/// From any thread.
class Machine {
public:
    /// The process's, made when it is first asked for. Throws std::runtime_error for a recording or a script that
    /// cannot be read.
    static std::shared_ptr<Machine> get();
    /// Lets it go: recorded devices leave.
    static void end();

    ~Machine();

    /// What is there now.
    DeviceTable::Interfaces interfaces();
    /// Null if there is none of that path now.
    std::shared_ptr<const ListedInterface> find(std::string_view path);
    /// Something was opened: recordings begin with it.
    void noticeOpened();

    /// As qrx_hid_set_callback. Throws std::system_error where devices cannot be watched.
    int setCallback(qrx_hid_callback callback, void* context);
    /// Calls it for what has changed.
    void tellChanges();

private:
    Machine();

    void startWatching();
    /// Stops the first `started` providers.
    void stopWatching(std::size_t started);

    std::mutex _mutex; ///< serialises the calls of the providers
    std::vector<std::unique_ptr<platform::Provider>> _providers;
    /// Null without recordings.
    std::unique_ptr<VirtualWorld> _virtualWorld;
    qrx_hid_callback _callback = nullptr;
    void* _context = nullptr;
    /// While there is a callback: the providers' descriptors, that of changes, and the schedule of virtual devices.
    std::optional<platform::EpollSet> _watch;
};

} // namespace qrx::hidapi
