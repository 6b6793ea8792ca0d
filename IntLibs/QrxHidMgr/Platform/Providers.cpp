#include "Linux/LinuxProvider.h"
#include "Provider/Provider.h"

namespace qrx::platform {

// The build reads the includes above to learn which providers there are. Virtual devices have none: they publish
// themselves.
std::vector<std::unique_ptr<Provider>> makeProviders()
{
    std::vector<std::unique_ptr<Provider>> providers;
    providers.push_back(makeLinuxProvider());
    return providers;
}

} // namespace qrx::platform
