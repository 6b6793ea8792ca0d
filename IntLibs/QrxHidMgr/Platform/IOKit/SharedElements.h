#pragma once

#include "CFRef.h"
#include "HID/ElementTree.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace qrx::iokit {

/// The "Elements" array of a report descriptor, shared by all devices that have it.
///
/// The walk that builds element trees never gives back the array that it reads. So an array that is still held when its
/// last device goes is kept for the next device with that descriptor: what a program holds for ever is one array for
/// each kind of device, however often they are plugged. From any thread.
class SharedElements {
public:
    /// `tree` is what the descriptor was read into.
    static std::shared_ptr<const SharedElements> acquire(const std::vector<std::uint8_t>& descriptor,
                                                         const hid::ElementTree& tree);

    SharedElements(const std::vector<std::uint8_t>& descriptor, CFRef<CFArrayRef> array);
    SharedElements(const SharedElements&) = delete;
    SharedElements& operator=(const SharedElements&) = delete;
    ~SharedElements();

    CFArrayRef array() const { return _array.get(); }

private:
    const std::vector<std::uint8_t> _descriptor;
    CFRef<CFArrayRef> _array;
};

} // namespace qrx::iokit
