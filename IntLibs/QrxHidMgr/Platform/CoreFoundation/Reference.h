#pragma once

/// One reference of ours to an object, given back at the end of the scope: also when a callback throws.

#include "Object.h"

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace qrx::cf {

/// T is the Ref type of objects that are always in memory (no numbers). Adopting takes over a reference that is owned
/// already, retaining makes one.
template <class T>
class Reference {
public:
    Reference() = default;
    static Reference adopting(T object) { return Reference(object); }
    static Reference retaining(T object)
    {
        retainObject(*static_cast<const Object*>(CFTypeRef(object)));
        return Reference(object);
    }
    Reference(Reference&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
    Reference& operator=(Reference&& other) noexcept
    {
        Reference(std::move(other)).swap(*this);
        return *this;
    }
    ~Reference()
    {
        if (_object != nullptr) {
            releaseObject(*static_cast<const Object*>(CFTypeRef(_object)));
        }
    }

    void swap(Reference& other) noexcept { std::swap(_object, other._object); }
    T get() const { return _object; }
    /// Gives the reference to the caller.
    T leave() { return std::exchange(_object, nullptr); }
    T operator->() const { return _object; }
    explicit operator bool() const { return _object != nullptr; }

private:
    explicit Reference(T object) : _object(object) {}

    T _object = nullptr;
};

} // namespace qrx::cf
