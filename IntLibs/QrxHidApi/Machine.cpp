#include "Machine.h"

#include "Base/NeverDestroyed.h"
#include "Base/SystemError.h"
#include "DeviceInfo.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>

namespace qrx::hidapi {

namespace {

/// Never destroyed, since virtual devices leave it late in a process's life.
DeviceTable& table()
{
    static platform::NeverDestroyed<DeviceTable> sm_Table;
    return sm_Table.value;
}

/// None for the null of a variable that is not set.
std::vector<std::string> linesOf(const char* text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text != nullptr ? text : "");
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(std::move(line));
    }
    return lines;
}

bool isSet(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

std::mutex sm_CurrentMutex;
/// Null before the first use and after hid_exit. Calls in progress on other threads keep theirs to their end.
std::shared_ptr<Machine> sm_Current;

} // namespace

std::shared_ptr<Machine> Machine::get()
{
    const std::scoped_lock lock(sm_CurrentMutex);
    if (sm_Current == nullptr) {
        sm_Current = std::shared_ptr<Machine>(new Machine);
    }
    return sm_Current;
}

void Machine::end()
{
    const std::scoped_lock lock(sm_CurrentMutex);
    sm_Current.reset();
}

Machine::Machine()
{
    // Before the providers, since a file that cannot be read throws here.
    const std::vector<std::string> recordings = linesOf(std::getenv("QRX_HIDAPI_RECORDINGS"));
    if (!recordings.empty()) {
        _virtualWorld = std::make_unique<VirtualWorld>(recordings, linesOf(std::getenv("QRX_HIDAPI_FAULTS")));
    }
    if (!isSet("QRX_HIDAPI_ONLY_VIRTUAL")) {
        _providers = platform::makeProviders();
    }
}

Machine::~Machine()
{
    // Without the lock: nobody else has this object any more.
    if (_callback != nullptr) {
        stopWatching(_providers.size());
    }
    // Its devices leave first, so that the table forgets their places.
    _virtualWorld.reset();
    table().forget();
}

DeviceTable::Interfaces Machine::interfaces()
{
    // Scripts may plug and unplug devices, which the list is to show. Without the lock, which is for the providers.
    if (_virtualWorld != nullptr) {
        Schedule::ofProcess().runDue();
    }
    {
        const std::scoped_lock lock(_mutex);
        for (const auto& provider : _providers) {
            provider->refresh(table());
        }
    }
    return table().interfaces();
}

std::shared_ptr<const ListedInterface> Machine::find(std::string_view path)
{
    const DeviceTable::Interfaces all = interfaces();
    const auto found =
        std::ranges::find(all, path, [](const auto& listed) -> std::string_view { return listed->path; });
    return found != all.end() ? *found : nullptr;
}

void Machine::noticeOpened()
{
    if (_virtualWorld != nullptr) {
        _virtualWorld->startOpened();
    }
}

int Machine::setCallback(qrx_hid_callback callback, void* context)
{
    const std::scoped_lock lock(_mutex);
    // One callback that replaces another changes nothing else, so the program's descriptor stays valid.
    if (callback != nullptr && _callback == nullptr) {
        startWatching();
    } else if (callback == nullptr && _callback != nullptr) {
        stopWatching(_providers.size());
    }
    _callback = callback;
    _context = context;
    return callback != nullptr ? _watch->descriptor() : 0;
}

// With the lock held.
void Machine::startWatching()
{
    // Devices that are there already are listed before changes are kept: the callback is told of changes only.
    for (const auto& provider : _providers) {
        provider->refresh(table());
    }
    const auto require = [](bool succeeds) {
        if (!succeeds) {
            platform::throwSystemError(errno, "devices cannot be watched");
        }
    };
    std::size_t started = 0;
    try {
        _watch.emplace(platform::SystemCalls::ofProcess());
        require(_watch->isOpen() && table().keepChanges() && _watch->add(table().changesDescriptor(), 0));
        for (const auto& provider : _providers) {
            // One that fails counts, too: it may have started all the same.
            ++started;
            const int descriptor = provider->startWatching(table());
            require(descriptor >= 0 && _watch->add(descriptor, 0));
        }
        require(_virtualWorld == nullptr || _watch->add(Schedule::ofProcess().descriptor(), 0));
    } catch (...) {
        // As if nothing had been asked: the next call begins anew.
        stopWatching(started);
        throw;
    }
}

// With the lock held.
void Machine::stopWatching(std::size_t started)
{
    // The set goes first: a number that a provider closes may come back as another file.
    _watch.reset();
    for (std::size_t index = 0; index < started; ++index) {
        _providers[index]->stopWatching();
    }
    table().dropChanges();
}

void Machine::tellChanges()
{
    // Called without the lock, because the callback may list and open devices.
    qrx_hid_callback callback = nullptr;
    void* context = nullptr;
    {
        const std::scoped_lock lock(_mutex);
        if (_callback == nullptr) {
            return;
        }
        callback = _callback;
        context = _context;
    }
    for (const DeviceTable::Change& change : table().takeChanges()) {
        InfoList list = makeInfoList(*change.interface);
        while (list != nullptr) {
            // One at a time: the callback sees an entry, not a list.
            InfoList rest(std::exchange(list->next, nullptr));
            callback(list.get(), change.arrived ? 1 : 0, context);
            list = std::move(rest);
        }
    }
}

} // namespace qrx::hidapi

// Where virtual devices publish themselves (Platform/Provider/Provider.h). The I/O Registry defines these two for the
// main library; here the table takes its place.
namespace qrx::platform {

RegistrySink& registry()
{
    return hidapi::table();
}

void setProvidersEnabled(bool)
{
    // Asked by the public interface of virtual devices, which programs do not reach through this library.
}

} // namespace qrx::platform
