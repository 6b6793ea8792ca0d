#include "QrxUsageNames.h"

#include "QrxReportLayout.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

TEST(UsageNames, AreThoseOfTheTables)
{
    EXPECT_STREQ("1.6", QrxGetUsageTablesVersion());
    EXPECT_EQ("Generic Desktop", QrxGetUsagePageName(0x01));
    EXPECT_EQ("Wheel", QrxGetUsageName(0x01, 0x38));
    EXPECT_EQ("Keyboard/Keypad", QrxGetUsagePageName(0x07));
    EXPECT_EQ("Keyboard LeftControl", QrxGetUsageName(0x07, 0xE0));
    EXPECT_EQ("Num Lock", QrxGetUsageName(0x08, 0x01));
    EXPECT_EQ("FIDO Alliance", QrxGetUsagePageName(0xF1D0));
    EXPECT_EQ("U2F Authenticator Device", QrxGetUsageName(0xF1D0, 0x01));
    EXPECT_EQ("Horizontal Moiré", QrxGetUsageName(0x82, 0x56));
}

TEST(UsageNames, CountWhereThePageOnlyNumbers)
{
    EXPECT_EQ("Button", QrxGetUsagePageName(0x09));
    EXPECT_EQ("Button 1", QrxGetUsageName(0x09, 1));
    EXPECT_EQ("Button 65535", QrxGetUsageName(0x09, 0xFFFF));
    EXPECT_EQ("", QrxGetUsageName(0x09, 0));
    EXPECT_EQ("", QrxGetUsageName(0x09, 0x10000));
    EXPECT_EQ("Instance 7", QrxGetUsageName(0x0A, 7));
    EXPECT_EQ("Enum 2", QrxGetUsageName(0x81, 2));
}

TEST(UsageNames, AreEmptyWhereThereAreNone)
{
    for (const std::uint32_t page : {0x00u, 0x10u, 0xFF00u, 0xFFFFu, 0x10001u, 0xFFFFFFFFu}) {
        EXPECT_EQ("", QrxGetUsagePageName(page)) << page;
        EXPECT_EQ("", QrxGetUsageName(page, 1)) << page;
    }
    EXPECT_EQ("", QrxGetUsageName(0x01, 0x03));
    EXPECT_EQ("", QrxGetUsageName(0x01, 0x10030));
}

TEST(UsageNames, AreAllThatTheDataHave)
{
    std::ifstream data(QRX_USAGE_TABLES);
    int pages = 0;
    int usages = 0;
    for (std::string line; std::getline(data, line);) {
        std::istringstream fields(line);
        std::string kind, page, usage, name;
        std::getline(fields, kind, '\t');
        std::getline(fields, page, '\t');
        std::getline(fields, usage, '\t');
        std::getline(fields, name);
        const auto number = [](const std::string& text) { return std::stoul("0" + text, nullptr, 16); };
        if (kind == "page") {
            ++pages;
            EXPECT_EQ(name, QrxGetUsagePageName(static_cast<std::uint32_t>(number(page))));
        } else if (kind == "usage") {
            ++usages;
            EXPECT_EQ(name, QrxGetUsageName(static_cast<std::uint32_t>(number(page)),
                                            static_cast<std::uint32_t>(number(usage))));
        }
    }
    EXPECT_EQ(33, pages);
    EXPECT_EQ(2766, usages);
}

TEST(UnitTexts, HaveTheSymbolsWithTheirPowers)
{
    EXPECT_EQ("", QrxGetUnitText(0));
    EXPECT_EQ("cm", QrxGetUnitText(0x11));
    EXPECT_EQ("in", QrxGetUnitText(0x13));
    EXPECT_EQ("cm s^-2", QrxGetUnitText(0xE011));
    EXPECT_EQ("deg", QrxGetUnitText(0x14));
    EXPECT_EQ("", QrxGetUnitText(0x15));
}

TEST(PhysicalValues, AreScaledIntoTheUnit)
{
    // A thermometer: logical 0 .. 1000 stands for physical -400 .. 850 in K, times 10^-1.
    const std::vector<std::uint8_t> descriptor = {
        0x05, 0x20,                   // Usage Page (Sensor)
        0x09, 0x33,                   // Usage (0x33)
        0xA1, 0x01,                   // Collection (Application)
        0x0A, 0x34, 0x04,             //   Usage (0x434)
        0x15, 0x00,                   //   Logical Minimum (0)
        0x26, 0xE8, 0x03,             //   Logical Maximum (1000)
        0x36, 0x70, 0xFE,             //   Physical Minimum (-400)
        0x46, 0x52, 0x03,             //   Physical Maximum (850)
        0x67, 0x01, 0x00, 0x01, 0x00, //   Unit (0x10001)
        0x55, 0x0F,                   //   Unit Exponent (-1)
        0x75, 0x10,                   //   Report Size (16)
        0x95, 0x01,                   //   Report Count (1)
        0x81, 0x02,                   //   Input (Data, Variable, Absolute)
        0xC0                          // End Collection
    };
    const QrxReportLayout layout(descriptor.data(), descriptor.size());
    QrxReportValues values;
    const std::uint8_t report[] = {0xF4, 0x01};
    layout.decode(QrxReportType::input, report, sizeof report, values);
    ASSERT_EQ(1u, values.getCount());
    EXPECT_EQ(500, values.getValue(0));
    EXPECT_DOUBLE_EQ(22.5, values.getPhysicalValue(0));
    EXPECT_EQ("K", QrxGetUnitText(values.getField(0).getUnit()));
    EXPECT_EQ("Data Field: Temperature", QrxGetUsageName(values.getUsagePage(0), values.getUsage(0)));
}

} // namespace
