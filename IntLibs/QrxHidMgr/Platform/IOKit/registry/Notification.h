#pragma once

#include "Matching.h"
#include "RegistryObject.h"

#include <cstdint>
#include <list>
#include <memory>
#include <utility>

struct IONotificationPort;

namespace qrx::iokit {

/// A subscription to arrivals or to ends; its handle is the iterator that lists them. Its state is guarded by the
/// registry's lock.
struct Notification final : RegistryObject {
    enum class Kind { arrival, end };

    struct Event {
        /// Place in the order of all arrivals and ends of the process.
        std::uint64_t sequence = 0;
        std::shared_ptr<RegistryEntry> entry;
    };
    /// Events move from list to list, which takes no memory.
    using Events = std::list<Event>;

    Notification(Kind what, Matching accepted, IOServiceMatchingCallback toCall, void* callersOwn,
                 std::weak_ptr<IONotificationPort> through)
        : kind(what), matching(std::move(accepted)), callback(toCall), refcon(callersOwn), port(std::move(through))
    {
    }

    /// The callback is due.
    bool isDue() const { return isArmed && !events.empty(); }

    const Kind kind;
    const Matching matching;
    const IOServiceMatchingCallback callback;
    void* const refcon;
    const std::weak_ptr<IONotificationPort> port;

    /// Not yet handed out, in order.
    Events events;
    /// Events of an arrival that is being published. They join `events` (or `unused`) when nothing can fail any more.
    Events staged;
    /// For a notification of ends: one spare event for each accepted entry that is present, so that an end is noted
    /// without memory.
    Events unused;
    /// Within a callback: where to keep what it is handed out.
    Events* handedOut = nullptr;
    /// Set when the iterator was drained to 0, cleared by the callback: one callback a burst.
    bool isArmed = false;
    /// Within a callback about ends: those after this place in the order come in the next one, since what waits in
    /// their devices has not been delivered yet.
    std::uint64_t handsOutUpTo = UINT64_MAX;
};

} // namespace qrx::iokit
