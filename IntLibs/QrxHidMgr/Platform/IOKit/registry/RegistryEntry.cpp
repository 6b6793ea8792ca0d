#include "RegistryEntry.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace qrx::iokit {

DeviceRecord::DeviceRecord(platform::DeviceFacts device)
    : facts(std::move(device)), attachTime(static_cast<std::uint64_t>(
                                    std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1))),
      elements(facts.interfaces.size())
{
}

RegistryEntry::RegistryEntry(std::shared_ptr<DeviceRecord> record, std::span<const std::string_view> classes)
    : _record(std::move(record)), _classes(classes)
{
}

bool RegistryEntry::conformsTo(std::string_view className) const
{
    return std::find(_classes.begin(), _classes.end(), className) != _classes.end();
}

CFDictionaryRef RegistryEntry::properties()
{
    // A mutex and not std::call_once: glibc ends every first call of that with a system call, whether or not anybody
    // waits.
    const std::lock_guard guard(_propertiesMutex);
    if (!_properties) {
        _properties = makeProperties();
    }
    return _properties.get();
}

} // namespace qrx::iokit
