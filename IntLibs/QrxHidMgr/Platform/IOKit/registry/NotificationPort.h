#pragma once

#include "Base/WakeEvent.h"
#include "Notification.h"
#include "RegistryEntry.h"
#include "Watcher.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace qrx::iokit {

/// Called on the thread of an observer before the end of a device is announced to it, so that what still waits in the
/// device can be delivered first. It may run foreign code, and may throw.
using BeforeEnd = void (*)(const DeviceRecord& ended);

/// Sets the one function of this kind; from any thread. The registry knows no open devices: whoever opens them sets it.
void setBeforeEnd(BeforeEnd function);

} // namespace qrx::iokit

/// What notifications are delivered through: a run loop source over an event descriptor of its own and the providers'
/// descriptors.
///
/// Deliberate: what happened first is handed out first, over all notifications of the port, where the platform hands
/// out the newest of a burst first and leaves the order of arrivals and ends open.
///
/// Its user may never destroy it, and may release the source that it only borrowed. Therefore the registry keeps every
/// port until IONotificationPortDestroy, and the port looks at its source only as long as that lives: the end of the
/// source closes the port's descriptors, and what happens afterwards is dropped. State is under the registry's lock
/// unless said otherwise.
struct IONotificationPort : std::enable_shared_from_this<IONotificationPort> {
public:
    using Notification = qrx::iokit::Notification;

    /// Throws std::system_error without a free descriptor.
    IONotificationPort();
    IONotificationPort(const IONotificationPort&) = delete;
    IONotificationPort& operator=(const IONotificationPort&) = delete;
    ~IONotificationPort() = default;

    /// Makes the source, of which the port's user owns the one reference from then on; once, right after the port.
    void makeSource();
    /// Null when the source has ended.
    CFRunLoopSourceRef source() const { return _source; }
    /// Ends the source, if its user has not done so. Without the lock, on the user's thread.
    void dropSource();

    bool isClosed() const { return _isClosed; }
    bool isObserving() const { return !_isClosed && !_notifications.empty(); }
    /// Some notification looks below the USB interfaces.
    bool reachesHid() const;
    /// Not under the lock: the set has its own order of use, see ProviderSet.
    qrx::iokit::Watcher& watcher() { return _watcher; }

    /// Room for one notification more, so that `add` takes no memory.
    void reserve() { _notifications.reserve(_notifications.size() + 1); }
    void add(std::shared_ptr<Notification> notification);
    void remove(const Notification& notification);

    /// Prepares the arrival of `entries`, of one device and in plane order. Takes the memory for their end as well.
    void stage(const qrx::iokit::RegistryEntry::List& entries, std::uint64_t sequence);
    /// What was staged has arrived, or has not.
    void commit();
    void unstage();
    /// The end of one entry. If its arrival is still waiting everywhere in this port, both are forgotten, unless the
    /// entry `isHeld`: then its holder must hear of the end. `withdrawn` is for the caller to destroy without the lock.
    void end(const std::shared_ptr<qrx::iokit::RegistryEntry>& entry, std::uint64_t sequence, bool isHeld,
             Notification::Events& withdrawn);

    /// The notification's next entry; null (and it is armed) when there is none, or when another notification's
    /// callback is due for something that happened before it.
    std::shared_ptr<qrx::iokit::RegistryEntry> current(Notification& notification);
    /// What `current` has just given is handed out.
    void advance(Notification& notification);

    /// The run loop's call: looks for news and calls back what is due, in order. Without the lock.
    void perform();

    /// Nothing is delivered any more. `dropped` is for the caller to destroy without the lock.
    void close(std::vector<std::shared_ptr<Notification>>& dropped);
    /// The last step, when the providers no longer know the port's set.
    void closeDescriptors();

private:
    /// The notification whose callback is due for the earliest event, up to that place in the order.
    std::shared_ptr<Notification> firstDue(std::uint64_t upTo) const;
    /// If the ends of devices are due next: what waits in them is delivered first. Without the lock.
    void deliverBeforeEnds(std::uint64_t upTo);
    /// False if no callback is due. Without the lock.
    bool callBackFirstDue(std::uint64_t upTo);
    /// Calls back. An entry that was handed out to a callback that ran out of memory is handed out again. A callback
    /// about ends is handed those up to that place in the order.
    void callBack(Notification& notification, io_iterator_t iterator, std::uint64_t upTo);
    /// `handedOut` comes before what waits, except for arrivals that have ended; those go to `withdrawn`.
    void handOutAgain(Notification& notification, Notification::Events& handedOut, Notification::Events& withdrawn);
    /// Wakes the run loop if something is due.
    void wakeIfDue();

    qrx::iokit::Watcher _watcher;
    qrx::platform::WakeEvent _event;
    /// A weak link: the one reference may be released by the user, who only borrowed it. Cleared when the source ends.
    CFRunLoopSourceRef _source = nullptr;
    bool _isClosed = false;
    /// Calls of perform in progress, on the user's thread.
    int _performs = 0;
    std::vector<std::shared_ptr<Notification>> _notifications;
};
