// All calls of providers go through here, one at a time. Watching begins with the first port that observes and ends
// with the last. A provider that cannot be watched now (no descriptor is free) has -1 in the list; it is asked again
// before each enumeration, and once a second by a timer in the watcher.

#include "ProviderSet.h"

#include "Base/Log.h"
#include "Base/SystemCalls.h"
#include "Watcher.h"

#include <algorithm>
#include <new>

#include <poll.h>

namespace qrx::iokit {

void ProviderSet::makeOnce()
{
    // Not before somebody asks for devices: a program that only reads recordings opens nothing.
    const Factory factory = _factory.load(std::memory_order_acquire);
    if (!_isMade && factory != nullptr) {
        _providers = factory();
        _isMade = true;
    }
}

void ProviderSet::refresh()
{
    const std::lock_guard guard(_mutex);
    if (!_isEnabled) {
        return;
    }
    makeOnce();
    watchMissing();
    for (const auto& provider : _providers) {
        provider->refresh(_sink);
    }
}

void ProviderSet::updateWatcher(Watcher& watcher, const std::function<bool()>& isWanted)
{
    const std::lock_guard guard(_mutex);
    const auto place = std::find(_watchers.begin(), _watchers.end(), &watcher);
    const bool isThere = place != _watchers.end();
    // Asked under this lock: of two threads that change their minds, the later one decides.
    const bool isDue = isWanted();
    if (isDue && !isThere) {
        _watchers.push_back(&watcher);
        if (_isEnabled && !_isWatching) {
            try {
                startWatching();
            } catch (...) {
                // As if nothing had been asked: the caller gets the exception, and the next attempt begins anew.
                _watchers.pop_back();
                throw;
            }
        } else {
            watchWith(watcher);
        }
    } else if (!isDue && isThere) {
        _watchers.erase(place);
        watcher.setRetrying(false);
        std::for_each(_descriptors.begin(), _descriptors.end(), [&watcher](int fd) { watcher.forget(fd); });
        if (_watchers.empty() && _isWatching) {
            stopWatching();
        }
    }
}

void ProviderSet::startWatching()
{
    makeOnce();
    _descriptors.reserve(_providers.size());
    _isWatching = true;
    try {
        for (const auto& provider : _providers) {
            _descriptors.push_back(provider->startWatching(_sink));
        }
    } catch (...) {
        // What was started is stopped, so that the next attempt starts all providers.
        stopWatching();
        throw;
    }
    std::for_each(_watchers.begin(), _watchers.end(), [this](Watcher* watcher) { watchWith(*watcher); });
}

void ProviderSet::watchMissing()
{
    if (std::find(_descriptors.begin(), _descriptors.end(), -1) == _descriptors.end()) {
        return;
    }
    for (std::size_t index = 0; index < _descriptors.size(); ++index) {
        if (_descriptors[index] < 0) {
            _descriptors[index] = _providers[index]->startWatching(_sink);
        }
    }
    std::for_each(_watchers.begin(), _watchers.end(), [this](Watcher* watcher) { watchWith(*watcher); });
}

void ProviderSet::watchWith(Watcher& watcher)
{
    bool isWhole = true;
    for (const int fd : _descriptors) {
        isWhole = watcher.watch(fd) && fd >= 0 && isWhole;
    }
    watcher.setRetrying(!isWhole);
}

void ProviderSet::stopWatching()
{
    // The descriptors leave the sets before the providers close them: a number that was closed may come back as another
    // file.
    const std::vector<int> descriptors = std::move(_descriptors);
    _descriptors.clear();
    _isWatching = false;
    std::for_each(_watchers.begin(), _watchers.end(), [](Watcher* watcher) { watcher->setRetrying(false); });
    for (const int fd : descriptors) {
        for (Watcher* watcher : _watchers) {
            watcher->forget(fd);
        }
    }
    // A provider that threw when it was started, and those after it, were never started; the list is as long as those
    // that were.
    for (std::size_t index = 0; index < descriptors.size(); ++index) {
        _providers[index]->stopWatching();
    }
}

void ProviderSet::handleEvents(Watcher& watcher)
{
    const std::lock_guard guard(_mutex);
    try {
        if (watcher.takeRetry()) {
            watchMissing();
            watchWith(watcher);
        }
        for (std::size_t index = 0; index < _descriptors.size(); ++index) {
            // The set says that something is readable, but not what: it is watched as a whole by the run loop.
            pollfd state{_descriptors[index], POLLIN, 0};
            if (state.fd >= 0 && platform::SystemCalls::ofProcess().poll(&state, 1, 0) > 0) {
                _providers[index]->handleEvents(_sink);
            }
        }
    } catch (const std::bad_alloc&) {
        // No operation of the application asked for this look, so the exception goes to the log, and the watcher's
        // timer brings another try. Providers keep note of what they could not look at.
        platform::log(platform::LogLevel::error,
                      "There is no memory to look at devices that came or left. It is tried again.");
        watcher.setRetrying(true);
    }
}

void ProviderSet::setEnabled(bool enabled)
{
    const std::lock_guard guard(_mutex);
    if (_isEnabled == enabled) {
        return;
    }
    if (!enabled && _isWatching) {
        stopWatching();
    } else if (enabled && !_watchers.empty()) {
        if (!_isWatching) {
            startWatching();
        }
        // Publishes what came while the providers were left out, and removes what left.
        std::for_each(_providers.begin(), _providers.end(), [this](const auto& it) { it->refresh(_sink); });
    }
    _isEnabled = enabled;
}

} // namespace qrx::iokit
