#pragma once

/// A source of a run loop. Private to this folder.

#include "Base/ShortMutex.h"
#include "Object.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace qrx::cf {

class RunLoopMode;

/// Guards what loops, modes and sources know of each other, for the whole process: one lock, since a source may be in
/// many loops and a loop has many sources. It is held for a few instructions for each report, and for a system call
/// when a source comes or goes; never while a callback runs or a thread waits.
inline constinit platform::ShortMutex sm_RunLoopMutex;

} // namespace qrx::cf

struct __CFRunLoopSource : qrx::cf::Object {
    static constexpr qrx::cf::Type kType = qrx::cf::Type::runLoopSource;

    /// That the source is in a mode, which retains it.
    struct Membership {
        CFRunLoopRef loop;
        qrx::cf::RunLoopMode* mode;
        std::uint32_t slot; ///< the mode's place for it
    };

    /// Makes a source of version 0 if `version1` is null, else of version 1.
    __CFRunLoopSource(CFIndex order, const CFRunLoopSourceContext* version0, const CFRunLoopSourceContext1* version1);
    ~__CFRunLoopSource();

    bool isVersion0() const { return _version == 0; }
    void schedule(CFRunLoopRef loop, CFStringRef mode) const;
    void cancel(CFRunLoopRef loop, CFStringRef mode) const;
    void perform() const
    {
        if (_perform1 != nullptr) {
            _perform1(nullptr, 0, kCFAllocatorDefault, _info);
        } else if (_perform0 != nullptr) {
            _perform0(_info);
        }
    }

    const Membership* membershipIn(const qrx::cf::RunLoopMode& mode) const;
    /// Due, or not due any more, in whichever mode it is.
    void noteSignal();
    void clearSignal()
    {
        if (_signalled) [[unlikely]] {
            forgetSignal();
        }
    }
    void setDescriptor(int descriptor);

    const CFIndex _version;
    const CFIndex _order;
    void* _info = nullptr;
    void (*_release)(const void*) = nullptr;
    void (*_schedule)(void*, CFRunLoopRef, CFStringRef) = nullptr;
    void (*_cancel)(void*, CFRunLoopRef, CFStringRef) = nullptr;
    void (*_perform0)(void*) = nullptr;
    void* (*_perform1)(void*, CFIndex, CFAllocatorRef, void*) = nullptr;

    // Guarded by sm_RunLoopMutex.
    int _descriptor = -1; ///< version 1; -1: none
    bool _valid = true;
    bool _signalled = false;
    std::vector<Membership> _memberships;

private:
    void forgetSignal();
};
