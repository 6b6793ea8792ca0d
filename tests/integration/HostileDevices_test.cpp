// Devices whose descriptors are chosen to harm whoever looks at them.

#include "LibraryTest.h"

#include "../support/HeapBytes.h"

namespace {

/// One array over `usages` usages, in a descriptor that no other `number` has.
Bytes arrayDescriptor(std::uint32_t number, std::uint16_t usages)
{
    const auto byte = [](std::uint32_t value, int index) { return static_cast<std::uint8_t>(value >> (8 * index)); };
    return {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x15, 0x01, 0x26, byte(usages, 0), byte(usages, 1),
            // the unit
            0x67, byte(number, 0), byte(number, 1), byte(number, 2), byte(number, 3),
            // one place of 16 bits
            0x75, 0x10, 0x95, 0x01, 0x19, 0x01, 0x2a, byte(usages, 0), byte(usages, 1), 0x81, 0x00, 0xc0};
}

std::vector<QrxVirtualInterface> eightInterfaces(const Bytes& descriptor)
{
    std::vector<QrxVirtualInterface> interfaces;
    for (int number = 0; number < 8; ++number) {
        interfaces.emplace_back(number, descriptor);
    }
    return interfaces;
}

} // namespace

using HostileDevices = LibraryTest;

TEST_F(HostileDevices, TenThousandDifferentDescriptorsLeaveNoMemoryBehind)
{
    constexpr std::uint32_t kPlugs = 10'000;
    constexpr std::ptrdiff_t kMegabyte = 1 << 20;
    const CapturedOutput output;
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    const auto comeAndGo = [&](std::uint32_t number) {
        // Some have as many elements as a descriptor may have.
        TestDevice device = makeDevice("hostile", arrayDescriptor(number, number % 1000 == 0 ? 16'000 : 40));
        device.plug();
        ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 1; })) << number;
        device.unplug();
        ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; })) << number;
        _treeDelegate.arrivals.clear();
    };
    comeAndGo(kPlugs);
    const std::ptrdiff_t before = heapBytes();
    for (std::uint32_t number = 0; number < kPlugs; ++number) {
        ASSERT_NO_FATAL_FAILURE(comeAndGo(number));
    }
    // What the lines of the removals take is the test's own.
    const auto lines = static_cast<std::ptrdiff_t>(2 * output.text().size());
    EXPECT_LT(heapBytes() - before, kMegabyte + lines);
}

TEST_F(HostileDevices, AllInterfacesTogetherHaveTheElementsOfOneTableAndTheSmallestHaveAllOfTheirs)
{
    constexpr std::size_t kElements = 16'384;
    std::vector<QrxVirtualInterface> interfaces{{0, arrayDescriptor(0, 40)}};
    for (int number = 1; number < 9; ++number) {
        interfaces.push_back({number, arrayDescriptor(static_cast<std::uint32_t>(number), number < 8 ? 16'000 : 50)});
    }
    QrxVirtualDevice device(QrxVirtualIdentity{}, interfaces);
    device.plug();
    const TreeHandle tree = populatedTree();
    const DeviceHandle found = tree->getDeviceAtIndex(0);
    const auto fieldsOf = [&](int number) { return found->getReport(number, 0)->getCapabilityCount(); };
    EXPECT_EQ(fieldsOf(0), 41U) << "the usages, and the array's head";
    EXPECT_EQ(fieldsOf(8), 51U);
    std::size_t all = 0;
    for (int number = 0; number < 9; ++number) {
        all += fieldsOf(number);
    }
    EXPECT_EQ(fieldsOf(1), fieldsOf(7));
    EXPECT_LE(all, kElements);
    EXPECT_GE(all, kElements - 100) << "but for collections, handlers and what cannot be divided";
}

TEST_F(HostileDevices, InterfacesWithTheDescriptorOfADeviceThatIsThereHaveNoMoreThanTheirShare)
{
    const Bytes descriptor = arrayDescriptor(0, 16'000);
    TestDevice large = makeDevice("large", descriptor);
    large.plug();
    QrxVirtualDevice device(QrxVirtualIdentity{}, eightInterfaces(descriptor));
    device.plug();
    const TreeHandle tree = populatedTree();
    ASSERT_EQ(tree->getHIDDeviceCount(), 2U);
    EXPECT_EQ(tree->getDeviceAtIndex(0)->getReport(0, 0)->getCapabilityCount(), 16'001U);
    EXPECT_LE(tree->getDeviceAtIndex(1)->getReport(0, 0)->getCapabilityCount(), 16'384U / 8);
}

TEST_F(HostileDevices, ADeviceWhoseDescriptorAnotherHasInItsSmallSharesHasAllOfItsElements)
{
    const Bytes descriptor = arrayDescriptor(0, 16'000);
    QrxVirtualDevice device(QrxVirtualIdentity{}, eightInterfaces(descriptor));
    device.plug();
    const TreeHandle tree = populatedTree();
    TestDevice large = makeDevice("large", descriptor);
    large.plug();
    tree->populate(0, 0);
    ASSERT_EQ(tree->getHIDDeviceCount(), 2U);
    EXPECT_LE(tree->getDeviceAtIndex(0)->getReport(7, 0)->getCapabilityCount(), 16'384U / 8);
    EXPECT_EQ(tree->getDeviceAtIndex(1)->getReport(0, 0)->getCapabilityCount(), 16'001U);
}
