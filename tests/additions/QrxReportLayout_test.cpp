#include "QrxReportLayout.h"

#include "QrxDeviceTree.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxError.h"
#include "QrxHIDDevice.h"
#include "QrxVirtualDevice.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <optional>
#include <stdexcept>
#include <vector>

namespace {

std::atomic<std::size_t> sm_Allocations{0};

} // namespace

// Not inlined: where a compiler sees `free` of what a new-expression gave, it warns.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    ++sm_Allocations;
    if (void* memory = std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++sm_Allocations;
    return std::malloc(size != 0 ? size : 1);
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kKey = 0x70000;
constexpr std::uint32_t kLed = 0x80000;

// A keyboard: modifiers 7:e0-e7 and six keys 7:0-65 in, five LEDs 8:1-5 out.
const Bytes kKeyboard = {
    0x05, 0x01, 0x09, 0x06, 0xA1, 0x01,                                                             // application 1:6
    0x05, 0x07, 0x19, 0xE0, 0x29, 0xE7, 0x15, 0x00, 0x25, 0x01, 0x75, 0x01, 0x95, 0x08, 0x81, 0x02, // modifiers
    0x95, 0x01, 0x75, 0x08, 0x81, 0x01,                                                             // padding
    0x95, 0x05, 0x75, 0x01, 0x05, 0x08, 0x19, 0x01, 0x29, 0x05, 0x91, 0x02,                         // LEDs
    0x95, 0x01, 0x75, 0x03, 0x91, 0x01,                                                             // padding
    0x95, 0x06, 0x75, 0x08, 0x15, 0x00, 0x25, 0x65, 0x05, 0x07, 0x19, 0x00, 0x29, 0x65, 0x81, 0x00, // keys
    0xC0};

// Report 5 in: a temperature of 12 bits, logical 0 to 4000, physical -40 to 360 in 10^-1 K; then a hat with a null
// state. Report 6 feature: one byte.
const Bytes kSensor = {0x05, 0x20, 0x09, 0x01, 0xA1, 0x00, // physical 20:1
                       0x85, 0x05, 0x09, 0x34, 0x15, 0x00, 0x26, 0xA0, 0x0F, 0x35, 0xD8, 0x46, 0x68, 0x01, // ranges
                       0x67, 0x01, 0x00, 0x01, 0x00, 0x55, 0x0F, 0x75, 0x0C, 0x95, 0x01, 0x81, 0x02, // unit, 12 bits
                       0x05, 0x01, 0x09, 0x39, 0x15, 0x01, 0x25, 0x08, 0x35, 0x00, 0x45, 0x00, 0x65, 0x00,
                       0x55, 0x00, 0x75, 0x04, 0x81,
                       0x42, // hat, 4 bits
                       0x85, 0x06, 0x05, 0x20, 0x09, 0x35, 0x15, 0x00, 0x25, 0x64, 0x75, 0x08, 0xB1, 0x02, // feature
                       0xC0};

QrxReportLayout layoutOf(const Bytes& descriptor)
{
    return QrxReportLayout(descriptor.data(), descriptor.size());
}

std::error_code encode(const QrxReportLayout& layout, QrxReportType type, std::uint32_t id,
                       const std::vector<QrxUsageValue>& values, Bytes& bytes, std::size_t* failed = nullptr)
{
    return layout.encode(type, id, values.data(), values.size(), bytes.data(), bytes.size(), failed);
}

TEST(QrxReportLayout, EveryExponentThatAnItemCanHaveScalesThePhysicalValue)
{
    for (int exponent = -8; exponent <= 7; ++exponent) {
        const auto nibble = static_cast<std::uint8_t>(exponent & 0x0F);
        const QrxReportLayout layout = layoutOf({0x05, 0x20,   0x09, 0x01, 0xA1, 0x00, 0x09, 0x34, 0x15, 0x00, 0x25,
                                                 0x64, 0x35,   0x00, 0x45, 0x64, //
                                                 0x55, nibble, 0x65, 0x11, 0x75, 0x08, 0x95, 0x01, 0x81, 0x02, 0xC0});
        ASSERT_EQ(layout.getFieldCount(), 1U);
        EXPECT_DOUBLE_EQ(layout.getField(0).getPhysicalValue(std::int64_t{3}), 3 * std::pow(10.0, exponent))
            << exponent;
    }
}

TEST(QrxReportLayout, AnUnsignedValueOf64BitsIsReadAsSuch)
{
    const QrxReportLayout layout = layoutOf({
        0x05, 0x20, // Usage Page (Sensor)
        0x09, 0x01, // Usage (1)
        0xA1, 0x00, // Collection (Physical)
        0x09, 0x34, //   Usage (0x34)
        0x15, 0x00, //   Logical Minimum (0)
        0x25, 0x64, //   Logical Maximum (100)
        0x75, 0x40, //   Report Size (64)
        0x95, 0x01, //   Report Count (1)
        0x81, 0x02, //   Input (Data, Variable, Absolute)
        0xC0        // End Collection
    });
    const Bytes report(8, 0xFF);
    QrxReportValues values;
    layout.decode(QrxReportType::input, report.data(), report.size(), values);
    ASSERT_EQ(values.getCount(), 1U);
    EXPECT_EQ(values.getUnsignedValue(0), UINT64_MAX);
    EXPECT_EQ(values.getValue(0), -1);
    EXPECT_THROW(values.getUnsignedValue(1), std::out_of_range);
}

TEST(QrxReportLayout, AnEmptyLayoutKnowsNothing)
{
    const QrxReportLayout layout;
    QrxReportValues values;
    const Bytes report = {1, 2, 3};
    layout.decode(QrxReportType::input, report.data(), report.size(), values);
    EXPECT_TRUE(layout.isEmpty());
    EXPECT_EQ(layout.getReportCount(), 0U);
    EXPECT_EQ(layout.getFieldCount(), 0U);
    EXPECT_EQ(layout.getReportSizeBytes(QrxReportType::input, 0), 0U);
    EXPECT_EQ(values.getCount(), 0U);
}

TEST(QrxReportLayout, ReportsAreListedByTypeAndNumberWithTheirSizes)
{
    const QrxReportLayout layout = layoutOf(kSensor);
    EXPECT_TRUE(layout.hasReportNumbers());
    ASSERT_EQ(layout.getReportCount(), 2U);
    EXPECT_EQ(layout.getReportType(0), QrxReportType::input);
    EXPECT_EQ(layout.getReportID(0), 5U);
    EXPECT_EQ(layout.getReportSizeBits(QrxReportType::input, 5), 24U);
    EXPECT_EQ(layout.getReportSizeBytes(QrxReportType::feature, 6), 2U);
    EXPECT_EQ(layout.getReportSizeBytes(QrxReportType::output, 6), 0U);
    EXPECT_THROW(layout.getReportID(2), std::out_of_range);
    EXPECT_EQ(layoutOf(kKeyboard).getReportSizeBytes(QrxReportType::output, 0), 1U);
    EXPECT_FALSE(layoutOf(kKeyboard).hasReportNumbers());
}

TEST(QrxReportLayout, AFieldTellsWhatTheDeviceDeclared)
{
    const QrxReportLayout layout = layoutOf(kSensor);
    ASSERT_EQ(layout.getFieldCount(), 3U);
    const QrxReportField field = layout.getField(0);
    EXPECT_EQ(field.getReportType(), QrxReportType::input);
    EXPECT_EQ(field.getReportID(), 5U);
    EXPECT_EQ(field.getBitOffset(), 8U);
    EXPECT_EQ(field.getSizeBits(), 12U);
    EXPECT_EQ(field.getCount(), 1U);
    EXPECT_EQ(field.getUsageCount(), 1U);
    EXPECT_EQ(field.getUsage(0), 0x200034U);
    EXPECT_THROW(field.getUsage(1), std::out_of_range);
    EXPECT_EQ(field.getLogicalMaximum(), 4000);
    EXPECT_EQ(field.getPhysicalMinimum(), -40);
    EXPECT_EQ(field.getUnit(), 0x10001U);
    EXPECT_EQ(field.getUnitExponent(), -1);
    EXPECT_FALSE(field.isSigned());
    EXPECT_FALSE(field.hasNullState());
    EXPECT_TRUE(layout.getField(1).hasNullState());
    EXPECT_EQ(layout.getField(1).getUnitExponent(), 0);
    EXPECT_THROW(layout.getField(3), std::out_of_range);
}

TEST(QrxReportLayout, TheUsagesOfAFieldAreRangesToo)
{
    const QrxReportLayout layout = layoutOf(kKeyboard);
    // The first field is the modifiers.
    const QrxReportField modifiers = layout.getField(0);
    ASSERT_EQ(modifiers.getUsageRangeCount(), 1U);
    EXPECT_EQ(modifiers.getFirstUsage(0), kKey + 0xE0);
    EXPECT_EQ(modifiers.getLastUsage(0), kKey + 0xE7);
    EXPECT_EQ(modifiers.getUsageCount(), 8U);
    EXPECT_THROW(modifiers.getFirstUsage(1), std::out_of_range);
    EXPECT_THROW(modifiers.getLastUsage(1), std::out_of_range);
    const QrxReportLayout sensor = layoutOf(kSensor);
    const QrxReportField temperature = sensor.getField(0);
    EXPECT_EQ(temperature.getFirstUsage(0), temperature.getLastUsage(0));
}

TEST(QrxReportLayout, APhysicalValueLiesOnTheLineBetweenTheLimits)
{
    const QrxReportLayout layout = layoutOf(kSensor);
    const QrxReportField field = layout.getField(0);
    EXPECT_DOUBLE_EQ(field.getPhysicalValue(0), -4.0);
    EXPECT_DOUBLE_EQ(field.getPhysicalValue(4000), 36.0);
    EXPECT_DOUBLE_EQ(field.getPhysicalValue(2000), 16.0);
    EXPECT_DOUBLE_EQ(layout.getField(1).getPhysicalValue(3), 3.0) << "where none is declared it is the logical value";
}

TEST(QrxReportLayout, CollectionsNest)
{
    const Bytes nested = {
        0x05, 0x01, // Usage Page (Generic Desktop)
        0x09, 0x02, // Usage (Mouse)
        0xA1, 0x01, // Collection (Application)
        0x09, 0x01, //   Usage (Pointer)
        0xA1, 0x00, //   Collection (Physical)
        0x09, 0x30, //     Usage (X)
        0x15, 0x81, //     Logical Minimum (-127)
        0x25, 0x7F, //     Logical Maximum (127)
        0x75, 0x08, //     Report Size (8)
        0x95, 0x01, //     Report Count (1)
        0x81, 0x06, //     Input (Data, Variable, Relative)
        0xC0,       //   End Collection
        0xC0        // End Collection
    };
    const QrxReportLayout layout = layoutOf(nested);
    ASSERT_EQ(layout.getCollectionCount(), 2U);
    EXPECT_EQ(layout.getCollectionUsage(0), 0x10002U);
    EXPECT_EQ(layout.getCollectionType(0), 1U);
    EXPECT_EQ(layout.getCollectionParent(0), kQrxNoCollection);
    EXPECT_EQ(layout.getCollectionParent(1), 0U);
    EXPECT_EQ(layout.getField(0).getCollection(), 1U);
    EXPECT_TRUE(layout.getField(0).isRelative());
    EXPECT_EQ(layout.getField(0).getDescriptorOffset(), 20U);
    EXPECT_THROW(layout.getCollectionUsage(2), std::out_of_range);
}

TEST(QrxReportLayout, ValuesComeWithTheirUsagesAndFields)
{
    const QrxReportLayout layout = layoutOf(kSensor);
    QrxReportValues values;
    const Bytes report = {5, 0xD0, 0x07};
    layout.decode(QrxReportType::input, report.data(), report.size(), values);
    ASSERT_EQ(values.getCount(), 2U);
    EXPECT_EQ(values.getUsagePage(0), 0x20U);
    EXPECT_EQ(values.getUsage(0), 0x34U);
    EXPECT_EQ(values.getValue(0), 2000);
    EXPECT_EQ(values.getBitOffset(0), 8U);
    EXPECT_EQ(values.getSizeBits(0), 12U);
    EXPECT_DOUBLE_EQ(values.getField(0).getPhysicalValue(values.getValue(0)), 16.0);
    EXPECT_FALSE(values.isNull(0));
    EXPECT_TRUE(values.isNull(1));
    EXPECT_THROW(values.getValue(2), std::out_of_range);
}

TEST(QrxReportLayout, ValuesKeepTheLayoutThatFilledThem)
{
    QrxReportValues values;
    {
        const QrxReportLayout layout = layoutOf(kSensor);
        const Bytes report = {6, 50};
        layout.decode(QrxReportType::feature, report.data(), report.size(), values);
    }
    ASSERT_EQ(values.getCount(), 1U);
    EXPECT_EQ(values.getField(0).getLogicalMaximum(), 100);
}

TEST(QrxReportLayout, DecodingAllocatesNothingAfterTheFirstReport)
{
    const QrxReportLayout layout = layoutOf(kKeyboard);
    QrxReportValues values;
    const Bytes report = {0x01, 0x00, 0x04, 0x05, 0x06, 0x05, 0x00, 0x00};
    layout.decode(QrxReportType::input, report.data(), report.size(), values);
    const std::size_t before = sm_Allocations;
    for (int i = 0; i < 10; ++i) {
        layout.decode(QrxReportType::input, report.data(), report.size(), values);
    }
    EXPECT_EQ(sm_Allocations, before);
    EXPECT_EQ(values.getCount(), 11U);
}

TEST(QrxReportLayout, AReportTypeThatDoesNotExistHasNoValues)
{
    QrxReportValues values;
    const Bytes report = {0x01, 0x00, 0x04, 0, 0, 0, 0, 0};
    layoutOf(kKeyboard).decode(static_cast<QrxReportType>(3), report.data(), report.size(), values);
    EXPECT_EQ(values.getCount(), 0U);
    Bytes bytes(8);
    EXPECT_EQ(encode(layoutOf(kKeyboard), static_cast<QrxReportType>(3), 0, {}, bytes), QrxError::noSuchReport);
}

TEST(QrxReportLayout, AReportTypeThatDoesNotExistHasNoSize)
{
    // 256 has the low byte of a type that exists.
    for (const unsigned int type : {3U, 256U}) {
        EXPECT_EQ(layoutOf(kKeyboard).getReportSizeBits(static_cast<QrxReportType>(type), 0), 0U) << type;
    }
}

TEST(QrxReportLayout, EncodingTellsWhatCouldNotBeWritten)
{
    const QrxReportLayout layout = layoutOf(kKeyboard);
    Bytes leds(1);
    std::size_t failed = 9;
    EXPECT_FALSE(encode(layout, QrxReportType::output, 0, {{kLed + 1, 1, 0}, {kLed + 3, 1, 0}}, leds, &failed));
    EXPECT_EQ(leds, (Bytes{5}));
    EXPECT_EQ(failed, 2U) << "no value in particular";
    EXPECT_EQ(encode(layout, QrxReportType::output, 0, {{kLed + 1, 0, 0}, {kLed + 9, 1, 0}}, leds, &failed),
              QrxError::noSuchUsage);
    EXPECT_EQ(failed, 1U);
    EXPECT_EQ(leds, (Bytes{5})) << "nothing is written on failure";
    EXPECT_EQ(encode(layout, QrxReportType::output, 0, {{kLed + 1, 2, 0}}, leds), QrxError::outOfRange);
    EXPECT_EQ(encode(layout, QrxReportType::output, 1, {}, leds), QrxError::noSuchReport);
    Bytes none;
    EXPECT_EQ(encode(layout, QrxReportType::output, 0, {}, none), QrxError::wrongLength);
    Bytes keys(8);
    std::vector<QrxUsageValue> seven;
    for (std::uint32_t key = 4; key < 11; ++key) {
        seven.push_back({kKey + key, 1, 0});
    }
    EXPECT_EQ(encode(layout, QrxReportType::input, 0, seven, keys), QrxError::noRoom);
}

TEST(QrxError, IsTheStandardConditionBehindIt)
{
    EXPECT_EQ(make_error_code(QrxError::wrongLength), std::errc::invalid_argument);
    EXPECT_EQ(make_error_code(QrxError::outOfRange), std::errc::result_out_of_range);
    EXPECT_NE(make_error_code(QrxError::noSuchReport), std::errc::invalid_argument);
    EXPECT_STREQ(make_error_code(QrxError::noRoom).category().name(), "QrxHIDManager");
    EXPECT_EQ(make_error_code(QrxError::noSuchReport).message(), "The interface declares no such report.");
}

/// Devices that appear in a tree.
class LayoutOfADevice : public testing::Test {
protected:
    void plug(const std::vector<Bytes>& descriptors)
    {
        QrxVirtualDevice::setRealDevicesEnabled(false);
        std::vector<QrxVirtualInterface> interfaces;
        for (const Bytes& descriptor : descriptors) {
            interfaces.push_back({static_cast<int>(interfaces.size()), descriptor});
        }
        _plugged.emplace(QrxVirtualIdentity(0x1209, 0x0009), interfaces);
        _plugged->plug();
        tree = QrxDeviceTree::NewInstance();
        tree->setDelegate(&_quiet);
        tree->populate(0x1209, 0x0009);
        ASSERT_EQ(1U, tree->getHIDDeviceCount());
        device = tree->getDeviceAtIndex(0);
    }

    mis::swizzler<QrxDeviceTree> tree;
    mis::swizzler<QrxHIDDevice> device;

private:
    struct Quiet : QrxDeviceTreeDelegateInterface {
        void deviceAdded(mis::swizzler<QrxHIDDevice>) override {}
    };

    Quiet _quiet;
    std::optional<QrxVirtualDevice> _plugged;
};

TEST_F(LayoutOfADevice, EachInterfaceHasItsOwn)
{
    plug({kKeyboard, kSensor});
    EXPECT_EQ(QrxReportLayout(*device, 0).getReportSizeBytes(QrxReportType::input, 0), 8U);
    EXPECT_EQ(QrxReportLayout(*device, 1).getReportSizeBytes(QrxReportType::input, 5), 3U);
    EXPECT_TRUE(QrxReportLayout(*device, 2).isEmpty());
    EXPECT_TRUE(QrxReportLayout(*device, -1).isEmpty());
}

TEST_F(LayoutOfADevice, IsMadeOnce)
{
    plug({kKeyboard});
    const QrxReportLayout first(*device, 0);
    const std::size_t before = sm_Allocations;
    const QrxReportLayout second(*device, 0);
    EXPECT_EQ(sm_Allocations, before);
    EXPECT_EQ(second.getFieldCount(), first.getFieldCount());
}

TEST_F(LayoutOfADevice, OutlivesTheDevice)
{
    plug({kKeyboard});
    const QrxReportLayout layout(*device, 0);
    device = nullptr;
    tree = nullptr;
    QrxReportValues values;
    const Bytes report = {0x02, 0x00, 0x04, 0, 0, 0, 0, 0};
    layout.decode(QrxReportType::input, report.data(), report.size(), values);
    ASSERT_EQ(values.getCount(), 9U);
    EXPECT_TRUE(values.isArraySelection(8));
    EXPECT_EQ(values.getUsage(8), 4U);
}

} // namespace
