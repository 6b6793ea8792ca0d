#pragma once

#include "vhci/VhciDevice.h"

namespace qrx::guest {

/// Plugs a device and waits until the kernel has finished with it: every report node exists, and every listener has
/// been sent every event of the arrival. Throws std::runtime_error if that does not come about.
void plugWhole(VhciDevice& device);

/// Whether the kernel has done all that it does at the arrival of a plugged device, report nodes or not.
bool isFinished(const VhciDevice& device);

/// Pulls the plug and waits until the kernel has taken the device away: every listener has been sent every event of the
/// removal. Throws std::runtime_error if that does not come about. Nothing happens if it is not plugged.
void pullWhole(VhciDevice& device);

/// Waits until the kernel has no USB device but its root hubs. Returns false if that does not come about.
bool waitUntilBusIsEmpty();

/// Whether the kernel polls an interface, with nothing under way: somebody has its report node open. The first poll
/// comes a moment after the opening, and none is left after the closing.
bool isPolled(VhciDevice& device, std::size_t interface);

/// Whether this process has the report node of an interface open.
bool hasOpen(const VhciDevice& device, std::size_t interface);

/// Sends an input report and waits until it lies in the queue of everyone who has the node open.
/// Throws std::runtime_error if nobody has.
void sendQueued(VhciDevice& device, std::size_t interface, const Bytes& report);

} // namespace qrx::guest
