#pragma once

#include "Base/SystemCalls.h"

namespace qrx::platform {

/// False if the kernel's device events surely do not reach this process: it sends them only to network namespaces that
/// belong to the machine's own user namespace, and this one belongs to a container's (as rootless containers have
/// them). A socket for the events can be had there all the same; it stays silent.
bool isNetworkOfMachine(SystemCalls& calls);

} // namespace qrx::platform
