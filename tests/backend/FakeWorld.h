#pragma once

#include "BackendWorld.h"
#include "fake/FakePlatform.h"

namespace world {

/// What the driver's entry says of a sample, in the platform's keys.
fake::Dict driverProperties(Sample sample);

/// One element dictionary of a field.
fake::Dict field(int cookie, int type, int reportID, int page, int usage, fake::Dict more = {});

/// Adds the entries of a device: "usb1", its interfaces "usb1-if0", their drivers "usb1-hid0" and one client each. The
/// number in the names of the latter is the interface number.
fake::FakeEntry& addDeviceEntries(fake::FakePlatform& platform, const std::string& name,
                                  const DeviceDescription& description);

/// The world on the scripted platform.
class FakeWorld : public BackendWorld {
public:
    void setInputMode(InputMode mode) override;
    Device addDevice(const DeviceDescription& description) override;
    void removeDevice(Device device) override;
    void deliverInput(Device device, int interfaceNumber, const Bytes& report) override;
    std::vector<Sent> sentReports(Device device) override;
    void pump() override;

private:
    fake::FakePlatform _platform;
    std::size_t _count = 0;
};

} // namespace world
