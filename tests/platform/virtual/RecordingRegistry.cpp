#include "RecordingRegistry.h"

using namespace qrx::platform;

RecordingRegistry& RecordingRegistry::shared()
{
    static RecordingRegistry sm_Registry;
    return sm_Registry;
}

RecordingRegistry& RecordingRegistry::emptied()
{
    shared().published.clear();
    shared().terminated.clear();
    shared().providersEnabled = true;
    return shared();
}

DeviceKey RecordingRegistry::publish(DeviceFacts device)
{
    published.push_back({++_lastKey, std::move(device)});
    return _lastKey;
}

void RecordingRegistry::terminate(DeviceKey device)
{
    terminated.push_back(device);
}

namespace qrx::platform {

RegistrySink& registry()
{
    return RecordingRegistry::shared();
}

void setProvidersEnabled(bool enabled)
{
    RecordingRegistry::shared().providersEnabled = enabled;
}

} // namespace qrx::platform
