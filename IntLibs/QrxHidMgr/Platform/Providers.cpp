#include "Linux/LinuxProvider.h"
#include "Provider/Provider.h"

namespace qrx::platform {

std::vector<std::unique_ptr<Provider>> makeProviders()
{
    std::vector<std::unique_ptr<Provider>> providers;
    providers.push_back(makeLinuxProvider());
    return providers;
}

} // namespace qrx::platform
