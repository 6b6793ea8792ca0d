#pragma once

#include "CoreFoundation/CFRef.h"

namespace qrx::iokit {

/// An array that is emptied at the end, also where somebody holds it on.
///
/// An array that is still held at the end is given out again. So of a reader that never gives back what it reads, no
/// more arrays are kept for good than there were at once, and none of them has contents. From any thread.
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
