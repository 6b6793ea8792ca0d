// Device events by libudev, from one of two groups of the same socket family. The group "udev" carries events after
// udevd has applied its rules, so that nodes have their final permissions; the group "kernel" carries them at once, on
// machines without udevd. libudev drops events that do not match the filter, and messages that do not come from root or
// udevd.

#include "UdevMonitor.h"

#include <array>
#include <cerrno>

#include <libudev.h>

namespace qrx::platform {

namespace {

/// The default of 208 KiB holds the events of 8 keyboards that are plugged in at once. Memory is used only while events
/// wait.
constexpr int kReceiveBytes = 8 * 1024 * 1024;

constexpr std::array<const char*, 3> kSubsystems = {"usb", "hid", "hidraw"};

std::string textOf(const char* text)
{
    return text != nullptr ? text : "";
}

} // namespace

void UdevMonitor::Unref::operator()(udev* context) const
{
    udev_unref(context);
}

void UdevMonitor::Unref::operator()(udev_monitor* monitor) const
{
    udev_monitor_unref(monitor);
}

UdevMonitor::UdevMonitor(Group group, std::unique_ptr<udev, Unref> context,
                         std::unique_ptr<udev_monitor, Unref> monitor)
    : _group(group), _context(std::move(context)), _monitor(std::move(monitor))
{
}

std::unique_ptr<UdevMonitor> UdevMonitor::make(Group group)
{
    std::unique_ptr<udev, Unref> context(udev_new());
    if (context == nullptr) {
        return nullptr;
    }
    std::unique_ptr<udev_monitor, Unref> monitor(
        udev_monitor_new_from_netlink(context.get(), group == Group::udev ? "udev" : "kernel"));
    if (monitor == nullptr) {
        return nullptr;
    }
    for (const char* subsystem : kSubsystems) {
        const int added = udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), subsystem, nullptr);
        if (added < 0) {
            // The cause is in the result and not in errno, which closing may change: callers read errno.
            monitor.reset();
            errno = -added;
            return nullptr;
        }
    }
    // More than the system's limit is granted only with privileges, so this may have less effect. Lost events are
    // reported as ENOBUFS, and a rescan recovers.
    udev_monitor_set_receive_buffer_size(monitor.get(), kReceiveBytes);
    const int enabled = udev_monitor_enable_receiving(monitor.get());
    if (enabled < 0) {
        monitor.reset();
        errno = -enabled;
        return nullptr;
    }
    return std::unique_ptr<UdevMonitor>(new UdevMonitor(group, std::move(context), std::move(monitor)));
}

int UdevMonitor::descriptor() const
{
    return udev_monitor_get_fd(_monitor.get());
}

DeviceMonitor::Next UdevMonitor::take(DeviceEvent& event)
{
    errno = 0;
    udev_device* const device = udev_monitor_receive_device(_monitor.get());
    if (device == nullptr) {
        // Nothing waits, or libudev has dropped the message that waited; if there are more, the descriptor is still
        // readable. Any other error (ENOBUFS, no memory) may have cost a message.
        const bool isQuiet = errno == 0 || errno == EAGAIN || errno == EINTR;
        return isQuiet ? Next::none : Next::rescan;
    }
    event.action = textOf(udev_device_get_action(device));
    event.subsystem = textOf(udev_device_get_subsystem(device));
    event.type = textOf(udev_device_get_devtype(device));
    event.path = textOf(udev_device_get_devpath(device));
    udev_device_unref(device);
    return Next::event;
}

} // namespace qrx::platform
