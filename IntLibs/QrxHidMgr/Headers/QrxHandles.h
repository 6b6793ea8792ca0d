/// @file
/// Handles as keys of the standard library's containers: by the address of the object that they hold. A key keeps its
/// object alive. Empty handles are equal.

#ifndef QRX_HANDLES_H
#define QRX_HANDLES_H

#include "swizzler"

#include <cstddef>
#include <functional>

template <typename T>
struct std::hash<mis::swizzler<T>> {
    std::size_t operator()(const mis::swizzler<T>& handle) const noexcept { return std::hash<T*>()(handle.get()); }
};

template <typename T>
struct std::less<mis::swizzler<T>> {
    bool operator()(const mis::swizzler<T>& left, const mis::swizzler<T>& right) const noexcept
    {
        return std::less<T*>()(left.get(), right.get());
    }
};

#endif
