#pragma once

#include "VCollectable"

namespace qrx {

/// Keeps `object` alive while one of its own operations calls the application or hands out handles on it.
///
/// An object that is held gets one reference more, and ends here if the others went meanwhile. An object that nobody
/// holds (on a stack, or just made) is lent a reference that is taken back without deleting it, so that handles on it
/// may come and go.
class SelfHold {
public:
    explicit SelfHold(mis::VCollectable<unsigned int>& object)
        : _object(object), _wasHeld(object.getReferenceCount() != 0)
    {
        _object.retain();
    }
    SelfHold(const SelfHold&) = delete;
    SelfHold& operator=(const SelfHold&) = delete;
    ~SelfHold()
    {
        if (!_wasHeld && _object.isCollectable()) {
            _object.setReferenceCount(0);
        } else {
            _object.release();
        }
    }

private:
    mis::VCollectable<unsigned int>& _object;
    const bool _wasHeld;
};

} // namespace qrx
