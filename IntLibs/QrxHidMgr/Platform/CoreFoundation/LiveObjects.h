#pragma once

/// How many objects live: what a test compares before and after, to see that nothing leaked.

namespace qrx::cf {

/// Objects of all threads that have been made and not yet destroyed. Immortal ones (constants, numbers held in their
/// pointer, booleans) and run loops are not counted. From any thread.
long liveObjects();

/// Run loops that have been made and not yet destroyed: one for each thread that asked for its own, and those of ended
/// threads that somebody still holds. From any thread.
long liveRunLoops();

} // namespace qrx::cf
