#include "LibraryTest.h"

#include "CoreFoundation/SystemVersion.h"

#include <chrono>

namespace {

constexpr std::chrono::seconds kDeadline{10};
/// Any version from 10.4 on takes the queue mode.
constexpr std::int32_t kQueueModeVersion = 0x1068;

} // namespace

LibraryTest::LibraryTest()
{
    TestDevice::prepare();
}

LibraryTest::~LibraryTest()
{
    setQueueMode(false);
}

TestDevice LibraryTest::makeDevice(const std::string& name, const Bytes& descriptor,
                                   const std::vector<int>& interfaceNumbers)
{
    return {name, descriptor, interfaceNumbers};
}

TreeHandle LibraryTest::makeTree()
{
    TreeHandle tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&_treeDelegate);
    return tree;
}

TreeHandle LibraryTest::populatedTree()
{
    TreeHandle tree = makeTree();
    tree->populate(0, 0);
    return tree;
}

bool LibraryTest::runUntil(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        QrxRunLoop::getCurrent().runOnce(0.01);
    }
    return condition();
}

void LibraryTest::runWhileBusy()
{
    while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
    }
}

std::shared_ptr<RecordingDeviceDelegate::Log> LibraryTest::openWithLog(const DeviceHandle& device)
{
    auto log = std::make_shared<RecordingDeviceDelegate::Log>();
    device->setDelegate(new RecordingDeviceDelegate(log));
    device->open();
    return log;
}

void LibraryTest::setQueueMode(bool queueMode)
{
    qrx::platform::setSystemVersion(queueMode ? std::optional(kQueueModeVersion) : std::nullopt);
}
