// Notifications on their way to callbacks. Arrivals and ends are numbered in one sequence over all devices, and a port
// hands them out in this order, over all its notifications. Each notification has a list of events that were not handed
// out yet. It is armed when its iterator was read to the end; a callback is due when an armed notification has an
// event. What is due wakes the run loop through an event descriptor.
//
// An arrival whose device leaves before it was reported is withdrawn, and so is the end. Input that a device
// sent before it left is delivered before its end is reported. A callback may do anything, to the port included, so
// after each one everything is looked up again under the lock.

#include "NotificationPort.h"

#include "Base/SystemError.h"
#include "Registry.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <iterator>
#include <new>
#include <utility>

using qrx::CFRef;
using qrx::iokit::Registry;
using qrx::iokit::RegistryEntry;
using qrx::iokit::registryLock;

namespace {

constinit std::atomic<qrx::iokit::BeforeEnd> sm_BeforeEnd{nullptr};

/// The run loop source's link to its port. Either may end first, so it is weak.
struct Link {
    std::weak_ptr<IONotificationPort> port;
    int descriptor;
};

unsigned int portOfLink(void* info)
{
    return static_cast<unsigned int>(static_cast<Link*>(info)->descriptor);
}

void* performLink(void*, CFIndex, CFAllocatorRef, void* info)
{
    // The link may be destroyed during the call; the local reference keeps the port.
    if (const auto port = static_cast<Link*>(info)->port.lock()) {
        port->perform();
    }
    return nullptr;
}

/// Called when the source ends: its user has released it, or the port was destroyed. A user who never destroys the port
/// is usual, so the end of the source closes it.
void releaseLink(const void* info)
{
    const std::unique_ptr<const Link> link(static_cast<const Link*>(info));
    if (const auto port = link->port.lock()) {
        Registry::instance().closePort(*port);
    }
}

} // namespace

void qrx::iokit::setBeforeEnd(BeforeEnd function)
{
    sm_BeforeEnd.store(function, std::memory_order_release);
}

IONotificationPort::IONotificationPort() : _event(qrx::platform::SystemCalls::ofProcess())
{
    if (!_event.isOpen() || !_watcher.watch(_event.descriptor())) {
        qrx::platform::throwSystemError(errno, "arrivals and removals cannot be waited for");
    }
}

void IONotificationPort::makeSource()
{
    auto link = std::make_unique<Link>(Link{weak_from_this(), _watcher.descriptor()});
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    context.info = link.get();
    context.release = releaseLink;
    context.getPort = portOfLink;
    context.perform = performLink;
    _source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    link.release();
}

void IONotificationPort::dropSource()
{
    if (_source == nullptr) {
        return;
    }
    // The user may have released the source already. Outside of its own callback the source has ended then, and
    // `_source` is null. Within it the run loop keeps the source alive; there, one that is invalid counts as released,
    // because users do both.
    const bool isReleased = _performs > 0 && !CFRunLoopSourceIsValid(_source);
    // Invalidating takes it out of every run loop, which may release the last reference and clear `_source`.
    CFRunLoopSourceInvalidate(_source);
    if (_source != nullptr && !isReleased) {
        CFRelease(_source);
    }
}

void IONotificationPort::add(std::shared_ptr<Notification> notification)
{
    _notifications.push_back(std::move(notification));
}

void IONotificationPort::remove(const Notification& notification)
{
    const auto isIt = [&notification](const auto& other) { return other.get() == &notification; };
    const auto place = std::find_if(_notifications.begin(), _notifications.end(), isIt);
    if (place != _notifications.end()) {
        _notifications.erase(place);
    }
}

bool IONotificationPort::reachesHid() const
{
    return std::any_of(_notifications.begin(), _notifications.end(),
                       [](const auto& notification) { return notification->matching.reachesHid(); });
}

void IONotificationPort::stage(const RegistryEntry::List& entries, std::uint64_t sequence)
{
    for (const auto& notification : _notifications) {
        const bool isArrival = notification->kind == Notification::Kind::arrival;
        for (const auto& entry : entries) {
            if (notification->matching.accepts(*entry)) {
                // A notification of ends gets an empty event now, which is filled when the device leaves.
                notification->staged.push_back(isArrival ? Notification::Event{sequence, entry}
                                                         : Notification::Event{});
            }
        }
    }
}

void IONotificationPort::commit()
{
    for (const auto& notification : _notifications) {
        auto& place = notification->kind == Notification::Kind::arrival ? notification->events : notification->unused;
        place.splice(place.end(), notification->staged);
    }
    wakeIfDue();
}

void IONotificationPort::unstage()
{
    for (const auto& notification : _notifications) {
        notification->staged.clear();
    }
}

void IONotificationPort::end(const std::shared_ptr<RegistryEntry>& entry, std::uint64_t sequence, bool isHeld,
                             Notification::Events& withdrawn)
{
    bool isWithdrawn = false;
    bool wasToldBefore = false;
    for (const auto& notification : _notifications) {
        if (notification->kind != Notification::Kind::arrival || !notification->matching.accepts(*entry)) {
            continue;
        }
        auto& events = notification->events;
        const auto place =
            std::find_if(events.begin(), events.end(), [&](const auto& it) { return it.entry == entry; });
        if (place == events.end()) {
            wasToldBefore = true;
            continue;
        }
        // The event goes out with its entry; moving it between lists takes no memory.
        withdrawn.splice(withdrawn.end(), events, place);
        isWithdrawn = true;
    }
    // Whoever has been told of the arrival, or holds the entry, must hear of the end.
    const bool isTold = !isWithdrawn || wasToldBefore || isHeld;
    for (const auto& notification : _notifications) {
        if (notification->kind != Notification::Kind::end || !notification->matching.accepts(*entry)) {
            continue;
        }
        auto& unused = notification->unused;
        unused.front() = {sequence, isTold ? entry : nullptr};
        auto& place = isTold ? notification->events : withdrawn;
        place.splice(place.end(), unused, unused.begin());
    }
    wakeIfDue();
}

std::shared_ptr<RegistryEntry> IONotificationPort::current(Notification& notification)
{
    const auto& events = notification.events;
    const auto precedes = [&](const auto& other) {
        return other->isDue() && other->events.front().sequence < events.front().sequence;
    };
    // An iterator also ends where another notification's callback is due for something earlier: its turn comes first.
    if (events.empty() || events.front().sequence > notification.handsOutUpTo ||
        std::any_of(_notifications.begin(), _notifications.end(), precedes)) {
        notification.isArmed = true;
        wakeIfDue();
        return nullptr;
    }
    return events.front().entry;
}

void IONotificationPort::advance(Notification& notification)
{
    auto& events = notification.events;
    if (notification.handedOut != nullptr) {
        notification.handedOut->splice(notification.handedOut->end(), events, events.begin());
    } else {
        events.pop_front();
    }
}

// The order over all notifications. Ports have two or three, so a search is enough.
std::shared_ptr<qrx::iokit::Notification> IONotificationPort::firstDue(std::uint64_t upTo) const
{
    std::shared_ptr<Notification> first;
    for (const auto& notification : _notifications) {
        if (notification->isDue() && notification->events.front().sequence <= upTo &&
            (!first || notification->events.front().sequence < first->events.front().sequence)) {
            first = notification;
        }
    }
    return first;
}

void IONotificationPort::wakeIfDue()
{
    if (firstDue(UINT64_MAX)) {
        _event.raise();
    }
}

void IONotificationPort::perform()
{
    Registry& registry = Registry::instance();
    registry.providers().handleEvents(_watcher);

    CFRef<CFRunLoopSourceRef> source;
    std::uint64_t upTo = 0;
    {
        const std::lock_guard guard(registryLock());
        _event.clear();
        // Events after this point wait for the next call, so that a device that comes and goes without end cannot keep
        // the loop.
        upTo = registry.sequence();
        source = CFRef<CFRunLoopSourceRef>::retain(_source);
    }
    /// Runs at the end of perform, by an exception of a callback too: what is still due makes the loop call again.
    struct Resumption {
        explicit Resumption(IONotificationPort& performing) : port(performing) { ++port._performs; }
        Resumption(const Resumption&) = delete;
        Resumption& operator=(const Resumption&) = delete;
        ~Resumption()
        {
            const std::lock_guard guard(registryLock());
            --port._performs;
            port.wakeIfDue();
        }
        IONotificationPort& port;
    };
    const Resumption resumption(*this);
    // A callback may release the iterators, the source and the port; the references taken above keep what is used here.
    const auto isServed = [&source] { return source && CFRunLoopSourceIsValid(source.get()); };
    do {
        deliverBeforeEnds(upTo);
    } while (isServed() && callBackFirstDue(upTo) && isServed());
}

void IONotificationPort::deliverBeforeEnds(std::uint64_t upTo)
{
    const auto beforeEnd = sm_BeforeEnd.load(std::memory_order_acquire);
    if (beforeEnd == nullptr) {
        return;
    }
    RegistryEntry::List ended;
    {
        const std::lock_guard guard(registryLock());
        const std::shared_ptr<Notification> due = firstDue(upTo);
        // Only before ends: an arrival has nothing that waits.
        if (!due || due->kind != Notification::Kind::end) {
            return;
        }
        for (const auto& event : due->events) {
            if (event.sequence <= upTo) {
                ended.push_back(event.entry);
            }
        }
    }
    for (const auto& entry : ended) {
        beforeEnd(entry->record());
    }
}

bool IONotificationPort::callBackFirstDue(std::uint64_t upTo)
{
    std::shared_ptr<Notification> due;
    io_iterator_t iterator = IO_OBJECT_NULL;
    {
        const std::lock_guard guard(registryLock());
        due = firstDue(upTo);
        if (!due) {
            return false;
        }
        due->isArmed = false;
        iterator = Registry::instance().handleOf(*due);
    }
    callBack(*due, iterator, upTo);
    return true;
}

void IONotificationPort::callBack(Notification& notification, io_iterator_t iterator, std::uint64_t upTo)
{
    // Destroyed without the lock.
    Notification::Events handedOut;
    Notification::Events withdrawn;
    // Callbacks nest when one runs the loop: each has a list and a bound of its own.
    Notification::Events* outerHandedOut = nullptr;
    std::uint64_t outerUpTo = UINT64_MAX;
    {
        const std::lock_guard guard(registryLock());
        outerHandedOut = std::exchange(notification.handedOut, &handedOut);
        // Devices that leave during the callback have input that was not delivered yet, so their ends wait.
        const bool isEnd = notification.kind == Notification::Kind::end;
        outerUpTo = std::exchange(notification.handsOutUpTo, isEnd ? upTo : UINT64_MAX);
    }
    const auto finish = [&] {
        notification.handedOut = outerHandedOut;
        notification.handsOutUpTo = outerUpTo;
    };
    try {
        notification.callback(notification.refcon, iterator);
        // Out of memory in the callback: the application could not take note of the entries, so it gets them again. Any
        // other exception is the application's own.
    } catch (const std::bad_alloc&) {
        const std::lock_guard guard(registryLock());
        finish();
        handOutAgain(notification, handedOut, withdrawn);
        throw;
    } catch (...) {
        const std::lock_guard guard(registryLock());
        finish();
        throw;
    }
    const std::lock_guard guard(registryLock());
    finish();
}

void IONotificationPort::handOutAgain(Notification& notification, Notification::Events& handedOut,
                                      Notification::Events& withdrawn)
{
    for (auto event = handedOut.begin(); event != handedOut.end();) {
        const auto next = std::next(event);
        // It has left meanwhile: there is nothing to list any more.
        if (notification.kind == Notification::Kind::arrival && !event->entry->isActive()) {
            withdrawn.splice(withdrawn.end(), handedOut, event);
        }
        event = next;
    }
    notification.events.splice(notification.events.begin(), handedOut);
    // The callback may not have come to the end of the iterator.
    notification.isArmed = true;
}

void IONotificationPort::close(std::vector<std::shared_ptr<Notification>>& dropped)
{
    _isClosed = true;
    _source = nullptr;
    dropped = std::exchange(_notifications, {});
}

void IONotificationPort::closeDescriptors()
{
    _event.close();
    _watcher.close();
}
