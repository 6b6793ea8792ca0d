#include "OpenDevices.h"

#include "Base/NeverDestroyed.h"
#include "HidDevice.h"
#include "IOKit/registry/NotificationPort.h"

#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace qrx::iokit::open_devices {

namespace {

struct Opening {
    std::thread::id thread;
    std::weak_ptr<HidDevice> device;
};

struct Openings {
    std::mutex mutex;
    std::unordered_map<const HidDevice*, Opening> byDevice;
};

/// Never destroyed, because a static object may close an application's last device.
Openings& openings()
{
    static platform::NeverDestroyed<Openings> sm_Openings;
    return sm_Openings.value;
}

} // namespace

void add(const std::shared_ptr<HidDevice>& device)
{
    // The registry does not know open devices, so opening one brings the function; setting it again changes nothing.
    setBeforeEnd(&deliverRest);
    const std::lock_guard guard(openings().mutex);
    openings().byDevice[device.get()] = {std::this_thread::get_id(), device};
}

void remove(const HidDevice& device)
{
    const std::lock_guard guard(openings().mutex);
    openings().byDevice.erase(&device);
}

void deliverRest(const DeviceRecord& ended)
{
    // Collected first: delivering runs foreign code, which may change the table.
    std::vector<std::shared_ptr<HidDevice>> concerned;
    {
        const std::lock_guard guard(openings().mutex);
        for (const auto& [address, opening] : openings().byDevice) {
            // Only devices of this thread: another thread serves its own, and delivers what waits when its loop runs.
            if (opening.thread == std::this_thread::get_id() && address->isOf(ended)) {
                if (auto device = opening.device.lock()) {
                    concerned.push_back(std::move(device));
                }
            }
        }
    }
    // Without the lock and with references: receivers may open and close devices, these included.
    for (const auto& device : concerned) {
        device->deliverRest();
    }
}

} // namespace qrx::iokit::open_devices
