// Two foot switches of one kind: told apart by where they are plugged in, also after one was pulled and came back.
#include <QrxHIDManager/QrxDeviceIdentity.h>
#include <QrxHIDManager/QrxFunctions.h>
#include <QrxHIDManager/QrxRequests.h>
#include <QrxHIDManager/QrxRunLoop.h>
#include <QrxHIDManager/QrxVirtualDevice.h>

#include <cstdio>
#include <map>
#include <string>

int main()
{
    std::map<std::string, std::string> names; // by port, in the order of their first arrival
    QrxTreeFunctions tree(QrxDeviceTree::NewInstance());
    tree.onAdded([&](const mis::swizzler<QrxHIDDevice>& device) {
        const QrxDeviceIdentity identity(*device);
        const std::string side = names.empty() ? "left" : "right";
        const std::string name = names.emplace(identity.getPortChain(), side).first->second;
        std::printf("%s is there\n", name.c_str());
        QrxDeviceFunctions::installOn(*device)
            .onReport([name](const uint8_t* bytes, size_t, int) {
                std::printf("%s %s\n", name.c_str(), bytes[0] != 0 ? "pressed" : "released");
            })
            .onRemoved([name] { std::printf("%s is gone\n", name.c_str()); });
        QrxOpen(*device).throwIfFailed();
    });

    // Virtual ones stand in for those on the desk.
    QrxVirtualDevice::setRealDevicesEnabled(false);
    tree.getTree()->observe(0x1209, 0x0007);
    const QrxVirtualIdentity kind(0x1209, 0x0007);
    const QrxVirtualInterface button(0, {0x05, 0x09, 0x09, 0x01, 0xa1, 0x01, 0x15, 0x00, 0x25, 0x01, 0x09, 0x01, 0x75,
                                         0x08, 0x95, 0x01, 0x81, 0x02, 0xc0});
    QrxVirtualDevice first(kind, {button}), second(kind, {button});
    const auto turn = [] {
        while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
        }
    };
    first.plug(), second.plug(), turn();
    second.sendInputReport(0, {1}), turn();
    first.unplug(), turn();
    first.plug(), turn();
    first.sendInputReport(0, {1}), turn();
    first.unplug(), second.unplug(), turn(); // with onRemoved the library closes them
}
