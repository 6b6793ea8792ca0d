#include "Empty/EmptyProvider.h"

#include <cerrno>
#include <memory>

namespace qrx::platform {

namespace {

class EmptyProvider final : public Provider {
public:
    void refresh(RegistrySink&) override {}
    int startWatching(RegistrySink&) override
    {
        errno = ENOSYS;
        return -1;
    }
    void handleEvents(RegistrySink&) override {}
    void stopWatching() override {}
};

} // namespace

std::unique_ptr<Provider> makeEmptyProvider()
{
    return std::make_unique<EmptyProvider>();
}

} // namespace qrx::platform
