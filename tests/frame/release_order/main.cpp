// The order in which children end is the library's promise, not the standard library's: each parent releases the first
// child first. Built with another standard library than usual, whose vectors destroy their entries backwards.

#include "QrxHIDCapabilityImpl.h"
#include "QrxHIDCollectionImpl.h"
#include "QrxHIDDeviceImpl.h"
#include "QrxHIDInterfaceMac.h"
#include "QrxHIDReportImpl.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

using Handles = std::vector<mis::swizzler<QrxHIDElement>>;

std::string sm_Ended;

/// Writes its name when it ends.
template <class Base>
class Named : public Base {
public:
    explicit Named(char name) : _name(name) {}
    ~Named() override { sm_Ended += _name; }

private:
    const char _name;
};

class NamedInterface : public Named<_QrxHIDInterfaceMac> {
public:
    using Named::Named;
    /// Without registry entries all interfaces would be one.
    bool operator==(const _QrxHIDInterfaceMac& other) const override { return this == &other; }
};

class Device : public _QrxHIDDeviceImpl {
public:
    void addReport(char name) { QrxHIDDevice::_addReport(new Named<_QrxHIDReportImpl>(name)); }
};

Handles namedElements(const std::string& names)
{
    Handles elements;
    for (const char name : names) {
        elements.emplace_back(new Named<_QrxHIDCapabilityImpl>(name));
    }
    return elements;
}

bool expectEnded(const char* what, const std::string& expected)
{
    if (sm_Ended == expected) {
        sm_Ended.clear();
        return true;
    }
    std::fprintf(stderr, "%s: ended in the order %s, expected %s\n", what, sm_Ended.c_str(), expected.c_str());
    return false;
}

bool checkDevice()
{
    {
        const mis::swizzler<Device> device(new Device);
        for (const char name : {'a', 'b', 'c'}) {
            device->_addInterface(new NamedInterface(name));
        }
        for (const char name : {'1', '2', '3'}) {
            device->addReport(name);
        }
    }
    // The interfaces are the backend's, which ends before the model.
    return expectEnded("interfaces and reports of a device", "abc123");
}

bool checkInterface()
{
    {
        const mis::swizzler<_QrxHIDInterfaceMac> interface(new _QrxHIDInterfaceMac);
        interface->_addElements(namedElements("abc"));
    }
    return expectEnded("elements of an interface", "abc");
}

bool checkCollection()
{
    {
        const mis::swizzler<_QrxHIDCollectionImpl> collection(new _QrxHIDCollectionImpl);
        collection->_addElements(namedElements("abc"));
    }
    return expectEnded("elements of a collection", "abc");
}

bool checkReport()
{
    {
        const mis::swizzler<_QrxHIDReportImpl> report(new _QrxHIDReportImpl);
        report->_addCapabilities({new Named<_QrxHIDCapabilityImpl>('a'), new Named<_QrxHIDCapabilityImpl>('b'),
                                  new Named<_QrxHIDCapabilityImpl>('c')});
    }
    return expectEnded("capabilities of a report", "abc");
}

} // namespace

int main()
{
    bool held = checkDevice();
    held = checkInterface() && held;
    held = checkCollection() && held;
    held = checkReport() && held;
    return held ? 0 : 1;
}
