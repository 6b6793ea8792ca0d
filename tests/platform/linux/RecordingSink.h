#pragma once

#include "Provider/Provider.h"

#include <map>
#include <string>
#include <vector>

namespace qrx::platform::test {

/// A registry that writes down what it is told: one line an arrival ("+ 1-1 hid 2") or removal ("- 1-1").
class RecordingSink final : public RegistrySink {
public:
    DeviceKey publish(DeviceFacts device) override;
    void terminate(DeviceKey device) override;

    /// What has been told since the last call.
    std::string takeLog();
    /// The devices that are there, by key.
    const std::map<DeviceKey, DeviceFacts>& devices() const { return _devices; }
    /// The device of that place; it must be there once.
    const DeviceFacts& at(const std::string& place) const;

private:
    std::map<DeviceKey, DeviceFacts> _devices;
    std::string _log;
    DeviceKey _last = 0;
};

/// All facts as text, one line for the device and one for each interface.
std::string describe(const DeviceFacts& facts);

} // namespace qrx::platform::test
