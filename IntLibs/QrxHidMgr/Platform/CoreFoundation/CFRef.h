#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace qrx {

/// Counts by the published functions, which end the process for what is no object. Retaining null does nothing.
struct PublishedCounting {
    static void retain(CFTypeRef object)
    {
        if (object != nullptr) {
            CFRetain(object);
        }
    }
    static void release(CFTypeRef object) { CFRelease(object); }
};

/// One reference on a property object, given back at the end of the scope, also when a callback throws. T is a CF
/// reference type, Counting how its references are counted.
template <class T, class Counting = PublishedCounting>
class CFRef {
public:
    CFRef() = default;
    CFRef(CFRef&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
    CFRef(const CFRef& other) : CFRef(retain(other._object)) {}
    CFRef& operator=(CFRef other) noexcept
    {
        std::swap(_object, other._object);
        return *this;
    }
    ~CFRef()
    {
        if (_object != nullptr) {
            Counting::release(_object);
        }
    }

    /// Takes over the caller's reference: for what a Create or Copy function gave. Null is nothing.
    static CFRef adopt(T object) { return CFRef(object); }
    /// Takes a reference of its own: for what a Get function lent.
    static CFRef retain(T object)
    {
        Counting::retain(object);
        return CFRef(object);
    }

    T get() const { return _object; }
    T operator->() const { return _object; }
    explicit operator bool() const { return _object != nullptr; }
    /// Gives the reference to the caller.
    T leave() { return std::exchange(_object, nullptr); }

private:
    explicit CFRef(T object) : _object(object) {}

    T _object = nullptr;
};

} // namespace qrx
