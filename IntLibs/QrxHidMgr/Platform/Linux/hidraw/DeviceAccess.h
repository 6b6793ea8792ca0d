#pragma once

#include "Provider/Provider.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace qrx::platform {

/// What the report nodes of one published device share: whether the device is still there, and whether a person has
/// been told what is wrong with it. A device that is plugged in again gets a new one. Used from any thread.
class DeviceAccess {
public:
    explicit DeviceAccess(const DeviceFacts& facts);

    void leave() { _hasLeft = true; }
    bool hasLeft() const { return _hasLeft; }

    /// One line on standard error for a node that could not be opened: which node, which device, why, and what would
    /// help. Only the first call for a device writes: a program may try again every second.
    void tellRefusal(const std::string& node, int error);

    /// One line for a node that could not be opened for lack of descriptors or memory; each time, since another try may
    /// succeed.
    void tellScarcity(const std::string& node, int error) const;

    /// As tellRefusal, for an interface that has no node at all.
    void tellMissingNode(unsigned interfaceNumber);

    /// One line of level info: the queue of an open interface may have been full, for the `count`th time.
    void tellPossibleLoss(unsigned interfaceNumber, std::uint64_t count) const;

private:
    std::string failure(const std::string& node, int error) const;
    bool isFirst() { return !_isTold.exchange(true); }

    /// "1234:abcd "Product" at 1-2.1"
    std::string _device;
    std::string _rule;
    std::atomic<bool> _hasLeft = false;
    std::atomic<bool> _isTold = false;
};

} // namespace qrx::platform
