#pragma once

// References that an object takes on itself while one of its own operations calls the application.

#include "VCollectable"

#include <optional>

/// Keeps an object alive while this hold exists. An object that is held gets one more reference, and is deleted at the
/// end of the hold if all other references have gone. An object that nobody holds (on a stack, or just made) is lent a
/// reference that is taken back without deleting it, so that handles on it may come and go meanwhile.
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
        // A lent reference is taken back by setting the count, since `release` would delete the object. If somebody has
        // kept a handle meanwhile, the object is theirs, and `release` only counts down.
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

/// As `SelfHold` for an object that nobody holds. An object that is held gets no further reference: it lives as long as
/// its handles do, the one that the operation passes on included.
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
