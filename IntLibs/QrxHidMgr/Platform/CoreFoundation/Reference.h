#pragma once

#include "CFRef.h"
#include "Object.h"

namespace qrx::cf {

/// Counts within the caller's code, which a report that arrives notices. The object is surely one of ours and in memory
/// (no number).
struct OwnCounting {
    static void retain(CFTypeRef object) { retainObject(*static_cast<const Object*>(object)); }
    static void release(CFTypeRef object) { releaseObject(*static_cast<const Object*>(object)); }
};

/// A reference on an object of this folder.
template <class T>
using Reference = CFRef<T, OwnCounting>;

} // namespace qrx::cf
