#pragma once

#include <IOKit/IOKitLib.h>

/// One reference on a registry object (entry, iterator, port), given back when the scope ends, however it ends.
/// Handle 0 stands for "nothing".
class RegistryHandle {
public:
    RegistryHandle() = default;
    /// Adopts: the reference that came with `object` now belongs to this handle.
    explicit RegistryHandle(io_object_t object) : _object(object) {}
    RegistryHandle(const RegistryHandle&) = delete;
    RegistryHandle& operator=(const RegistryHandle&) = delete;
    ~RegistryHandle()
    {
        if (_object != 0) {
            IOObjectRelease(_object);
        }
    }

    io_object_t get() const { return _object; }
    explicit operator bool() const { return _object != 0; }
    /// For a function that gives its result through a pointer; only while the handle is empty.
    io_object_t* out() { return &_object; }

private:
    io_object_t _object = 0;
};
