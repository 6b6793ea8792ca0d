#pragma once

#include "Provider/Provider.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace qrx::iokit {

class Watcher;

/// The process's providers, and who watches them.
///
/// Provider calls are serialised by a lock of its own, which is taken before the registry's and never after it: the
/// providers publish from within. From any thread.
class ProviderSet {
public:
    explicit ProviderSet(platform::RegistrySink& sink) : _sink(sink) {}

    using Factory = std::vector<std::unique_ptr<platform::Provider>> (*)();
    /// Sets the function that makes the providers when they are first needed. The registry does not know which there
    /// are, so the layer above sets it before the first use, always to the same function.
    void setFactory(Factory factory) { _factory.store(factory, std::memory_order_release); }

    /// Lets every provider show what is there now.
    void refresh();

    /// Adds the providers' descriptors to the watcher's set, or takes them out, as `isWanted` tells; it is asked with
    /// the lock held, so that of two threads that change their mind the last one counts. The first watcher starts the
    /// providers' watching, the last one ends it.
    void updateWatcher(Watcher& watcher, const std::function<bool()>& isWanted);

    /// Lets the providers whose descriptors are readable look at their events. What could not be watched before is
    /// tried again, if the watcher's set says that the time has come.
    void handleEvents(Watcher& watcher);

    void setEnabled(bool enabled);

private:
    void makeOnce();
    void startWatching();
    void stopWatching();
    /// Another try for the providers that could not be watched.
    void watchMissing();
    /// Lets the set have all descriptors, and try again later while one is missing.
    void watchWith(Watcher& watcher);

    platform::RegistrySink& _sink;
    std::mutex _mutex;
    std::atomic<Factory> _factory{nullptr};
    bool _isMade = false;
    bool _isEnabled = true;
    bool _isWatching = false;
    std::vector<std::unique_ptr<platform::Provider>> _providers;
    /// While watching: one for each provider, -1 where there is none.
    std::vector<int> _descriptors;
    std::vector<Watcher*> _watchers;
};

} // namespace qrx::iokit
