#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <utility>

namespace qrx::iokit {

/// What the users of an interface (IUnknown) count: their references to the object behind it, a `Derived` that was made
/// as a shared one.
///
/// With the last of them the object retires (Derived::retire): it does nothing more. It ends when nothing needs it any
/// more: a call of its event source keeps it by a `Call`, others by a pointer of their own. On one thread.
template <class Derived>
class CountedInterface : public std::enable_shared_from_this<Derived> {
public:
    ULONG retain() { return ++_count; }
    ULONG release()
    {
        const ULONG left = --_count;
        if (left == 0) {
            // Keeps the object until `retire` has returned. If a call of its source is in progress, that keeps it.
            const auto held = _calls == 0 ? std::move(_held) : nullptr;
            static_cast<Derived*>(this)->retire();
        }
        return left;
    }

    /// Keeps the object for a call of its event source, within which its last reference may go. A plain number, as
    /// every report passes here: a shared pointer takes 25 instructions more.
    class Call {
    public:
        explicit Call(CountedInterface& object) : _object(object) { ++_object._calls; }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        ~Call()
        {
            if (--_object._calls == 0 && _object._count == 0) [[unlikely]] {
                const auto held = std::move(_object._held);
            }
        }

    private:
        CountedInterface& _object;
    };

protected:
    CountedInterface() = default;
    ~CountedInterface() = default;

    /// `object`, just made, with one reference for the caller.
    static Derived& handOut(const std::shared_ptr<Derived>& object)
    {
        object->_held = object;
        return *object;
    }

private:
    ULONG _count = 1;
    unsigned _calls = 0;
    /// Itself, until it has retired and no call is in progress.
    std::shared_ptr<Derived> _held;
};

} // namespace qrx::iokit
