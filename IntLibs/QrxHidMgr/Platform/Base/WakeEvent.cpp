#include "WakeEvent.h"

#include <cstdint>

namespace qrx::platform {

bool WakeEvent::raise()
{
    // A child would wake its parent for a change that only the child has made.
    const std::uint64_t one = 1;
    return _process.isInherited() || _calls.write(_event.get(), &one, sizeof one) == sizeof one;
}

bool WakeEvent::clear()
{
    // One read takes all that was added.
    std::uint64_t count = 0;
    return _process.isInherited() || _calls.read(_event.get(), &count, sizeof count) == sizeof count;
}

} // namespace qrx::platform
