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

/// How many deletions this thread is in: what a delegate's destructor drops may end further devices.
thread_local int sm_DeletionDepth = 0;

struct Checks {
    std::mutex mutex;
    /// Once for each device that has it.
    std::multiset<const QrxHIDDeviceDelegateInterface*> delegates;
    int deletions = 0;
    std::terminate_handler earlierHandler = nullptr;
};

/// Never destroyed: devices may go with static objects. Made in place: that takes no memory, which setting and deleting
/// delegates do without.
Checks& checks()
{
    alignas(Checks) static unsigned char sm_Memory[sizeof(Checks)];
    static Checks& sm_Checks = *new (sm_Memory) Checks;
    return sm_Checks;
}

/// What a call of an operation that is pure by now comes to.
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

/// Tells of pure calls for as long as it lives.
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
        // Setting a delegate does not fail.
        std::fputs("QrxHIDDevice: there is no memory to check a delegate\n", stderr);
    }
}

void deleteDelegate(QrxHIDDeviceDelegateInterface* delegate)
{
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
