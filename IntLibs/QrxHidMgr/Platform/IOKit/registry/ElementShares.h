#pragma once

#include "HID/ElementTree.h"
#include "Provider/Provider.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <set>

namespace qrx::iokit {

/// The report descriptors of one device, and how many elements each of its interfaces may have.
///
/// What a device costs the thread that looks at it is nearly all for its elements, and it may have 32 interfaces. So
/// all of them together have no more elements than one descriptor may have. Who wants least has all of it, the others
/// equal shares of the rest, whichever is looked at first. From any thread.
class ElementShares {
public:
    /// What the descriptor of a HID interface of `device` was read into.
    hid::Descriptor read(const platform::DeviceFacts& device, std::size_t interfaceIndex);

    /// The limits for the interface whose descriptor that is.
    hid::Limits limitsFor(const platform::DeviceFacts& device, const hid::Descriptor& descriptor);

private:
    std::size_t _largestShareOf(const platform::DeviceFacts& device, std::size_t room);

    std::mutex _mutex;
    /// Unknown until an interface wants more than an equal share.
    std::optional<std::size_t> _largestShare;
    std::set<std::size_t> _taken;
    /// Read to know the shares, and not yet asked for.
    std::map<std::size_t, hid::Descriptor> _waiting;
};

} // namespace qrx::iokit
