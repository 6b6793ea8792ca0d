#pragma once

/// The callbacks of one container.

#include "Object.h"

#include <memory>

namespace qrx::cf {

/// Keeps what a container was made with: nothing (its values are raw pointers), the standard callbacks (its values are
/// objects), or a copy of the caller's own, each member of which may be null.
template <class T>
class CallBacks {
public:
    CallBacks(const T* given, const T& standard)
        : _used(given), _holdsObjects(given != nullptr && given->retain == standard.retain &&
                                      given->release == standard.release && given->equal == standard.equal)
    {
        if (_holdsObjects) {
            _used = &standard;
        } else if (given != nullptr) {
            _copy = std::make_unique<T>(*given);
            _used = _copy.get();
        }
    }

    /// True if every value is an object of ours: counted, compared by content.
    bool holdsObjects() const { return _holdsObjects; }

    /// Null for raw pointers.
    const T* callBacks() const { return _used; }

    /// What to store for `value`.
    const void* retain(const void* value) const
    {
        return _used != nullptr && _used->retain != nullptr ? _used->retain(kCFAllocatorDefault, value) : value;
    }

    void release(const void* value) const
    {
        if (_used != nullptr && _used->release != nullptr) {
            _used->release(kCFAllocatorDefault, value);
        }
    }

    bool equal(const void* first, const void* second) const
    {
        return first == second || (_used != nullptr && _used->equal != nullptr && _used->equal(first, second) != 0);
    }

    /// For keys. Keys that are compared by content but have no hash all share one.
    CFHashCode hash(const void* value) const
    {
        if (_used == nullptr || (_used->hash == nullptr && _used->equal == nullptr)) {
            return reinterpret_cast<CFHashCode>(value) >> 4;
        }
        return _used->hash != nullptr ? _used->hash(value) : 0;
    }

private:
    const T* _used; ///< null, the standard ones, or _copy
    bool _holdsObjects;
    std::unique_ptr<T> _copy;
};

/// The standard callbacks in the form that containers ask for.
const void* retainValue(CFAllocatorRef allocator, const void* value);
void releaseValue(CFAllocatorRef allocator, const void* value);

} // namespace qrx::cf
