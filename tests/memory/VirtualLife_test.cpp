/// Everything that an application does with virtual devices, with too little memory.

#include "CoreFoundation/SystemVersion.h"
#include "Delegates.h"
#include "Sweep.h"

#include <QrxDeviceTree.h>
#include <QrxHIDDevice.h>
#include <QrxVirtualDevice.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using DeviceHandle = mis::swizzler<QrxHIDDevice>;

/// Input reports 1 (3 bytes with the number) and 2 (9 bytes), output report 3 (4 bytes), feature report 4 (6 bytes).
const Bytes kNumbered = {
    0x06, 0x00, 0xff, // Usage Page (Vendor)
    0x09, 0x01,       // Usage (1)
    0xa1, 0x01,       // Collection (Application)
    0x15, 0x00,       //   Logical Minimum (0)
    0x26, 0xff, 0x00, //   Logical Maximum (255)
    0x75, 0x08,       //   Report Size (8)
    0x85, 0x01,       //   Report ID (1)
    0x95, 0x02,       //   Report Count (2)
    0x09, 0x02,       //   Usage (2)
    0x81, 0x02,       //   Input (Data, Variable, Absolute)
    0x85, 0x02,       //   Report ID (2)
    0x95, 0x08,       //   Report Count (8)
    0x09, 0x03,       //   Usage (3)
    0x81, 0x02,       //   Input (Data, Variable, Absolute)
    0x85, 0x03,       //   Report ID (3)
    0x95, 0x03,       //   Report Count (3)
    0x09, 0x04,       //   Usage (4)
    0x91, 0x02,       //   Output (Data, Variable, Absolute)
    0x85, 0x04,       //   Report ID (4)
    0x95, 0x05,       //   Report Count (5)
    0x09, 0x05,       //   Usage (5)
    0xb1, 0x02,       //   Feature (Data, Variable, Absolute)
    0xc0              // End Collection
};
/// 4 byte unnumbered input reports.
const Bytes kPlain = {
    0x06, 0x00, 0xff, // Usage Page (Vendor)
    0x09, 0x01,       // Usage (1)
    0xa1, 0x01,       // Collection (Application)
    0x15, 0x00,       //   Logical Minimum (0)
    0x26, 0xff, 0x00, //   Logical Maximum (255)
    0x75, 0x08,       //   Report Size (8)
    0x95, 0x04,       //   Report Count (4)
    0x09, 0x02,       //   Usage (2)
    0x81, 0x02,       //   Input (Data, Variable, Absolute)
    0xc0              // End Collection
};

/// What is made before the memory runs out: it is the application's own.
struct Things {
    const QrxVirtualIdentity firstIdentity{
        QrxVirtualIdentity(0x1234, 1).setVendorName("Maker").setProductName("First").setSerialNumber("S1")};
    const QrxVirtualIdentity secondIdentity{
        QrxVirtualIdentity(0x1234, 2).setVendorName("Maker").setProductName("Second").setSerialNumber("S2")};
    const std::vector<QrxVirtualInterface> firstInterfaces{QrxVirtualInterface(0, kNumbered).setName("Numbered"),
                                                           QrxVirtualInterface(1, kPlain).setName("Plain")};
    const std::vector<QrxVirtualInterface> secondInterfaces{{0, kPlain}};
    Arrivals arrivals;
    std::size_t firstInput = 0;
    std::size_t secondInput = 0;
    std::unique_ptr<InputCounter> firstDelegate = std::make_unique<InputCounter>(firstInput);
    std::unique_ptr<InputCounter> secondDelegate = std::make_unique<InputCounter>(secondInput);
};

class VirtualLife {
public:
    explicit VirtualLife(Application& application) : _application(application) {}

    void live()
    {
        CapturedLines lines;
        if (arrive() && open()) {
            send();
            receive();
            closeAndOpenAgain();
            leave();
        }
        _firstHandle.release();
        _secondHandle.release();
        _tree.release();
        _application.run();
        _first.reset();
        _second.reset();
        if (!_application.isMemoryGone()) {
            EXPECT_EQ(lines.count(), 3) << "removals that were told";
        }
    }

private:
    unsigned int listed() { return _tree->getHIDDeviceCount(); }

    bool make(std::unique_ptr<QrxVirtualDevice>& device, const QrxVirtualIdentity& identity,
              const std::vector<QrxVirtualInterface>& interfaces)
    {
        return _application.attempt([&] { device = std::make_unique<QrxVirtualDevice>(identity, interfaces); });
    }

    bool plug(QrxVirtualDevice& device)
    {
        return _application.attempt([&] { device.plug(); }) && device.isPlugged();
    }

    /// One device is there, another one comes while the first is observed.
    bool arrive()
    {
        const bool isMade = make(_first, _things.firstIdentity, _things.firstInterfaces) &&
                            make(_second, _things.secondIdentity, _things.secondInterfaces) &&
                            _application.attempt([&] { _tree = QrxDeviceTree::NewInstance(); });
        if (!isMade) {
            return false;
        }
        _tree->setDelegate(&_things.arrivals);
        if (!plug(*_first) || !_application.attempt([&] { _tree->populate(0, 0); })) {
            return false;
        }
        EXPECT_EQ(listed(), 1U);
        if (!_application.attempt([&] { _tree->observe(0, 0); }) || !plug(*_second) ||
            !_application.runUntil("the second has arrived", [&] { return listed() == 2; })) {
            return false;
        }
        EXPECT_EQ(_things.arrivals.count, 2);
        _firstHandle = _tree->getDeviceAtIndex(0);
        _secondHandle = _tree->getDeviceAtIndex(1);
        EXPECT_EQ(_firstHandle->getElementCount(), 2U);
        EXPECT_EQ(_firstHandle->getReportCount(), 5U);
        return true;
    }

    bool open()
    {
        _firstHandle->setDelegate(_things.firstDelegate.release());
        _secondHandle->setDelegate(_things.secondDelegate.release());
        for (const DeviceHandle& device : {_firstHandle, _secondHandle}) {
            if (!_application.attempt([&] { device->open(); })) {
                return false;
            }
        }
        EXPECT_EQ(_first->getOpenCount(0), 1U);
        EXPECT_EQ(_first->getOpenCount(1), 1U);
        EXPECT_EQ(_second->getOpenCount(0), 1U);
        return true;
    }

    void send()
    {
        _application.attempt([&] { _firstHandle->setReport(1, 3, {3, 1, 2, 3}, 0); });
        _application.attempt([&] { _firstHandle->setReport(2, 4, {4, 1, 2, 3, 4, 5}, 0); });
        std::vector<QrxSentReport> sent;
        if (_application.attempt([&] { sent = _first->takeSentReports(); }) && !_application.isMemoryGone()) {
            EXPECT_EQ(sent.size(), 2U);
        }
    }

    /// What is delivered after that of `before` is what was sent; for each report that is not, the loop has thrown.
    void expectDelivered(const std::size_t& input, std::size_t sent, std::size_t before)
    {
        _application.runUntil("all reports have been delivered",
                              [&] { return input + _application.exceptionsOfLoop() >= sent + before; });
    }

    void inject(QrxVirtualDevice& device, int interfaceNumber, const Bytes& report)
    {
        _application.attempt([&] { device.sendInputReport(interfaceNumber, report.data(), report.size()); });
    }

    void receive()
    {
        inject(*_first, 0, _short);
        inject(*_first, 0, _long);
        inject(*_first, 1, _four);
        inject(*_second, 0, _four);
        expectDelivered(_things.firstInput, 3, 0);
        expectDelivered(_things.secondInput, 1, 0);
    }

    void closeAndOpenAgain()
    {
        _application.attempt([&] { _firstHandle->close(); });
        EXPECT_EQ(_first->getOpenCount(0), 0U);
        _application.attempt([&] { _firstHandle->open(); });
        const std::size_t before = _things.firstInput;
        inject(*_first, 0, _long);
        expectDelivered(_things.firstInput, 1, before);
    }

    /// The second leaves while its input waits; the first leaves and comes back before that is heard.
    void leave()
    {
        const std::size_t before = _things.secondInput;
        inject(*_second, 0, _four);
        _application.attempt([&] { _second->unplug(); });
        _application.runUntil("the second has left", [&] { return listed() == 1; });
        expectDelivered(_things.secondInput, 1, before);
        _application.attempt([&] { _first->unplug(); });
        plug(*_first);
        _application.runUntil("the first has come back",
                              [&] { return listed() == 1 && !(_tree->getDeviceAtIndex(0) == _firstHandle); });
        _application.attempt([&] { _first->unplug(); });
        _application.runUntil("the first has left", [&] { return listed() == 0; });
    }

    const Bytes _short{1, 2, 3};
    const Bytes _long{2, 1, 2, 3, 4, 5, 6, 7, 8};
    const Bytes _four{1, 2, 3, 4};
    Application& _application;
    Things _things;
    std::unique_ptr<QrxVirtualDevice> _first;
    std::unique_ptr<QrxVirtualDevice> _second;
    mis::swizzler<QrxDeviceTree> _tree;
    DeviceHandle _firstHandle;
    DeviceHandle _secondHandle;
};

class VirtualLives : public testing::TestWithParam<Famine> {};

void sweepVirtualLife(Famine famine, bool isQueueMode)
{
    QrxVirtualDevice::setRealDevicesEnabled(false);
    /// Any version from 10.4 on takes the queue mode.
    qrx::platform::setSystemVersion(isQueueMode ? std::optional(0x1068) : std::nullopt);
    sweepAllocations(famine, [](Application& application) {
        auto pause = std::make_optional<memory::Pause>();
        VirtualLife life(application);
        pause.reset();
        life.live();
    });
}

TEST_P(VirtualLives, AnyAllocationMayFailInInterruptMode)
{
    sweepVirtualLife(GetParam(), false);
}

TEST_P(VirtualLives, AnyAllocationMayFailInQueueMode)
{
    sweepVirtualLife(GetParam(), true);
}

INSTANTIATE_TEST_SUITE_P(Famines, VirtualLives, testing::Values(Famine::once, Famine::aWhile, Famine::lasting),
                         [](const auto& famine) { return nameOf(famine.param); });

} // namespace
