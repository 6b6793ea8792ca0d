#pragma once

#include "Provider/Provider.h"

#include <memory>

namespace qrx::platform {

/// A provider without devices.
std::unique_ptr<Provider> makeEmptyProvider();

} // namespace qrx::platform
