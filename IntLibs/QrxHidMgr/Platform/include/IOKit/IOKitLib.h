#pragma once

/// The I/O Registry: entries, matching, iterators and notifications, with the published names.
///
/// A handle is an unsigned 32-bit number; the same entry has the same number for as long as this process holds a
/// reference on it. A function that gives a handle gives one reference, to be given back with IOObjectRelease. Handle
/// 0 stands for "nothing" and is accepted everywhere. All functions may be called from any thread.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOReturn.h>
#include <mach/mach.h>

extern "C" {

using io_object_t = mach_port_t;
using io_service_t = io_object_t;
using io_registry_entry_t = io_object_t;
using io_iterator_t = io_object_t;
using io_name_t = char[128];
using IOOptionBits = UInt32;

#define IO_OBJECT_NULL (static_cast<io_object_t>(0))
#define kNilOptions 0
#define kIOServicePlane "IOService"
#define kIOProviderClassKey "IOProviderClass"
#define kIOFirstMatchNotification "IOServiceFirstMatch"
#define kIOMatchedNotification "IOServiceMatched"
#define kIOTerminatedNotification "IOServiceTerminate"

extern const mach_port_t kIOMasterPortDefault;

/// One reference per call; `bootstrapPort` is ignored.
kern_return_t IOMasterPort(mach_port_t bootstrapPort, mach_port_t* masterPort);

kern_return_t IOObjectRetain(io_object_t object);
kern_return_t IOObjectRelease(io_object_t object);
/// True for the object's class and every class above it ("IOHIDDevice" for an "IOUSBHIDDriver").
boolean_t IOObjectConformsTo(io_object_t object, const io_name_t className);
boolean_t IOObjectIsEqualTo(io_object_t object, io_object_t other);

/// The next object, with a reference for the caller; 0 at the end.
io_object_t IOIteratorNext(io_iterator_t iterator);
void IOIteratorReset(io_iterator_t iterator);
boolean_t IOIteratorIsValid(io_iterator_t iterator);

/// A new dictionary {"IOProviderClass": name}, owned by the caller.
CFMutableDictionaryRef IOServiceMatching(const char* name);
/// Consumes one reference of `matching`, also on failure. No match: success, and *existing is 0. What arrived first
/// is handed out first.
kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching, io_iterator_t* existing);

struct IONotificationPort;
using IONotificationPortRef = IONotificationPort*;
using IOServiceMatchingCallback = void (*)(void* refcon, io_iterator_t iterator);

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort);
void IONotificationPortDestroy(IONotificationPortRef port);
/// Borrowed: the port holds the only reference. The port survives the end of its source; what it watches with is
/// closed when the source has been invalidated and its last reference is gone.
CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port);
/// Consumes one reference of `matching`. The iterator lists what matches now ("IOServiceFirstMatch") or what ended
/// while somebody still holds it ("IOServiceTerminate"); the callback comes only after it was drained to 0 once, and
/// again after each further drain. Arrivals and ends reach the callbacks in the order in which they happened.
kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef port, const io_name_t type,
                                               CFDictionaryRef matching, IOServiceMatchingCallback callback,
                                               void* refcon, io_iterator_t* notification);

/// A snapshot of the children in registry order; a leaf gives an empty iterator.
kern_return_t IORegistryEntryGetChildIterator(io_registry_entry_t entry, const io_name_t plane,
                                              io_iterator_t* iterator);
/// All properties in a new dictionary, owned by the caller. On failure *properties is not written.
kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t entry, CFMutableDictionaryRef* properties,
                                                CFAllocatorRef allocator, IOOptionBits options);
/// One property, owned by the caller, or null.
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits options);
}
