#pragma once

#include "Matching.h"
#include "RegistryObject.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <utility>

struct IONotificationPort;

namespace qrx::iokit {

/// A wish to be told of arrivals or of ends; its handle is the iterator that lists them. Its state belongs to the
/// registry's lock.
struct Notification final : RegistryObject {
    enum class Kind { arrival, end };

    struct Event {
        /// Place in the order of all arrivals and ends of the process.
        std::uint64_t sequence;
        std::shared_ptr<RegistryEntry> entry;
    };

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
    std::deque<Event> events;
    /// Set when the iterator was drained to 0, cleared by the callback: one callback a burst.
    bool isArmed = false;
    /// Within a callback about ends: those after this place in the order come in the next one, since what waits in their
    /// devices has not been delivered yet.
    std::uint64_t handsOutUpTo = UINT64_MAX;
};

} // namespace qrx::iokit
