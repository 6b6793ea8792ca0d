#pragma once

#include "HID/ElementTree.h"
#include "ReusableArray.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace qrx::iokit {

/// The "Elements" array of a report descriptor, shared by all devices that have it.
///
/// The walk that builds element trees never gives back the array that it reads. So the array is emptied when the last
/// device with the descriptor goes; whoever holds one of its elements keeps that. From any thread.
class SharedElements {
public:
    /// `tree` is what the descriptor was read into.
    static std::shared_ptr<const SharedElements> acquire(const std::vector<std::uint8_t>& descriptor,
                                                         const hid::ElementTree& tree);

    SharedElements(const std::vector<std::uint8_t>& descriptor, const hid::ElementTree& tree);
    SharedElements(const SharedElements&) = delete;
    SharedElements& operator=(const SharedElements&) = delete;
    ~SharedElements();

    CFArrayRef array() const { return _array.get(); }

private:
    const std::vector<std::uint8_t> _descriptor;
    const ReusableArray _array;
};

} // namespace qrx::iokit
