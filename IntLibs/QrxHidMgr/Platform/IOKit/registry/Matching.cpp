#include "Matching.h"

#include <IOKit/IOKitLib.h>
#include <IOKit/usb/IOUSBLib.h>

namespace qrx::iokit {

namespace {

/// No class has a longer name.
constexpr CFIndex kClassNameSize = sizeof(io_name_t);

} // namespace

Matching::Matching(CFDictionaryRef dictionary)
{
    const CFIndex count = CFDictionaryGetCount(dictionary);
    std::vector<const void*> keys(static_cast<std::size_t>(count));
    std::vector<const void*> values(static_cast<std::size_t>(count));
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    for (std::size_t index = 0; index < keys.size(); ++index) {
        // Each key and value is retained by itself: the dictionary is the caller's and may be changed.
        if (!CFEqual(keys[index], CFSTR(kIOProviderClassKey))) {
            _properties.push_back({CFRef<CFTypeRef>::retain(keys[index]), CFRef<CFTypeRef>::retain(values[index])});
            continue;
        }
        char name[kClassNameSize] = "";
        if (CFGetTypeID(values[index]) != CFStringGetTypeID() ||
            !CFStringGetCString(static_cast<CFStringRef>(values[index]), name, sizeof name, kCFStringEncodingUTF8)) {
            // A class name of another type or too long matches nothing; it is not an error.
            _isImpossible = true;
        }
        _className = name;
    }
}

bool Matching::accepts(RegistryEntry& entry) const
{
    if (_isImpossible || (!_className.empty() && !entry.conformsTo(_className))) {
        return false;
    }
    for (const Property& property : _properties) {
        const void* value = CFDictionaryGetValue(entry.properties(), property.key.get());
        // The entry's own value is asked for the comparison: it is a property object for certain, while the other one
        // comes from an application.
        if (value == nullptr || !CFEqual(value, property.value.get())) {
            return false;
        }
    }
    return true;
}

bool Matching::reachesHid() const
{
    return _className != kIOUSBDeviceClassName && _className != kIOUSBInterfaceClassName && _className != "IOUSBNub";
}

} // namespace qrx::iokit
