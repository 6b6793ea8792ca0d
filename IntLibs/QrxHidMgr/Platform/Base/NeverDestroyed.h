#pragma once

namespace qrx::platform {

/// A static object that is never destroyed, so that it may be used while other static objects end. Making it takes no
/// memory but what T's own constructor takes.
template <typename T>
union NeverDestroyed {
    NeverDestroyed() : value() {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() {}

    T value;
};

} // namespace qrx::platform
