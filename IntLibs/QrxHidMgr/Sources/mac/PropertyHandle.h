#pragma once

#include <CoreFoundation/CoreFoundation.h>

/// One reference on a property object, given back when the scope ends, however it ends. May be empty.
class PropertyHandle {
public:
    PropertyHandle() = default;
    /// Adopts: the reference that came with `object` now belongs to this handle.
    explicit PropertyHandle(CFTypeRef object) : _object(object) {}
    PropertyHandle(const PropertyHandle&) = delete;
    PropertyHandle& operator=(const PropertyHandle&) = delete;
    ~PropertyHandle()
    {
        if (_object != nullptr) {
            CFRelease(_object);
        }
    }

    CFTypeRef get() const { return _object; }
    explicit operator bool() const { return _object != nullptr; }

private:
    CFTypeRef _object = nullptr;
};
