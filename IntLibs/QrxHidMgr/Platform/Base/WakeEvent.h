#pragma once

#include "FileDescriptor.h"
#include "ProcessMark.h"
#include "SystemCalls.h"

namespace qrx::platform {

/// A descriptor that is readable from `raise` to `clear`, whoever calls them: an event counter (eventfd). A child that
/// fork made shares its parent's counter, so there both do nothing and return true.
class WakeEvent {
public:
    /// Not open, with errno, if there is no descriptor free.
    explicit WakeEvent(SystemCalls& calls) : _calls(calls), _event(calls, calls.eventCreate()) {}

    bool isOpen() const { return _event.isOpen(); }
    /// -1 once closed.
    int descriptor() const { return _event.get(); }

    /// False with errno if it failed, which means that others have closed the descriptor: the counter never comes near
    /// its limit. A signal handler may call it, but has to save errno.
    bool raise();
    /// False with errno if it was not raised, or failed.
    bool clear();

    void close() { _event.close(); }
    /// The descriptor was closed by others: its number is nobody's now, or somebody else's.
    void abandon() { _event.release(); }

private:
    SystemCalls& _calls;
    FileDescriptor _event;
    const ProcessMark _process;
};

} // namespace qrx::platform
