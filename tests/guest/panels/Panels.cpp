#include "Panels.h"

#include "library/Plugs.h"
#include "rig_tests/Descriptors.h"

#include <algorithm>
#include <cstdio>
#include <thread>
#include <utility>

namespace qrx::guest {

namespace {

/// A report node that is younger may still be waiting for udevd's rules, which costs the library further looks.
/// Nobody's devices are that fresh for long.
constexpr std::chrono::milliseconds kSettled{1100};

UsbInterface vendorReports()
{
    UsbInterface interface;
    interface.reportDescriptor = plainDescriptor(Panels::kReportBytes);
    return interface;
}

UsbInterface mediaKeys()
{
    UsbInterface interface;
    interface.reportDescriptor = {0x05, 0x0C, 0x09, 0x01, 0xA1, 0x01,             // Consumer control
                                  0x15, 0x00, 0x25, 0x01, 0x75, 0x01, 0x95, 0x04, //   four bits
                                  0x09, 0xE9, 0x09, 0xEA, 0x09, 0xE2, 0x09, 0xCD, //   louder, quieter, mute, play
                                  0x81, 0x02,                                     //   Input
                                  0x95, 0x04, 0x81, 0x01,                         //   padding
                                  0xC0};
    interface.hasOutEndpoint = false;
    return interface;
}

UsbIdentity identity(std::size_t number)
{
    UsbIdentity identity;
    identity.release = 0x0110;
    identity.manufacturer = "Qrx Works";
    identity.productName = "Bench Panel";
    char serial[16];
    std::snprintf(serial, sizeof serial, "QRX-%04zu", number);
    identity.serial = serial;
    return identity;
}

} // namespace

Panels::Panels(std::size_t nodes)
{
    const std::vector<UsbInterface> interfaces{vendorReports(), mediaKeys()};
    for (std::size_t left = nodes; left > 0; left -= std::min(left, interfaces.size())) {
        const auto end = interfaces.begin() + static_cast<std::ptrdiff_t>(std::min(left, interfaces.size()));
        plug(std::vector<UsbInterface>(interfaces.begin(), end));
    }
    waitUntilSettled();
}

Panels::Panels(std::vector<UsbInterface> interfaces)
{
    plug(std::move(interfaces));
    waitUntilSettled();
}

void Panels::plug(std::vector<UsbInterface> interfaces)
{
    _devices.push_back(std::make_unique<VhciDevice>(identity(_devices.size() + 1), std::move(interfaces)));
    _devices.back()->plug();
}

void Panels::waitUntilSettled() const
{
    for (const auto& device : _devices)
        plugWhole(*device);
    std::this_thread::sleep_for(kSettled);
}

Panels::~Panels()
{
    _devices.clear();
    if (!waitUntilBusIsEmpty())
        std::fprintf(stderr, "the kernel keeps a device whose plug was pulled\n");
}

} // namespace qrx::guest
