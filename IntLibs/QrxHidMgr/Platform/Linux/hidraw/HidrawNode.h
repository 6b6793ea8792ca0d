#pragma once

#include "Base/SystemCalls.h"
#include "DeviceAccess.h"
#include "Provider/Provider.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qrx::platform {

/// The way to one HID interface through the kernel's report node (/dev/hidrawN). Shared with the registry; used from
/// any thread. Nothing is opened before `open`.
class HidrawNode : public HIDPort {
public:
    struct Place {
        /// "/dev/hidraw3"; empty where the kernel made none.
        std::string node;
        /// The node's folder in sysfs, below the HID device that it belongs to.
        std::string sysfs;
        unsigned interfaceNumber = 0;
    };

    HidrawNode(SystemCalls& calls, Place place, std::vector<std::uint8_t> reportDescriptor);

    /// The device that the node belongs to; before the node is handed out.
    void setAccess(std::shared_ptr<DeviceAccess> access) { _access = std::move(access); }

    /// Opens the node for reading and writing, or for reading alone where its mode says so. notPrivileged for a refusal
    /// and unsupported where there is no node: the first one of a device is reported on standard error. noResources or
    /// noMemory where descriptors or memory are lacking, reported each time. notAttached where the device has left.
    Status open(std::unique_ptr<HIDChannel>& channel) override;
    std::string nodePath() const override { return _place.node; }

private:
    Status refuse(int error);

    SystemCalls& _calls;
    const Place _place;
    const std::vector<std::uint8_t> _reportDescriptor;
    std::shared_ptr<DeviceAccess> _access;
};

} // namespace qrx::platform
