#pragma once

/// The HID device and queue interfaces of the HID plug-in.
///
/// Both are used on one thread, the one whose run loop holds their event sources. Inside a callback everything may be
/// done: close, release, unplug. After the last release no callback comes.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/hid/IOHIDKeys.h>

extern "C" {

#define kIOHIDDeviceUserClientTypeID                                                                                  \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0xFA, 0x12, 0xFA, 0x38, 0x6F, 0x1A, 0x11, 0xD4, 0xBA, 0x0C, 0x00, 0x05,   \
                                   0x02, 0x8F, 0x18, 0xD5)
#define kIOHIDDeviceInterfaceID                                                                                       \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0x78, 0xBD, 0x42, 0x0C, 0x6F, 0x14, 0x11, 0xD4, 0x94, 0x74, 0x00, 0x05,   \
                                   0x02, 0x8F, 0x18, 0xD5)
#define kIOHIDDeviceInterfaceID121                                                                                    \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0x7D, 0x0B, 0x51, 0x0E, 0x16, 0xD5, 0x11, 0xD7, 0x9E, 0x9B, 0x00, 0x03,   \
                                   0x93, 0x99, 0x2E, 0x38)
#define kIOHIDDeviceInterfaceID122                                                                                    \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0xB7, 0x0A, 0xBF, 0x31, 0x16, 0xD5, 0x11, 0xD7, 0xAB, 0x35, 0x00, 0x03,   \
                                   0x93, 0x99, 0x2E, 0x38)
#define kIOHIDQueueInterfaceID                                                                                        \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0x81, 0x38, 0x62, 0x9E, 0x6F, 0x14, 0x11, 0xD4, 0x97, 0x0E, 0x00, 0x05,   \
                                   0x02, 0x8F, 0x18, 0xD5)

struct UnsignedWide {
    UInt32 lo;
    UInt32 hi;
};
using AbsoluteTime = UnsignedWide;

/// One value of an element. Up to 4 bytes travel in `value`; more in `longValue`, a block that the receiver frees
/// with free().
struct IOHIDEventStruct {
    IOHIDElementType type;
    IOHIDElementCookie elementCookie;
    SInt32 value;
    AbsoluteTime timestamp;
    UInt32 longValueSize;
    void* longValue;
};

using IOHIDCallbackFunction = void (*)(void* target, IOReturn result, void* refcon, void* sender);
using IOHIDElementCallbackFunction = void (*)(void* target, IOReturn result, void* refcon, void* sender,
                                              IOHIDElementCookie cookie);
using IOHIDReportCallbackFunction = void (*)(void* target, IOReturn result, void* refcon, void* sender,
                                             UInt32 bufferSize);

enum { kIOHIDOptionsTypeNone = 0, kIOHIDOptionsTypeSeizeDevice = 1 };
enum { kIOHIDQueueOptionsTypeNone = 0, kIOHIDQueueOptionsTypeEnqueueAll = 1 };

struct IOHIDQueueInterface;
struct IOHIDOutputTransactionInterface;

struct IOHIDDeviceInterface122 {
    IUNKNOWN_C_GUTS;
    /// The device's one source, with a reference for the caller.
    IOReturn (*createAsyncEventSource)(void* self, CFRunLoopSourceRef* source);
    CFRunLoopSourceRef (*getAsyncEventSource)(void* self);
    IOReturn (*createAsyncPort)(void* self, mach_port_t* port);
    mach_port_t (*getAsyncPort)(void* self);
    IOReturn (*open)(void* self, IOOptionBits flags);
    IOReturn (*close)(void* self);
    IOReturn (*setRemovalCallback)(void* self, IOHIDCallbackFunction callback, void* target, void* refcon);
    IOReturn (*getElementValue)(void* self, IOHIDElementCookie cookie, IOHIDEventStruct* event);
    IOReturn (*setElementValue)(void* self, IOHIDElementCookie cookie, IOHIDEventStruct* event, UInt32 timeoutMs,
                                IOHIDElementCallbackFunction callback, void* target, void* refcon);
    IOReturn (*queryElementValue)(void* self, IOHIDElementCookie cookie, IOHIDEventStruct* event, UInt32 timeoutMs,
                                  IOHIDElementCallbackFunction callback, void* target, void* refcon);
    IOReturn (*startAllQueues)(void* self);
    IOReturn (*stopAllQueues)(void* self);
    IOHIDQueueInterface** (*allocQueue)(void* self);
    IOHIDOutputTransactionInterface** (*allocOutputTransaction)(void* self);
    /// Sends the bytes as they are; a numbered report begins with its number. Synchronous when `callback` is null,
    /// and `timeoutMs` then has no effect.
    IOReturn (*setReport)(void* self, IOHIDReportType type, UInt32 reportID, void* bytes, UInt32 size,
                          UInt32 timeoutMs, IOHIDReportCallbackFunction callback, void* target, void* refcon);
    /// *size: the room in bytes, then what came.
    IOReturn (*getReport)(void* self, IOHIDReportType type, UInt32 reportID, void* bytes, UInt32* size,
                          UInt32 timeoutMs, IOHIDReportCallbackFunction callback, void* target, void* refcon);
    IOReturn (*copyMatchingElements)(void* self, CFDictionaryRef matching, CFArrayRef* elements);
    /// Each input report is written to `buffer`, cut to `size` bytes, and told with its length.
    IOReturn (*setInterruptReportHandlerCallback)(void* self, void* buffer, UInt32 size,
                                                  IOHIDReportCallbackFunction callback, void* target, void* refcon);
};

struct IOHIDQueueInterface {
    IUNKNOWN_C_GUTS;
    IOReturn (*createAsyncEventSource)(void* self, CFRunLoopSourceRef* source);
    CFRunLoopSourceRef (*getAsyncEventSource)(void* self);
    IOReturn (*createAsyncPort)(void* self, mach_port_t* port);
    mach_port_t (*getAsyncPort)(void* self);
    IOReturn (*create)(void* self, UInt32 flags, UInt32 depth);
    IOReturn (*dispose)(void* self);
    IOReturn (*addElement)(void* self, IOHIDElementCookie cookie, UInt32 flags);
    IOReturn (*removeElement)(void* self, IOHIDElementCookie cookie);
    Boolean (*hasElement)(void* self, IOHIDElementCookie cookie);
    IOReturn (*start)(void* self);
    IOReturn (*stop)(void* self);
    /// Underrun when empty; never blocks (`maxTime` and `timeoutMs` have no effect).
    IOReturn (*getNextEvent)(void* self, IOHIDEventStruct* event, AbsoluteTime maxTime, UInt32 timeoutMs);
    IOReturn (*setEventCallout)(void* self, IOHIDCallbackFunction callback, void* target, void* refcon);
    IOReturn (*getEventCallout)(void* self, IOHIDCallbackFunction* callback, void** target, void** refcon);
};
}
