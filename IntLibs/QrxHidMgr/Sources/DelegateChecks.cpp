// A device deletes its delegate in its own destructor. Two errors of an application follow from that, and both only
// show much later, as a crash somewhere else: the same delegate set on two devices is deleted twice, and a delegate's
// destructor that calls its device reaches an object of which only the base class is left, so that a call of an
// operation that the backend supplies ends in the language's "pure virtual function called". A debug build keeps a list
// of the delegates in use for the first and a terminate handler for the second. Both only write a line: what happens
// afterwards is the same in every build.
//
// The list is shared by all threads, since each thread may have devices of its own; hence the lock. It is never held
// while a destructor of the application runs.

#include "DelegateChecks.h"

#ifdef NDEBUG

void noteDelegateChange(const QrxHIDDeviceDelegateInterface*, const QrxHIDDeviceDelegateInterface*) {}

void deleteDelegate(QrxHIDDeviceDelegateInterface* delegate)
{
    delete delegate;
}

#else

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <new>
#include <set>

namespace {

/// How many deletions are nested on this thread: the delegate that is deleted may hold the last handle on another
/// device, which then deletes its own delegate.
thread_local int sm_DeletionDepth = 0;

struct Checks {
    std::mutex mutex;
    /// One entry for each device that has the delegate, so that a second one is seen when the first device goes.
    std::multiset<const QrxHIDDeviceDelegateInterface*> delegates;
    // Deletions under way on all threads: the handler is installed with the first and taken back with the last.
    int deletions = 0;
    std::terminate_handler earlierHandler = nullptr;
};

/// Never destroyed, because devices held by static objects may go after it. It is constructed in static memory, so that
/// the first use cannot fail for lack of memory. Only adding an entry allocates, and there a failure is caught.
Checks& checks()
{
    alignas(Checks) static unsigned char sm_Memory[sizeof(Checks)];
    static Checks& sm_Checks = *new (sm_Memory) Checks;
    return sm_Checks;
}

/// The terminate handler. The language calls it for a pure virtual call without an exception under way; with one,
/// something else ended the process.
[[noreturn]] void tellPureCall()
{
    if (sm_DeletionDepth > 0 && !std::current_exception()) {
        std::fputs(
            "QrxHIDDevice: the destructor of a delegate called an operation that its ending device has no more\n",
            stderr);
    }
    if (const std::terminate_handler earlier = checks().earlierHandler) {
        earlier();
    }
    std::abort();
}

/// Reports pure virtual calls while it lives.
class PureCallWatch {
public:
    PureCallWatch()
    {
        ++sm_DeletionDepth;
        const std::lock_guard<std::mutex> guard(checks().mutex);
        if (checks().deletions++ == 0) {
            checks().earlierHandler = std::set_terminate(tellPureCall);
        }
    }
    PureCallWatch(const PureCallWatch&) = delete;
    PureCallWatch& operator=(const PureCallWatch&) = delete;
    ~PureCallWatch()
    {
        --sm_DeletionDepth;
        const std::lock_guard<std::mutex> guard(checks().mutex);
        // The application may have set a handler of its own meanwhile.
        if (--checks().deletions == 0 && std::get_terminate() == tellPureCall) {
            std::set_terminate(checks().earlierHandler);
        }
    }
};

} // namespace

// Removes one entry of the earlier delegate and adds one of the new delegate, so setting the same delegate again leaves
// the number of its entries as it was. The removal comes first, because adding may fail.
void noteDelegateChange(const QrxHIDDeviceDelegateInterface* before, const QrxHIDDeviceDelegateInterface* now)
{
    const std::lock_guard<std::mutex> guard(checks().mutex);
    const auto known = checks().delegates.find(before);
    if (known != checks().delegates.end()) {
        checks().delegates.erase(known);
    }
    try {
        if (now != nullptr) {
            checks().delegates.insert(now);
        }
    } catch (const std::bad_alloc&) {
        // Setting a delegate never fails, in debug builds too: this delegate goes unchecked.
        std::fputs("QrxHIDDevice: there is no memory to check a delegate\n", stderr);
    }
}

void deleteDelegate(QrxHIDDeviceDelegateInterface* delegate)
{
    // The entry of the ending device goes first; if one is left, another device has the same delegate. The message
    // comes before the deletion, which may crash.
    noteDelegateChange(delegate, nullptr);
    bool isShared = false;
    {
        const std::lock_guard<std::mutex> guard(checks().mutex);
        isShared = checks().delegates.count(delegate) != 0;
    }
    if (isShared) {
        std::fputs("QrxHIDDevice: a delegate is deleted with its device, and another device has it too\n", stderr);
    }
    const PureCallWatch watch;
    delete delegate;
}

#endif
