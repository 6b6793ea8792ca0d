// Handles that an object makes on itself.

#ifndef QRX_SELF_REFERENCE_H
#define QRX_SELF_REFERENCE_H

#include "VCollectable"
#include "swizzler"

/// A handle that keeps `object` alive while it calls the application, which may drop every other handle on it. Empty
/// for an object that nobody holds: on such a one the handle would be the last, and would delete it.
template <typename T>
mis::swizzler<T> holdIfHeld(T* object)
{
    return mis::swizzler<T>(object->getReferenceCount() != 0 ? object : nullptr);
}

/// For as long as it lives, handles on an object that nobody holds may be made and dropped without deleting it: an
/// object on the stack, or one just made, can so be named to others. Does nothing for an object that is held.
class SelfLoan {
public:
    explicit SelfLoan(mis::VCollectable<unsigned int>& object)
        : _unheld(object.getReferenceCount() == 0 ? &object : nullptr)
    {
        if (_unheld != nullptr)
            _unheld->retain();
    }

    SelfLoan(SelfLoan const&) = delete;
    SelfLoan& operator=(SelfLoan const&) = delete;

    ~SelfLoan()
    {
        if (_unheld == nullptr)
            return;
        // Back to nobody's, unless somebody has kept a handle meanwhile.
        if (_unheld->isCollectable())
            _unheld->setReferenceCount(0);
        else
            _unheld->release();
    }

private:
    mis::VCollectable<unsigned int>* const _unheld;
};

#endif
