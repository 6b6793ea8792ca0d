/// Values of every kind of width and place in a report, and arrays beside each other.

#include "Reader.h"

#include "Provider/Provider.h"

namespace {

class QueuedValues : public IOKitTest {
protected:
    void TearDown() override
    {
        device.unplug();
        IOKitTest::TearDown();
    }

    /// A device of one application collection (cookie 1) with these items in it; its first field is cookie 2.
    io_object_t plug(const fake::Bytes& items)
    {
        fake::Bytes descriptor = {0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01};
        descriptor.insert(descriptor.end(), items.begin(), items.end());
        descriptor.push_back(0xC0);
        device = fake::makeDevice(0x1209, 0x0002).addHid(descriptor);
        device.plug();
        return driver();
    }
    std::string told(QueueReader& reader, const fake::Bytes& report)
    {
        device.wires[0]->send(report);
        runDue();
        return reader.take();
    }

    fake::Device device;
};

} // namespace

TEST_F(QueuedValues, AFieldOf32BitsIsAValueAndOneOf33ABlockOfFiveBytes)
{
    // An unsigned field of 32 bits, one of 33, and 7 bits of padding.
    QueueReader reader(plug({
                           0x09, 0x02,                   // Usage (2)
                           0x15, 0x00,                   // Logical Minimum (0)
                           0x27, 0xFF, 0xFF, 0xFF, 0x7F, // Logical Maximum (2147483647)
                           0x75, 0x20,                   // Report Size (32)
                           0x95, 0x01,                   // Report Count (1)
                           0x81, 0x02,                   // Input (Data, Variable, Absolute)
                           0x09, 0x03,                   // Usage (3)
                           0x75, 0x21,                   // Report Size (33)
                           0x95, 0x01,                   // Report Count (1)
                           0x81, 0x02,                   // Input (Data, Variable, Absolute)
                           0x75, 0x07,                   // Report Size (7)
                           0x95, 0x01,                   // Report Count (1)
                           0x81, 0x03                    // Input (Constant, Variable)
                       }),
                       {2, 3});
    EXPECT_EQ("|2=-1 3=[ff 00 00 00 01] ", told(reader, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 1}));
    EXPECT_EQ("|3=[ff 00 00 00 00] ", told(reader, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0xFE}))
        << "the padding is not part of it";
    EXPECT_EQ("", told(reader, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0})) << "nothing has changed";
}

TEST_F(QueuedValues, AFieldOf64BitsIsABlockOfEightBytes)
{
    QueueReader reader(plug({
                           0x09, 0x02, // Usage (2)
                           0x15, 0x00, // Logical Minimum (0)
                           0x25, 0x7F, // Logical Maximum (127)
                           0x75, 0x40, // Report Size (64)
                           0x95, 0x01, // Report Count (1)
                           0x81, 0x02  // Input (Data, Variable, Absolute)
                       }),
                       {2});
    EXPECT_EQ("|2=[01 02 03 04 05 06 07 80] ", told(reader, {1, 2, 3, 4, 5, 6, 7, 0x80}));
    EXPECT_EQ("", told(reader, {1, 2, 3, 4, 5, 6, 7})) << "too short";
}

TEST_F(QueuedValues, FieldsThatAreNoBytesAreCutOutOfThem)
{
    // 3 bits, a signed field of 12 bits, an unsigned one of 12, and 5 bits of padding.
    QueueReader reader(plug({
                           0x09, 0x02,       // Usage (2)
                           0x15, 0x00,       // Logical Minimum (0)
                           0x25, 0x07,       // Logical Maximum (7)
                           0x75, 0x03,       // Report Size (3)
                           0x95, 0x01,       // Report Count (1)
                           0x81, 0x02,       // Input (Data, Variable, Absolute)
                           0x09, 0x03,       // Usage (3)
                           0x16, 0x00, 0xF8, // Logical Minimum (-2048)
                           0x26, 0xFF, 0x07, // Logical Maximum (2047)
                           0x75, 0x0C,       // Report Size (12)
                           0x81, 0x02,       // Input (Data, Variable, Absolute)
                           0x09, 0x04,       // Usage (4)
                           0x15, 0x00,       // Logical Minimum (0)
                           0x26, 0xFF, 0x0F, // Logical Maximum (4095)
                           0x81, 0x02,       // Input (Data, Variable, Absolute)
                           0x75, 0x05,       // Report Size (5)
                           0x81, 0x03        // Input (Constant)
                       }),
                       {2, 3, 4});
    EXPECT_EQ("|2=5 3=-2048 4=4095 ", told(reader, {0x05, 0xC0, 0xFF, 0x07}));
    EXPECT_EQ("|2=0 3=2047 4=2048 ", told(reader, {0xF8, 0x3F, 0x00, 0x04}));
}

TEST_F(QueuedValues, AReportThatEndsWithinAByteNeedsThatByte)
{
    QueueReader reader(plug({
                           0x19, 0x02, // Usage Minimum (2)
                           0x29, 0x04, // Usage Maximum (4)
                           0x15, 0x00, // Logical Minimum (0)
                           0x25, 0x07, // Logical Maximum (7)
                           0x75, 0x03, // Report Size (3)
                           0x95, 0x03, // Report Count (3)
                           0x81, 0x02  // Input (Data, Variable, Absolute)
                       }),
                       {2, 3, 4});
    EXPECT_EQ("", told(reader, {0xFF}));
    EXPECT_EQ("|2=7 3=7 4=7 ", told(reader, {0xFF, 0x01}));
}

TEST_F(QueuedValues, AnElementHearsOnlyReportsOfItsType)
{
    // A byte of input and one of output, in reports without a number.
    QueueReader reader(plug({
                           0x15, 0x00,       // Logical Minimum (0)
                           0x26, 0xFF, 0x00, // Logical Maximum (255)
                           0x75, 0x08,       // Report Size (8)
                           0x95, 0x01,       // Report Count (1)
                           0x09, 0x02,       // Usage (2)
                           0x81, 0x02,       // Input (Data, Variable, Absolute)
                           0x09, 0x03,       // Usage (3)
                           0x91, 0x02        // Output (Data, Variable, Absolute)
                       }),
                       {2, 3});
    EXPECT_EQ("|2=7 ", told(reader, {7}));
    std::uint8_t sent[] = {9};
    EXPECT_EQ(
        kIOReturnSuccess,
        (*reader.device)->setReport(reader.device, kIOHIDReportTypeOutput, 0, sent, 1, 0, nullptr, nullptr, nullptr));
    runDue();
    EXPECT_EQ("|3=9 ", reader.take());
}

TEST_F(QueuedValues, EventsThatWereTakenBeforeTheCalloutNeedNone)
{
    QueueReader reader(plug({
                           0x15, 0x00,       // Logical Minimum (0)
                           0x26, 0xFF, 0x00, // Logical Maximum (255)
                           0x75, 0x08,       // Report Size (8)
                           0x95, 0x01,       // Report Count (1)
                           0x09, 0x02,       // Usage (2)
                           0x91, 0x02        // Output (Data, Variable, Absolute)
                       }),
                       {2});
    std::uint8_t sent[] = {9};
    EXPECT_EQ(
        kIOReturnSuccess,
        (*reader.device)->setReport(reader.device, kIOHIDReportTypeOutput, 0, sent, 1, 0, nullptr, nullptr, nullptr));
    reader.drainEvents();
    EXPECT_EQ("2=9 ", reader.take());
    runDue();
    EXPECT_EQ("", reader.take());
}

TEST_F(QueuedValues, OfTwoArraysInAReportEachHasItsOwnSlotsAndSelectors)
{
    // Two slots of the usages 1 to 3, then two slots of 4 to 6; both count from 1.
    const io_object_t entry = plug({
        0x05, 0x09, // Usage Page (Button)
        0x19, 0x01, // Usage Minimum (1)
        0x29, 0x03, // Usage Maximum (3)
        0x15, 0x01, // Logical Minimum (1)
        0x25, 0x03, // Logical Maximum (3)
        0x75, 0x08, // Report Size (8)
        0x95, 0x02, // Report Count (2)
        0x81, 0x00, // Input (Data, Array, Absolute)
        0x19, 0x04, // Usage Minimum (4)
        0x29, 0x06, // Usage Maximum (6)
        0x81, 0x00  // Input (Data, Array, Absolute)
    });
    // For each array the head, its slots, its selectors.
    QueueReader reader(entry, {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13});
    EXPECT_EQ("|2=513 3=1 4=2 5=1 6=1 8=3 9=3 13=1 ", told(reader, {1, 2, 3, 0}));
    EXPECT_EQ("|2=258 3=2 4=1 ", told(reader, {2, 1, 3, 0})) << "the same keys in other slots";
    EXPECT_EQ("|2=0 3=0 4=0 5=0 6=0 8=512 9=0 10=2 12=1 13=0 ", told(reader, {0, 0, 0, 2}));
    EXPECT_EQ("|2=257 3=1 4=1 5=1 8=0 10=0 12=0 ", told(reader, {1, 1, 0, 0})) << "usage 1 is a button here";
    EXPECT_EQ("|2=514 3=2 4=2 5=0 6=1 ", told(reader, {2, 2, 0, 0}));
    EXPECT_EQ("|2=257 3=1 4=1 5=1 6=0 ", told(reader, {1, 1, 0, 0})) << "and tells of the others";
}

TEST_F(QueuedValues, WhileAKeyboardCannotTellItsKeysTheyStayAsTheyWere)
{
    constexpr IOHIDElementCookie kFirstSelector = 17;
    device = fake::makeKeyboard();
    device.plug();
    QueueReader reader(driver(), {kFirstSelector + 1, kFirstSelector + 4, kFirstSelector + 5});
    EXPECT_EQ("|21=1 ", told(reader, {0, 0, 4, 0, 0, 0, 0, 0}));
    EXPECT_EQ("|18=1 ", told(reader, {0, 0, 1, 1, 1, 1, 1, 1})) << "that it cannot is a key of its own";
    EXPECT_EQ("|18=0 ", told(reader, {0, 0, 4, 0, 0, 0, 0, 0}));
    EXPECT_EQ("|18=1 21=0 ", told(reader, {0, 0, 1, 1, 1, 1, 1, 0})) << "one slot tells";
    EXPECT_EQ("|18=0 22=1 ", told(reader, {0, 0, 5, 0, 0, 0, 0, 0}));
}

TEST_F(QueuedValues, AReportThatIsFetchedTellsTheElementsOfItsType)
{
    device = fake::makeVendorDevice();
    device.plug();
    constexpr IOHIDElementCookie kFeatureByte = 76;
    QueueReader reader(driver(), {kFeatureByte});
    device.wires[0]->answer = {3, 0x11, 0x22, 0x33};
    std::uint8_t bytes[8] = {};
    UInt32 size = sizeof bytes;
    const auto fetch = [&] {
        return (*reader.device)
            ->getReport(reader.device, kIOHIDReportTypeFeature, 3, bytes, &size, 0, nullptr, nullptr, nullptr);
    };
    EXPECT_EQ(kIOReturnSuccess, fetch());
    runDue();
    EXPECT_EQ("|76=34 ", reader.take());
    device.wires[0]->requestResult = qrx::platform::Status::timeout;
    device.wires[0]->answer = {3, 0x11, 0x44, 0x33};
    EXPECT_EQ(kIOReturnTimeout, fetch());
    runDue();
    EXPECT_EQ("", reader.take());
}

TEST_F(QueuedValues, AnArrayThatCountsFromFourTellsItsSelectorsFromThere)
{
    const io_object_t entry = plug({
        0x05, 0x09, // Usage Page (Button)
        0x19, 0x01, // Usage Minimum (1)
        0x29, 0x03, // Usage Maximum (3)
        0x15, 0x04, // Logical Minimum (4)
        0x25, 0x06, // Logical Maximum (6)
        0x75, 0x04, // Report Size (4)
        0x95, 0x02, // Report Count (2)
        0x81, 0x00  // Input (Data, Array, Absolute)
    });
    QueueReader reader(entry, {5, 6, 7});
    EXPECT_EQ("|5=1 ", told(reader, {0x04}));
    EXPECT_EQ("|5=0 7=1 ", told(reader, {0x06}));
    EXPECT_EQ("|6=1 ", told(reader, {0x65}));
    EXPECT_EQ("|6=0 7=0 ", told(reader, {0x73})) << "neither is one of its usages";
}

TEST_F(QueuedValues, EntriesThatAnAnswerLacksShowNothing)
{
    // A feature array of two entries of a byte, whose value 0 shows the first of its three buttons.
    const io_object_t entry = plug({
        0x05, 0x09, // Usage Page (Button)
        0x19, 0x01, // Usage Minimum (1)
        0x29, 0x03, // Usage Maximum (3)
        0x15, 0x00, // Logical Minimum (0)
        0x25, 0x02, // Logical Maximum (2)
        0x75, 0x08, // Report Size (8)
        0x95, 0x02, // Report Count (2)
        0xB1, 0x00  // Feature (Data, Array, Absolute)
    });
    QueueReader reader(entry, {5, 6, 7});
    device.wires[0]->answer = {1};
    std::uint8_t bytes[2] = {};
    UInt32 size = sizeof bytes;
    EXPECT_EQ(kIOReturnSuccess,
              (*reader.device)
                  ->getReport(reader.device, kIOHIDReportTypeFeature, 0, bytes, &size, 0, nullptr, nullptr, nullptr));
    runDue();
    EXPECT_EQ("|6=1 ", reader.take());
}
