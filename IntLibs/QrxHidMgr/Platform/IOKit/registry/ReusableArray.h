#pragma once

#include "CoreFoundation/CFRef.h"

namespace qrx::iokit {

/// A property array that is emptied when this object ends, even if somebody still holds the array.
///
/// An array that is still held then is used again for the next such object. So a reader that never releases what it
/// reads keeps no more arrays for good than there were at once, and those that are not in use are empty. From any
/// thread.
class ReusableArray {
public:
    ReusableArray();
    ReusableArray(const ReusableArray&) = delete;
    ReusableArray& operator=(const ReusableArray&) = delete;
    ~ReusableArray();

    CFMutableArrayRef get() const { return _array.get(); }

private:
    CFRef<CFMutableArrayRef> _array;
};

} // namespace qrx::iokit
