#pragma once

// References that an object takes on itself while one of its own operations calls the application.

#include "VCollectable"

#include <optional>

/// Keeps an object alive for as long as it lives: one that is held gets one reference more, and ends with it if the
/// others went meanwhile. One that nobody holds (on a stack, or just made) is lent a reference that is taken back
/// without deleting it, so that handles on it may come and go.
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
        // Back to nobody's, unless somebody has kept a handle meanwhile.
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

/// As `SelfHold`, for an object that nobody holds; nothing for one that is held, whose count is then what the caller of
/// the operation and the handle that it hands out make it.
class SelfLoan {
public:
    explicit SelfLoan(mis::VCollectable<unsigned int>& object)
    {
        if (object.getReferenceCount() == 0) {
            _hold.emplace(object);
        }
    }

private:
    std::optional<SelfHold> _hold;
};
