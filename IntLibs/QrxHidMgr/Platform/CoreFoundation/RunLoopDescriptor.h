#pragma once

/// For driving a loop from another one that waits on file descriptors.

#include <CoreFoundation/CoreFoundation.h>

namespace qrx::cf {

/// A descriptor that is readable exactly while CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, ...) on the loop's thread
/// has something to do: a source of the default mode is due, or the loop was woken. A version-0 source that is
/// signalled while the loop does not run counts once the loop is woken. The descriptor stays the loop's own and the
/// same for the life of the loop's thread; it is to be watched, never read or closed. -1 once that thread has ended.
/// From any thread.
int runLoopDescriptor(CFRunLoopRef loop);

} // namespace qrx::cf
