#include "IOKit/hid/HidDevice.h"
#include "IOKit/registry/HidEntries.h"
#include "IOKit/registry/Registry.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/hid/IOHIDLib.h>

#include <memory>

using namespace qrx::iokit;

kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef pluginType, CFUUIDRef interfaceType,
                                                IOCFPlugInInterface*** interface, SInt32* score)
{
    if (pluginType == nullptr || interfaceType == nullptr || interface == nullptr || score == nullptr) {
        return kIOReturnBadArgument;
    }
    const auto driver = Registry::instance().find<HidDriverEntry>(service);
    // Constants of the same bytes are one object.
    if (!driver || pluginType != kIOHIDDeviceUserClientTypeID) {
        return kIOReturnUnsupported;
    }
    // A device that has left cannot be opened; a program that asks anyway has been overtaken by the unplug.
    if (!driver->isActive()) {
        return kIOReturnNoResources;
    }
    struct Release {
        void operator()(IOCFPlugInInterface** owned) const { (*owned)->Release(owned); }
    };
    // The factory's own reference goes at the end, after the query has taken one for the caller.
    const std::unique_ptr<IOCFPlugInInterface*, Release> plugIn(HidDevice::create(driver));
    void* face = nullptr;
    const HRESULT result = (*plugIn)->QueryInterface(plugIn.get(), CFUUIDGetUUIDBytes(interfaceType), &face);
    if (result != S_OK) {
        return kIOReturnNoResources;
    }
    *interface = static_cast<IOCFPlugInInterface**>(face);
    *score = 0;
    return KERN_SUCCESS;
}

kern_return_t IODestroyPlugInInterface(IOCFPlugInInterface** interface)
{
    if (interface == nullptr || *interface == nullptr) {
        return kIOReturnBadArgument;
    }
    const IOReturn result = (*interface)->Stop(interface);
    (*interface)->Release(interface);
    return result;
}
