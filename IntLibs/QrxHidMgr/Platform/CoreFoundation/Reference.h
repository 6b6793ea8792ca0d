#pragma once

#include "CFRef.h"
#include "Object.h"

namespace qrx::cf {

/// Counts without a call and without a check, since a source is retained for every report. The object is surely one of
/// ours, and no number held in the pointer.
struct OwnCounting {
    static void retain(CFTypeRef object) { retainObject(*static_cast<const Object*>(object)); }
    static void release(CFTypeRef object) { releaseObject(*static_cast<const Object*>(object)); }
};

/// A reference on an object of this folder.
template <class T>
using Reference = CFRef<T, OwnCounting>;

} // namespace qrx::cf
