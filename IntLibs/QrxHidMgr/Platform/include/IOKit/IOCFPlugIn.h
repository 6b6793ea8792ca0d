#pragma once

/// Plug-ins: function tables reached through a pointer to a pointer, counted with AddRef and Release.

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

extern "C" {

#define S_OK (static_cast<HRESULT>(0))
#define E_NOINTERFACE (static_cast<HRESULT>(0x80000004))

#define IUNKNOWN_C_GUTS                                                       \
    void* _reserved;                                                          \
    HRESULT (*QueryInterface)(void* self, REFIID iid, LPVOID* interface);     \
    ULONG (*AddRef)(void* self);                                              \
    ULONG (*Release)(void* self)

struct IOCFPlugInInterface {
    IUNKNOWN_C_GUTS;
    UInt16 version;
    UInt16 revision;
    IOReturn (*Probe)(void* self, CFDictionaryRef properties, io_service_t service, SInt32* order);
    IOReturn (*Start)(void* self, CFDictionaryRef properties, io_service_t service);
    IOReturn (*Stop)(void* self);
};

#define IUnknownUUID                                                                                                  \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x00,   \
                                   0x00, 0x00, 0x00, 0x46)
#define kIOCFPlugInInterfaceID                                                                                        \
    CFUUIDGetConstantUUIDWithBytes(nullptr, 0xC2, 0x44, 0xE8, 0x58, 0x10, 0x9C, 0x11, 0xD4, 0x91, 0xD4, 0x00, 0x50,   \
                                   0xE4, 0xC6, 0x42, 0x6F)

/// Unsupported for a service without a fitting plug-in. Success writes both results; the caller owns the plug-in and
/// gives it back with IODestroyPlugInInterface. Nothing is opened.
kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef pluginType, CFUUIDRef interfaceType,
                                                IOCFPlugInInterface*** interface, SInt32* score);
kern_return_t IODestroyPlugInInterface(IOCFPlugInInterface** interface);
}
