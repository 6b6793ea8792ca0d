// A source is what a run loop calls. Version 0 is signalled by hand; version 1 waits for a "port", which here is a file
// descriptor. A source can be in several modes of several loops; each of these memberships is one reference of the mode
// on the source. The fields of the context are copied when the source is made: its owner is retained once and released
// with the source.

#include "CFRunLoopSource.h"

#include "CFRunLoop.h"
#include "Reference.h"
#include "RunLoopMode.h"
#include "RunLoopSourceDescriptor.h"

#include <algorithm>
#include <utility>

using namespace qrx::cf;

__CFRunLoopSource::__CFRunLoopSource(CFIndex order, const CFRunLoopSourceContext* version0,
                                     const CFRunLoopSourceContext1* version1)
    : Object(kType, kMortal), _version(version1 != nullptr ? 1 : 0), _order(order)
{
    const auto take = [this](const auto& context) {
        _info = context.info;
        _release = context.release;
        // What `retain` returns is what the other callbacks get: it need not be the pointer that was given.
        if (context.retain != nullptr) {
            _info = const_cast<void*>(context.retain(context.info));
        }
    };
    if (version1 != nullptr) {
        take(*version1);
        _perform1 = version1->perform;
        // Asked once: a descriptor that changes is reported through `setRunLoopSourceDescriptor`.
        _descriptor = version1->getPort != nullptr ? static_cast<int>(version1->getPort(_info)) : -1;
    } else {
        take(*version0);
        _schedule = version0->schedule;
        _cancel = version0->cancel;
        _perform0 = version0->perform;
    }
}

__CFRunLoopSource::~__CFRunLoopSource()
{
    // The owner may end here, which runs foreign code. No loop knows the source any more.
    if (_release != nullptr) {
        _release(_info);
    }
}

void __CFRunLoopSource::schedule(CFRunLoopRef loop, CFStringRef mode) const
{
    if (_schedule != nullptr) {
        _schedule(_info, loop, mode);
    }
}

void __CFRunLoopSource::cancel(CFRunLoopRef loop, CFStringRef mode) const
{
    if (_cancel != nullptr) {
        _cancel(_info, loop, mode);
    }
}

const __CFRunLoopSource::Membership* __CFRunLoopSource::membershipIn(const RunLoopMode& mode) const
{
    const auto found = std::find_if(_memberships.begin(), _memberships.end(),
                                    [&mode](const Membership& membership) { return membership.mode == &mode; });
    return found != _memberships.end() ? &*found : nullptr;
}

void __CFRunLoopSource::noteSignal()
{
    _signalled = true;
    for (const Membership& membership : _memberships) {
        membership.mode->noteSignal(*this);
        // As on the platform, signalling a source of version 0 wakes no loop: whoever signals it calls CFRunLoopWakeUp.
        if (!isVersion0()) {
            membership.loop->wakeIfWaiting();
        }
    }
}

void __CFRunLoopSource::forgetSignal()
{
    _signalled = false;
    for (const Membership& membership : _memberships) {
        membership.mode->forgetSignal(*this);
    }
}

void __CFRunLoopSource::setDescriptor(int descriptor)
{
    const int earlier = std::exchange(_descriptor, descriptor);
    for (const Membership& membership : _memberships) {
        membership.mode->changeDescriptor(*this, membership.slot, earlier);
    }
}

void qrx::cf::setRunLoopSourceDescriptor(CFRunLoopSourceRef source, int descriptor)
{
    constexpr const char* kFunction = "setRunLoopSourceDescriptor";
    auto& target = checkedMutable<__CFRunLoopSource>(source, kFunction);
    if (target.isVersion0()) {
        fail(kFunction, "a source of version 0 waits for no descriptor");
    }
    const std::lock_guard lock(sm_RunLoopMutex);
    target.setDescriptor(descriptor);
}

const TypeOperations qrx::cf::kRunLoopSourceOperations{"a run loop source", dispose<__CFRunLoopSource>, nullptr,
                                                       nullptr};

CFTypeID CFRunLoopSourceGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::runLoopSource);
}

CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef, CFIndex order, CFRunLoopSourceContext* context)
{
    constexpr const char* kFunction = "CFRunLoopSourceCreate";
    if (context == nullptr) {
        fail(kFunction, "null instead of a context");
    }
    if (context->version == 0) {
        return create<__CFRunLoopSource>(0, order, context, nullptr);
    }
    if (context->version != 1) {
        fail(kFunction, "the context's version is neither 0 nor 1");
    }
    return create<__CFRunLoopSource>(0, order, nullptr, reinterpret_cast<const CFRunLoopSourceContext1*>(context));
}

void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source)
{
    checked<__CFRunLoopSource>(source, "CFRunLoopSourceInvalidate");
    // The loops may hold the last references.
    const auto alive = Reference<CFRunLoopSourceRef>::retain(source);
    // One membership at a time, and the state is read anew for each: the cancel callback runs without the mutex and may
    // remove the source from other modes itself.
    for (;;) {
        Reference<CFRunLoopRef> loop;
        Reference<CFRunLoopSourceRef> membersReference;
        RunLoopMode* mode = nullptr;
        {
            const std::lock_guard lock(sm_RunLoopMutex);
            source->_valid = false;
            source->clearSignal();
            if (source->_memberships.empty()) {
                return;
            }
            // The loop is held for the callback, since its thread may end meanwhile.
            loop = Reference<CFRunLoopRef>::retain(source->_memberships.back().loop);
            mode = source->_memberships.back().mode;
            membersReference = loop->detach(*source, *mode);
        }
        source->cancel(loop.get(), mode->name());
    }
}

Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef source)
{
    checked<__CFRunLoopSource>(source, "CFRunLoopSourceIsValid");
    const std::lock_guard lock(sm_RunLoopMutex);
    return source->_valid;
}

void CFRunLoopSourceSignal(CFRunLoopSourceRef source)
{
    checked<__CFRunLoopSource>(source, "CFRunLoopSourceSignal");
    const std::lock_guard lock(sm_RunLoopMutex);
    // Signals do not count: a source that is signalled twice before it is served is called once.
    if (source->_valid && !source->_signalled) {
        source->noteSignal();
    }
}
