#include "Library.h"

namespace qrx::guest {

UsbInterface hidInterface(Bytes descriptor, std::uint16_t maximumPacket)
{
    UsbInterface interface;
    interface.reportDescriptor = std::move(descriptor);
    interface.maximumPacket = maximumPacket;
    return interface;
}

UsbIdentity identityOf(const std::string& product, std::uint16_t number)
{
    UsbIdentity identity;
    identity.product = number;
    identity.manufacturer = "Works";
    identity.productName = product;
    return identity;
}

bool runUntil(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        QrxRunLoop::getCurrent().runOnce(0.05);
    }
    return condition();
}

void runWhileBusy()
{
    while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
    }
}

Library::Library()
{
    QrxVirtualDevice::setRealDevicesEnabled(true);
}

Library::~Library()
{
    EXPECT_TRUE(waitUntilBusIsEmpty());
}

TreeHandle Library::makeTree()
{
    TreeHandle tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&told);
    return tree;
}

TreeHandle Library::observingTree()
{
    TreeHandle tree = makeTree();
    tree->observe(0, 0);
    return tree;
}

std::shared_ptr<RecordingDeviceDelegate::Log> Library::openWithLog(const DeviceHandle& device)
{
    auto log = std::make_shared<RecordingDeviceDelegate::Log>();
    device->setDelegate(new RecordingDeviceDelegate(log));
    device->open();
    return log;
}

DeviceHandle Library::arrive(const TreeHandle& tree, VhciDevice& device)
{
    const unsigned int before = tree->getHIDDeviceCount();
    plugWhole(device);
    return runUntil([&] { return tree->getHIDDeviceCount() > before; }) ? tree->getDeviceAtIndex(before)
                                                                        : DeviceHandle();
}

} // namespace qrx::guest
