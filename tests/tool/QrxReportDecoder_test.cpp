#include "DecodingTest.h"

namespace {

const Bytes kMouse = {
    0x05, 0x01, // Usage Page (Generic Desktop)
    0x09, 0x02, // Usage (Mouse)
    0xA1, 0x01, // Collection (Application)
    0x05, 0x09, //   Usage Page (Button)
    0x19, 0x01, //   Usage Minimum (1)
    0x29, 0x03, //   Usage Maximum (3)
    0x15, 0x00, //   Logical Minimum (0)
    0x25, 0x01, //   Logical Maximum (1)
    0x95, 0x03, //   Report Count (3)
    0x75, 0x01, //   Report Size (1)
    0x81, 0x02, //   Input (Data, Variable, Absolute)
    0x95, 0x01, //   Report Count (1)
    0x75, 0x05, //   Report Size (5)
    0x81, 0x01, //   Input (Constant)
    0x05, 0x01, //   Usage Page (Generic Desktop)
    0x09, 0x30, //   Usage (X)
    0x09, 0x31, //   Usage (Y)
    0x09, 0x38, //   Usage (Wheel)
    0x15, 0x81, //   Logical Minimum (-127)
    0x25, 0x7F, //   Logical Maximum (127)
    0x75, 0x08, //   Report Size (8)
    0x95, 0x03, //   Report Count (3)
    0x81, 0x06, //   Input (Data, Variable, Relative)
    0xC0        // End Collection
};

const Bytes kKeyboard = {
    0x05, 0x01, // Usage Page (Generic Desktop)
    0x09, 0x06, // Usage (Keyboard)
    0xA1, 0x01, // Collection (Application)
    0x05, 0x07, //   Usage Page (Keyboard)
    0x19, 0xE0, //   Usage Minimum (224)
    0x29, 0xE1, //   Usage Maximum (225)
    0x15, 0x00, //   Logical Minimum (0)
    0x25, 0x01, //   Logical Maximum (1)
    0x75, 0x01, //   Report Size (1)
    0x95, 0x02, //   Report Count (2)
    0x81, 0x02, //   Input (Data, Variable, Absolute)
    0x95, 0x06, //   Report Count (6)
    0x81, 0x01, //   Input (Constant)
    0x95, 0x05, //   Report Count (5)
    0x05, 0x08, //   Usage Page (LED)
    0x19, 0x01, //   Usage Minimum (1)
    0x29, 0x05, //   Usage Maximum (5)
    0x91, 0x02, //   Output (Data, Variable, Absolute)
    0x95, 0x03, //   Report Count (3)
    0x91, 0x01, //   Output (Constant)
    0x95, 0x03, //   Report Count (3)
    0x75, 0x08, //   Report Size (8)
    0x15, 0x00, //   Logical Minimum (0)
    0x25, 0x65, //   Logical Maximum (101)
    0x05, 0x07, //   Usage Page (Keyboard)
    0x19, 0x00, //   Usage Minimum (0)
    0x29, 0x65, //   Usage Maximum (101)
    0x81, 0x00, //   Input (Data, Array, Absolute)
    0xC0        // End Collection
};

// One vendor collection around `items`.
} // namespace

TEST_F(Decoding, ValuesComeInTheOrderOfTheReportWithTheirSign)
{
    plug({kMouse});
    EXPECT_EQ("9/1=1 @0+1\n9/2=0 @1+1\n9/3=1 @2+1\n1/30=5 @8+8\n1/31=-5 @16+8\n1/38=-127 @24+8\n",
              decode({0x05, 0x05, 0xFB, 0x81}));
}

TEST_F(Decoding, ValuesBeyondTheReportsEndAreLeftOut)
{
    plug({kMouse});
    EXPECT_EQ("9/1=0 @0+1\n9/2=0 @1+1\n9/3=0 @2+1\n1/30=5 @8+8\n", decode({0x00, 0x05}));
    EXPECT_EQ("", decode({}));
}

TEST_F(Decoding, BytesBeyondTheDeclaredReportChangeNothing)
{
    plug({kMouse});
    EXPECT_EQ(decode({0x05, 0x05, 0xFB, 0x81}), decode({0x05, 0x05, 0xFB, 0x81, 0xDE, 0xAD}));
}

TEST_F(Decoding, AnArrayShowsEachUsageOnceAndNeverUsageZero)
{
    plug({kKeyboard});
    EXPECT_EQ("7/e0=0 @0+1\n7/e1=1 @1+1\n7/b=1 @8+8*\n7/4=1 @24+8*\n", decode({0x02, 0x0B, 0x00, 0x04}));
    EXPECT_EQ("7/e0=0 @0+1\n7/e1=0 @1+1\n7/1=1 @8+8*\n", decode({0x00, 0x01, 0x01, 0x01}));
}

TEST_F(Decoding, AnArrayEntryOutOfItsUsagesIsNothing)
{
    plug({kKeyboard});
    EXPECT_EQ("7/e0=0 @0+1\n7/e1=0 @1+1\n7/65=1 @8+8*\n", decode({0x00, 0x65, 0x66, 0xFF}));
}

TEST_F(Decoding, AnArraysEntriesCountFromItsLogicalMinimum)
{
    // Usages 0x10, 0x20, 0x21; one place of 8 bits, entries 5 to 7.
    plug({vendor({
        0x15, 0x05, // Logical Minimum (5)
        0x25, 0x07, // Logical Maximum (7)
        0x75, 0x08, // Report Size (8)
        0x95, 0x01, // Report Count (1)
        0x09, 0x10, // Usage (0x10)
        0x19, 0x20, // Usage Minimum (0x20)
        0x29, 0x21, // Usage Maximum (0x21)
        0x81, 0x00  // Input (Data, Array, Absolute)
    })});
    EXPECT_EQ("", decode({0x04}));
    EXPECT_EQ("ff00/10=1 @0+8*\n", decode({0x05}));
    EXPECT_EQ("ff00/21=1 @0+8*\n", decode({0x07}));
    EXPECT_EQ("", decode({0x08}));
}

TEST_F(Decoding, AnArrayOfMorePlacesThanAreListedIsReadWhole)
{
    plug({vendor({
        0x15, 0x00, // Logical Minimum (0)
        0x25, 0x03, // Logical Maximum (3)
        0x75, 0x08, // Report Size (8)
        0x95, 0x28, // Report Count (40)
        0x19, 0x00, // Usage Minimum (0)
        0x29, 0x03, // Usage Maximum (3)
        0x81, 0x00  // Input (Data, Array, Absolute)
    })});
    Bytes report(40, 0);
    report[39] = 3;
    EXPECT_EQ("ff00/3=1 @312+8*\n", decode(report));
}

TEST_F(Decoding, AUsageThatCountsSeveralValuesHasEachOnce)
{
    plug({vendor({
        0x15, 0x00,       // Logical Minimum (0)
        0x26, 0xFF, 0x00, // Logical Maximum (255)
        0x75, 0x08,       // Report Size (8)
        0x95, 0x03,       // Report Count (3)
        0x09, 0x20,       // Usage (0x20)
        0x81, 0x02,       // Input (Data, Variable, Absolute)
        0x95, 0x01,       // Report Count (1)
        0x09, 0x20,       // Usage (0x20)
        0x81, 0x02        // Input (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/20=1 @0+8\nff00/20=2 @8+8\nff00/20=255 @16+8\nff00/20=4 @24+8\n", decode({1, 2, 255, 4}));
}

TEST_F(Decoding, AUsageThatCountsMoreThanAreListedIsReadWhole)
{
    plug({vendor({
        0x15, 0x00,       // Logical Minimum (0)
        0x26, 0xFF, 0x00, // Logical Maximum (255)
        0x75, 0x08,       // Report Size (8)
        0x95, 0x28,       // Report Count (40)
        0x09, 0x20,       // Usage (0x20)
        0x81, 0x02,       // Input (Data, Variable, Absolute)
        0x95, 0x01,       // Report Count (1)
        0x09, 0x21,       // Usage (0x21)
        0x81, 0x02        // Input (Data, Variable, Absolute)
    })});
    Bytes report(41, 0);
    report[39] = 7;
    report[40] = 9;
    const std::string text = decode(report);
    EXPECT_EQ(41, std::count(text.begin(), text.end(), '\n'));
    EXPECT_NE(std::string::npos, text.find("ff00/20=7 @312+8\nff00/21=9 @320+8\n")) << text;
}

/// So many buttons of a vendor's page, then a byte with the usage 0x20 in a collection of its own.
Bytes buttonsAndAByte(std::uint16_t count)
{
    const auto low = static_cast<std::uint8_t>(count);
    const auto high = static_cast<std::uint8_t>(count >> 8);
    Bytes descriptor = vendor({
        0x15, 0x00,      // Logical Minimum (0)
        0x25, 0x01,      // Logical Maximum (1)
        0x75, 0x01,      // Report Size (1)
        0x96, low, high, // Report Count (count)
        0x19, 0x01,      // Usage Minimum (1)
        0x2A, low, high, // Usage Maximum (count)
        0x81, 0x02       // Input (Data, Variable, Absolute)
    });
    const Bytes byte = vendor({
        0x75, 0x08, // Report Size (8)
        0x95, 0x01, // Report Count (1)
        0x09, 0x20, // Usage (0x20)
        0x81, 0x02  // Input (Data, Variable, Absolute)
    });
    std::ranges::copy(byte, std::back_inserter(descriptor));
    return descriptor;
}

TEST_F(Decoding, ValuesHaveNoElementFromTheFirstCollectionOnThatTheTreeShowsOtherwise)
{
    constexpr std::uint16_t kButtons = 10000;
    const Bytes report(kButtons / 8 + 1, 1);
    // The two interfaces share the room of one device, so its tree lacks buttons that the descriptor declares.
    plug({buttonsAndAByte(kButtons), buttonsAndAByte(kButtons)});
    const auto values = QrxDecodeReport(*device, kInput, report.data(), report.size(), 0);
    ASSERT_EQ(kButtons + 1U, values.size());
    EXPECT_EQ(0x20U, values.back().getUsage());
    for (const QrxDecodedValue& value : values) {
        ASSERT_EQ(nullptr, value.getCapability()) << value.getUsage();
    }
}

TEST_F(Decoding, ValuesBeyondTheElementsThatAreKeptHaveNone)
{
    constexpr std::uint16_t kButtons = 20000;
    const Bytes report(kButtons / 8 + 1, 1);
    plug({buttonsAndAByte(kButtons)});
    const auto values = QrxDecodeReport(*device, kInput, report.data(), report.size(), 0);
    ASSERT_EQ(kButtons + 1U, values.size());
    std::size_t kept = 0;
    while (values[kept].getCapability() != nullptr) {
        EXPECT_EQ(kept + 1, values[kept].getCapability()->getUsage());
        ++kept;
    }
    EXPECT_GT(kept, 16000U);
    for (std::size_t index = kept; index < kButtons; ++index) {
        ASSERT_EQ(nullptr, values[index].getCapability()) << index;
    }
    EXPECT_NE(nullptr, values.back().getCapability()) << "a small field keeps its own";
}

TEST_F(Decoding, ValuesMayStandAtAnyBit)
{
    // 3 bits, 12 bits signed, 17 bits.
    plug({vendor({
        0x15, 0x00,                   // Logical Minimum (0)
        0x25, 0x07,                   // Logical Maximum (7)
        0x75, 0x03,                   // Report Size (3)
        0x95, 0x01,                   // Report Count (1)
        0x09, 0x20,                   // Usage (32)
        0x81, 0x02,                   // Input (Data, Variable, Absolute)
        0x16, 0x00, 0xF8,             // Logical Minimum (-2048)
        0x26, 0xFF, 0x07,             // Logical Maximum (2047)
        0x75, 0x0C,                   // Report Size (12)
        0x09, 0x21,                   // Usage (33)
        0x81, 0x02,                   // Input (Data, Variable, Absolute)
        0x15, 0x00,                   // Logical Minimum (0)
        0x27, 0xFF, 0xFF, 0x01, 0x00, // Logical Maximum (131071)
        0x75, 0x11,                   // Report Size (17)
        0x09, 0x22,                   // Usage (34)
        0x81, 0x02                    // Input (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/20=5 @0+3\nff00/21=-2 @3+12\nff00/22=65537 @15+17\n", decode({0xF5, 0xFF, 0x00, 0x80}));
}

TEST_F(Decoding, AMaximumOfAllBitsIsUnsigned)
{
    plug({vendor({
        0x15, 0x00,                   // Logical Minimum (0)
        0x27, 0xFF, 0xFF, 0xFF, 0xFF, // Logical Maximum (-1)
        0x75, 0x20,                   // Report Size (32)
        0x95, 0x01,                   // Report Count (1)
        0x09, 0x20,                   // Usage (0x20)
        0x81, 0x02                    // Input (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/20=4294967295 @0+32\n", decode({0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST_F(Decoding, ConstantFieldsAreLeftOutEvenWithAUsage)
{
    plug({vendor({
        0x15, 0x00,       // Logical Minimum (0)
        0x26, 0xFF, 0x00, // Logical Maximum (255)
        0x75, 0x08,       // Report Size (8)
        0x95, 0x01,       // Report Count (1)
        0x09, 0x20,       // Usage (0x20)
        0x81, 0x03,       // Input (Constant)
        0x09, 0x21,       // Usage (0x21)
        0x81, 0x02        // Input (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/21=2 @8+8\n", decode({1, 2}));
}

TEST_F(Decoding, TheFirstByteOfANumberedReportSaysWhichOneItIs)
{
    plug({vendor({
        0x15, 0x00,       // Logical Minimum (0)
        0x26, 0xFF, 0x00, // Logical Maximum (255)
        0x75, 0x08,       // Report Size (8)
        0x95, 0x01,       // Report Count (1)
        0x85, 0x01,       // Report ID (1)
        0x09, 0x20,       // Usage (32)
        0x81, 0x02,       // Input (Data, Variable, Absolute)
        0x85, 0x02,       // Report ID (2)
        0x09, 0x21,       // Usage (33)
        0x81, 0x02        // Input (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/20=7 @8+8\n", decode({1, 7}));
    EXPECT_EQ("ff00/21=7 @8+8\n", decode({2, 7}));
    EXPECT_EQ("", decode({3, 7}));
    EXPECT_EQ("", decode({1}));
}

TEST_F(Decoding, OneNumberMayMeanAReportOfEachKind)
{
    plug({vendor({
        0x15, 0x00,       // Logical Minimum (0)
        0x26, 0xFF, 0x00, // Logical Maximum (255)
        0x75, 0x08,       // Report Size (8)
        0x95, 0x01,       // Report Count (1)
        0x85, 0x01,       // Report ID (1)
        0x09, 0x20,       // Usage (32)
        0x81, 0x02,       // Input (Data, Variable, Absolute)
        0x09, 0x21,       // Usage (33)
        0x91, 0x02,       // Output (Data, Variable, Absolute)
        0x95, 0x02,       // Report Count (2)
        0x09, 0x22,       // Usage (34)
        0xB1, 0x02        // Feature (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/20=5 @8+8\n", decode({1, 5, 6}, kInput));
    EXPECT_EQ("ff00/21=5 @8+8\n", decode({1, 5, 6}, kOutput));
    EXPECT_EQ("ff00/22=5 @8+8\nff00/22=6 @16+8\n", decode({1, 5, 6}, kFeature));
    EXPECT_EQ("", decode({1, 5, 6}, 3)) << "there is no fourth kind";
}

TEST_F(Decoding, EachInterfaceHasItsOwnReports)
{
    plug({kKeyboard, kMouse});
    EXPECT_EQ("8/1=0 @0+1\n8/2=1 @1+1\n8/3=0 @2+1\n8/4=0 @3+1\n8/5=0 @4+1\n", decode({0x02}, kOutput, 0));
    EXPECT_EQ("9/1=0 @0+1\n9/2=1 @1+1\n9/3=0 @2+1\n", decode({0x02}, kInput, 1));
    EXPECT_EQ("", decode({0x02}, kOutput, 1));
    EXPECT_EQ("", decode({0x02}, kInput, 2)) << "there is no third interface";
}

TEST_F(Decoding, AValueKeepsItsFieldWhenTheDeviceHasGone)
{
    plug({kMouse});
    const Bytes report = {0x00, 0x05, 0x00, 0x00};
    const std::vector<QrxDecodedValue> values = QrxDecodeReport(*device, kInput, report.data(), report.size(), 0);
    device = nullptr;
    ASSERT_EQ(6U, values.size());
    EXPECT_EQ(0x30U, values[3].getCapability()->getUsage());
    EXPECT_EQ(8U, values[3].getBitOffset());
}

TEST_F(Decoding, ValuesComeInTheOrderOfTheReportNotOfTheElements)
{
    // A value of 8 bits, an array of 8 bits, 8 buttons: the platform lists buttons and arrays before values.
    plug({vendor({
        0x15, 0x00, // Logical Minimum (0)
        0x25, 0x7F, // Logical Maximum (127)
        0x75, 0x08, // Report Size (8)
        0x95, 0x01, // Report Count (1)
        0x09, 0x20, // Usage (32)
        0x81, 0x02, // Input (Data, Variable, Absolute)
        0x19, 0x30, // Usage Minimum (48)
        0x29, 0x3F, // Usage Maximum (63)
        0x81, 0x00, // Input (Data, Array, Absolute)
        0x25, 0x01, // Logical Maximum (1)
        0x75, 0x01, // Report Size (1)
        0x95, 0x02, // Report Count (2)
        0x19, 0x40, // Usage Minimum (64)
        0x29, 0x41, // Usage Maximum (65)
        0x81, 0x02, // Input (Data, Variable, Absolute)
        0x95, 0x06, // Report Count (6)
        0x81, 0x01, // Input (Constant)
        0x25, 0x7F, // Logical Maximum (127)
        0x75, 0x08, // Report Size (8)
        0x95, 0x01, // Report Count (1)
        0x09, 0x21, // Usage (33)
        0x81, 0x02  // Input (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/20=5 @0+8\nff00/32=1 @8+8*\nff00/40=0 @16+1\nff00/41=1 @17+1\nff00/21=6 @24+8\n",
              decode({5, 2, 2, 6}));
}

TEST_F(Decoding, TwoArraysOfAReportAreReadForThemselves)
{
    // Three places that count from 0, and two that count from 5, over the same usages.
    plug({vendor({
        0x15, 0x00, // Logical Minimum (0)
        0x25, 0x03, // Logical Maximum (3)
        0x75, 0x08, // Report Size (8)
        0x95, 0x03, // Report Count (3)
        0x19, 0x10, // Usage Minimum (16)
        0x29, 0x13, // Usage Maximum (19)
        0x81, 0x00, // Input (Data, Array, Absolute)
        0x15, 0x05, // Logical Minimum (5)
        0x25, 0x06, // Logical Maximum (6)
        0x95, 0x02, // Report Count (2)
        0x19, 0x12, // Usage Minimum (18)
        0x29, 0x13, // Usage Maximum (19)
        0x81, 0x00  // Input (Data, Array, Absolute)
    })});
    EXPECT_EQ("ff00/12=1 @0+8*\nff00/11=1 @8+8*\nff00/13=1 @24+8*\nff00/12=1 @32+8*\n", decode({2, 1, 2, 6, 5}))
        << "a usage is listed once of each";
    EXPECT_EQ("ff00/10=1 @0+8*\n", decode({0, 0, 0, 0, 7}));
}

TEST_F(Decoding, EachInterfaceNumbersItsReportsOrNot)
{
    const Bytes plain = vendor({
        0x15, 0x00,       // Logical Minimum (0)
        0x26, 0xFF, 0x00, // Logical Maximum (255)
        0x75, 0x08,       // Report Size (8)
        0x95, 0x02,       // Report Count (2)
        0x09, 0x20,       // Usage (0x20)
        0x81, 0x02        // Input (Data, Variable, Absolute)
    });
    const Bytes numbered = vendor({
        0x15, 0x00,       // Logical Minimum (0)
        0x26, 0xFF, 0x00, // Logical Maximum (255)
        0x75, 0x08,       // Report Size (8)
        0x95, 0x01,       // Report Count (1)
        0x85, 0x01,       // Report ID (1)
        0x09, 0x21,       // Usage (0x21)
        0x81, 0x02        // Input (Data, Variable, Absolute)
    });
    plug({plain, numbered});
    EXPECT_EQ("ff00/20=1 @0+8\nff00/20=7 @8+8\n", decode({1, 7}, kInput, 0));
    EXPECT_EQ("ff00/21=7 @8+8\n", decode({1, 7}, kInput, 1));
    EXPECT_EQ("", decode({2, 7}, kInput, 1));
}

TEST_F(Decoding, AValueThatEndsWithTheReportIsRead)
{
    // 4 bits, 12 bits, 1 bit.
    plug({vendor({
        0x15, 0x00,       // Logical Minimum (0)
        0x25, 0x0F,       // Logical Maximum (15)
        0x75, 0x04,       // Report Size (4)
        0x95, 0x01,       // Report Count (1)
        0x09, 0x20,       // Usage (32)
        0x81, 0x02,       // Input (Data, Variable, Absolute)
        0x26, 0xFF, 0x0F, // Logical Maximum (4095)
        0x75, 0x0C,       // Report Size (12)
        0x09, 0x21,       // Usage (33)
        0x81, 0x02,       // Input (Data, Variable, Absolute)
        0x25, 0x01,       // Logical Maximum (1)
        0x75, 0x01,       // Report Size (1)
        0x09, 0x22,       // Usage (34)
        0x81, 0x02        // Input (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/20=4 @0+4\n", decode({0xF4}));
    EXPECT_EQ("ff00/20=4 @0+4\nff00/21=4079 @4+12\n", decode({0xF4, 0xFE}));
    EXPECT_EQ("ff00/20=4 @0+4\nff00/21=4079 @4+12\nff00/22=1 @16+1\n", decode({0xF4, 0xFE, 0xFF}));
}

TEST_F(Decoding, AnArrayIsReadAsFarAsTheReportGoes)
{
    // Six places of 4 bits.
    plug({vendor({
        0x15, 0x01, // Logical Minimum (1)
        0x25, 0x0F, // Logical Maximum (15)
        0x75, 0x04, // Report Size (4)
        0x95, 0x06, // Report Count (6)
        0x19, 0x11, // Usage Minimum (0x11)
        0x29, 0x1F, // Usage Maximum (0x1F)
        0x81, 0x00  // Input (Data, Array, Absolute)
    })});
    EXPECT_EQ("ff00/11=1 @0+4*\nff00/1f=1 @4+4*\n", decode({0xF1}));
    EXPECT_EQ("ff00/1f=1 @20+4*\n", decode({0x00, 0x00, 0xF0}));
}

TEST_F(Decoding, ARangeOfOneUsageIsThatUsage)
{
    plug({vendor({
        0x15, 0x00, // Logical Minimum (0)
        0x25, 0x01, // Logical Maximum (1)
        0x75, 0x08, // Report Size (8)
        0x95, 0x01, // Report Count (1)
        0x19, 0x20, // Usage Minimum (32)
        0x29, 0x20, // Usage Maximum (32)
        0x81, 0x02, // Input (Data, Variable, Absolute)
        0x15, 0x01, // Logical Minimum (1)
        0x19, 0x30, // Usage Minimum (48)
        0x29, 0x30, // Usage Maximum (48)
        0x81, 0x00  // Input (Data, Array, Absolute)
    })});
    EXPECT_EQ("ff00/20=1 @0+8\nff00/30=1 @8+8*\n", decode({1, 1}));
    EXPECT_EQ("ff00/20=1 @0+8\n", decode({1, 2}));
}

TEST_F(Decoding, AValueOfMoreThan64BitsIsLeftOutAndTheNextIsInItsPlace)
{
    plug({vendor({
        0x15, 0x00, // Logical Minimum (0)
        0x25, 0x7F, // Logical Maximum (127)
        0x75, 0x41, // Report Size (65)
        0x95, 0x01, // Report Count (1)
        0x09, 0x20, // Usage (0x20)
        0x81, 0x02, // Input (Data, Variable, Absolute)
        0x75, 0x07, // Report Size (7)
        0x09, 0x21, // Usage (0x21)
        0x81, 0x02  // Input (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/21=127 @65+7\n", decode({1, 2, 3, 4, 5, 6, 7, 8, 0xFF}));
}

TEST_F(Decoding, EachKindOfReportCountsItsOwnBits)
{
    plug({vendor({
        0x15, 0x00, // Logical Minimum (0)
        0x25, 0x7F, // Logical Maximum (127)
        0x75, 0x08, // Report Size (8)
        0x95, 0x01, // Report Count (1)
        0x09, 0x20, // Usage (32)
        0x81, 0x02, // Input (Data, Variable, Absolute)
        0x09, 0x21, // Usage (33)
        0x91, 0x02, // Output (Data, Variable, Absolute)
        0x09, 0x22, // Usage (34)
        0x81, 0x02, // Input (Data, Variable, Absolute)
        0x09, 0x23, // Usage (35)
        0xB1, 0x02, // Feature (Data, Variable, Absolute)
        0x09, 0x24, // Usage (36)
        0x91, 0x02  // Output (Data, Variable, Absolute)
    })});
    EXPECT_EQ("ff00/20=1 @0+8\nff00/22=2 @8+8\n", decode({1, 2, 3}, kInput));
    EXPECT_EQ("ff00/21=1 @0+8\nff00/24=2 @8+8\n", decode({1, 2, 3}, kOutput));
    EXPECT_EQ("ff00/23=1 @0+8\n", decode({1, 2, 3}, kFeature));
}

TEST_F(Decoding, OnlyAValueOutOfTheRangeOfAFieldWithANullStateIsNone)
{
    // -2..5 with a null state, relative; the same without.
    plug({vendor({
        0x15, 0xFE, // Logical Minimum (-2)
        0x25, 0x05, // Logical Maximum (5)
        0x75, 0x08, // Report Size (8)
        0x95, 0x01, // Report Count (1)
        0x09, 0x20, // Usage (0x20)
        0x81, 0x46, // Input (Data, Variable, Relative, Null State)
        0x09, 0x21, // Usage (0x21)
        0x81, 0x02  // Input (Data, Variable, Absolute)
    })});
    std::string nulls;
    for (const std::uint8_t raw : Bytes{0xFD, 0xFE, 0x05, 0x06}) {
        const Bytes report = {raw, raw};
        const auto values = QrxDecodeReport(*device, kInput, report.data(), report.size(), 0);
        ASSERT_EQ(2U, values.size());
        EXPECT_TRUE(values[0].isRelative());
        EXPECT_FALSE(values[1].isRelative());
        EXPECT_FALSE(values[1].isNull());
        nulls += values[0].isNull() ? "null " : std::to_string(values[0].getValue()) + " ";
    }
    EXPECT_EQ("null -2 5 null ", nulls);
}

TEST_F(Decoding, AValueInPlaceOfAnotherKeepsTheRest)
{
    plug({kMouse});
    const Bytes report = {0x00, 0x05, 0x00, 0x00};
    const std::vector<QrxDecodedValue> values = QrxDecodeReport(*device, kInput, report.data(), report.size(), 0);
    ASSERT_EQ(6U, values.size());
    const QrxDecodedValue other = values[3].withValue(static_cast<std::uint64_t>(-7));
    EXPECT_EQ(-7, other.getValue());
    EXPECT_EQ(5, values[3].getValue());
    EXPECT_EQ(0x30U, other.getUsage());
    EXPECT_EQ(8U, other.getBitOffset());
    EXPECT_TRUE(other.isSigned());
}
