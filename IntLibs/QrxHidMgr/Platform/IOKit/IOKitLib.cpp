// The published calls of the registry. Each turns handles into objects, checks what it was given, and answers with the
// platform's codes. Calls that take a matching dictionary consume one reference on it, on failure too. Handle 0 is
// "nothing", and most calls accept it without an error.

#include "CoreFoundation/CFDictionaryShape.h"
#include "CoreFoundation/CFRef.h"
#include "IOKit/registry/Matching.h"
#include "IOKit/registry/NotificationPort.h"
#include "IOKit/registry/Registry.h"
#include "IOKit/registry/RegistryIterator.h"
#include "Provider/Provider.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/IOReturn.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

using namespace qrx::iokit;
using qrx::CFRef;

mach_port_t bootstrap_port = MACH_PORT_NULL;
const mach_port_t kIOMasterPortDefault = MACH_PORT_NULL;

namespace {

/// The registry with its providers, for an enumeration or observation.
Registry& suppliedRegistry()
{
    Registry& registry = Registry::instance();
    registry.providers().setFactory(&qrx::platform::makeProviders);
    return registry;
}

io_iterator_t handOutIterator(RegistryEntry::List entries)
{
    return Registry::instance().handOut(std::make_shared<RegistryIterator>(std::move(entries)));
}

// On the platform "matched" comes again when a service is registered anew, "first match" once. Here a device is
// published once, so both mean its arrival.
std::optional<Notification::Kind> kindOf(std::string_view type)
{
    if (type == kIOFirstMatchNotification || type == kIOMatchedNotification) {
        return Notification::Kind::arrival;
    }
    if (type == kIOTerminatedNotification) {
        return Notification::Kind::end;
    }
    return std::nullopt;
}

} // namespace

kern_return_t IOMasterPort(mach_port_t, mach_port_t* masterPort)
{
    // The one master port, never destroyed: handles on it may be released while the process ends.
    static const auto& sm_Port = *new std::shared_ptr<RegistryObject>(std::make_shared<MasterPort>());
    if (masterPort == nullptr) {
        return kIOReturnBadArgument;
    }
    *masterPort = Registry::instance().handOut(sm_Port);
    return KERN_SUCCESS;
}

kern_return_t IOObjectRetain(io_object_t object)
{
    return object == IO_OBJECT_NULL ? KERN_SUCCESS : Registry::instance().retain(object);
}

kern_return_t IOObjectRelease(io_object_t object)
{
    return object == IO_OBJECT_NULL ? KERN_SUCCESS : Registry::instance().release(object);
}

boolean_t IOObjectConformsTo(io_object_t object, const io_name_t className)
{
    const auto found = Registry::instance().find<RegistryObject>(object);
    return found && className != nullptr && found->conformsTo(className) ? 1 : 0;
}

boolean_t IOObjectIsEqualTo(io_object_t object, io_object_t other)
{
    // An entry has one handle as long as it is held, so equal handles are equal entries.
    return object == other ? 1 : 0;
}

io_object_t IOIteratorNext(io_iterator_t iterator)
{
    return Registry::instance().next(iterator);
}

void IOIteratorReset(io_iterator_t iterator)
{
    Registry::instance().reset(iterator);
}

boolean_t IOIteratorIsValid(io_iterator_t iterator)
{
    Registry& registry = Registry::instance();
    return registry.find<RegistryIterator>(iterator) || registry.find<Notification>(iterator) ? 1 : 0;
}

CFMutableDictionaryRef IOServiceMatching(const char* name)
{
    if (name == nullptr) {
        return nullptr;
    }
    const auto text =
        CFRef<CFStringRef>::adopt(CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8));
    if (!text) {
        return nullptr;
    }
    auto matching = CFRef<CFMutableDictionaryRef>::adopt(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(matching.get(), CFSTR(kIOProviderClassKey), text.get());
    return matching.leave();
}

kern_return_t IOServiceGetMatchingServices(mach_port_t, CFDictionaryRef matching, io_iterator_t* existing)
{
    const auto consumed = CFRef<CFDictionaryRef>::adopt(matching);
    if (matching == nullptr || existing == nullptr) {
        return kIOReturnBadArgument;
    }
    Registry& registry = suppliedRegistry();
    // An enumeration shows what is there now. While somebody observes, this costs one look for events.
    registry.providers().refresh();
    RegistryEntry::List entries = registry.matching(Matching(matching));
    // The platform gives no iterator where nothing matches.
    *existing = entries.empty() ? IO_OBJECT_NULL : handOutIterator(std::move(entries));
    return KERN_SUCCESS;
}

IONotificationPortRef IONotificationPortCreate(mach_port_t)
{
    return Registry::instance().createPort().get();
}

void IONotificationPortDestroy(IONotificationPortRef port)
{
    Registry& registry = Registry::instance();
    const auto found = registry.findPort(port);
    if (!found) {
        return;
    }
    // The source first: its end closes the port, and nothing is delivered any more.
    found->dropSource();
    registry.destroyPort(found);
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port)
{
    const auto found = Registry::instance().findPort(port);
    return found ? found->source() : nullptr;
}

kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef port, const io_name_t type,
                                               CFDictionaryRef matching, IOServiceMatchingCallback callback,
                                               void* refcon, io_iterator_t* notification)
{
    // Consumed on every path, failures included.
    const auto consumed = CFRef<CFDictionaryRef>::adopt(matching);
    Registry& registry = suppliedRegistry();
    const auto found = registry.findPort(port);
    if (!found || type == nullptr || matching == nullptr || callback == nullptr || notification == nullptr) {
        return kIOReturnBadArgument;
    }
    const auto kind = kindOf(type);
    if (!kind) {
        return kIOReturnUnsupported;
    }
    *notification =
        registry.observe(std::make_shared<Notification>(*kind, Matching(matching), callback, refcon, found));
    return KERN_SUCCESS;
}

kern_return_t IORegistryEntryGetChildIterator(io_registry_entry_t entry, const io_name_t plane, io_iterator_t* iterator)
{
    const auto found = Registry::instance().find<RegistryEntry>(entry);
    if (!found || plane == nullptr || iterator == nullptr) {
        return kIOReturnBadArgument;
    }
    // There is one plane; in any other one an entry has no children.
    if (std::strcmp(plane, kIOServicePlane) != 0) {
        *iterator = IO_OBJECT_NULL;
        return KERN_SUCCESS;
    }
    // The children of a device that has left are detached, as on the platform.
    *iterator = handOutIterator(found->isActive() ? found->children() : RegistryEntry::List{});
    return KERN_SUCCESS;
}

kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t entry, CFMutableDictionaryRef* properties,
                                                CFAllocatorRef, IOOptionBits)
{
    const auto found = Registry::instance().find<RegistryEntry>(entry);
    if (!found || properties == nullptr) {
        return kIOReturnBadArgument;
    }
    // A copy, since the caller owns it and may change it; the values are shared.
    *properties = CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, found->properties());
    return KERN_SUCCESS;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef, IOOptionBits)
{
    const auto found = Registry::instance().find<RegistryEntry>(entry);
    if (!found || key == nullptr) {
        return nullptr;
    }
    const void* value = CFDictionaryGetValue(found->properties(), key);
    // The value itself, retained: values are immutable and shared.
    return value == nullptr ? nullptr : CFRetain(value);
}
