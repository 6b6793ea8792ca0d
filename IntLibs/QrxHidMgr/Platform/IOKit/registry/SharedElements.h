#pragma once

#include "HID/ElementTree.h"
#include "ReusableArray.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace qrx::iokit {

/// The "Elements" array of a report descriptor, shared by all devices that have it, as far as they have the same number
/// of its elements: interfaces of one device share a limit, so one may have fewer.
///
/// The walk that builds element trees never gives back the array that it reads. So the array is emptied when the last
/// device with the descriptor goes; whoever holds one of its elements keeps that. From any thread.
class SharedElements {
public:
    /// `tree` is what the descriptor was read into.
    static std::shared_ptr<const SharedElements> acquire(const std::vector<std::uint8_t>& descriptor,
                                                         const hid::ElementTree& tree);

    /// The number of elements, and the descriptor. A share cuts the largest fields to a common size, so trees of one
    /// descriptor that have as many elements have the same ones.
    using Key = std::pair<std::size_t, std::vector<std::uint8_t>>;

    SharedElements(const Key& key, const hid::ElementTree& tree);
    SharedElements(const SharedElements&) = delete;
    SharedElements& operator=(const SharedElements&) = delete;
    ~SharedElements();

    CFArrayRef array() const { return _array.get(); }

private:
    const Key _key;
    const ReusableArray _array;
};

} // namespace qrx::iokit
