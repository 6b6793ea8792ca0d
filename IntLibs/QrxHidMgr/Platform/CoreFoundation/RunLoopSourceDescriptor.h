#pragma once

/// For sources whose descriptor comes and goes.

#include <CoreFoundation/CoreFoundation.h>

namespace qrx::cf {

/// From now on the version-1 source waits for this descriptor instead of the one that its context named or an earlier
/// call; -1 for none. One that cannot be watched (a plain file; a second source of a mode for it where the process has
/// no descriptor left) is as none. The caller closes a descriptor only after the source has let it go. From any thread.
void setRunLoopSourceDescriptor(CFRunLoopSourceRef source, int descriptor);

} // namespace qrx::cf
