#pragma once

#include "Provider/Provider.h"

namespace qrx::platform {

/// The platform's result for an errno of a read, write or ioctl on a report node.
Status statusOfRequest(int error);

/// The platform's result for an errno of opening a report node.
Status statusOfOpen(int error);

} // namespace qrx::platform
