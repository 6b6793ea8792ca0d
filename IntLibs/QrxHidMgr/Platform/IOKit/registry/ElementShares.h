#pragma once

#include "HID/ElementTree.h"
#include "Provider/Provider.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace qrx::iokit {

/// The report descriptors of one device, and how many elements each of its interfaces may have.
///
/// Nearly all of the time that a device costs the thread that looks at it goes into its elements, and a USB device may
/// have 32 interfaces. So all interfaces together have no more elements than one descriptor may have. An interface that
/// wants less than an equal share gets all of it, and the others share the rest equally, whichever is looked at first.
/// From any thread.
class ElementShares {
public:
    /// The report descriptor of a HID interface of `device`, parsed.
    hid::Descriptor read(const platform::DeviceFacts& device, std::size_t interfaceIndex);

    /// The limits for the interface whose descriptor that is.
    hid::Limits limitsFor(const platform::DeviceFacts& device, const hid::Descriptor& descriptor);

private:
    /// What is known of an interface.
    struct Known {
        /// How many elements it wants, once its descriptor was parsed.
        std::optional<std::uint64_t> wanted;
        /// Parsed to know the shares, and not yet asked for.
        std::unique_ptr<hid::Descriptor> waiting;
    };

    Known& _of(const platform::DeviceFacts& device, std::size_t interfaceIndex);
    std::size_t _largestShareOf(const platform::DeviceFacts& device, std::size_t room);

    std::mutex _mutex;
    /// Unknown until an interface wants more than an equal share.
    std::optional<std::size_t> _largestShare;
    /// One for each interface, made when the first descriptor is parsed.
    std::vector<Known> _known;
};

} // namespace qrx::iokit
