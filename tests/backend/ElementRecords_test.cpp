#include "BackendTest.h"

#include "QrxHIDCapabilityImpl.h"
#include "QrxHIDCollectionImpl.h"
#include "QrxHIDInterfaceMac.h"
#include "QrxHIDReportImpl.h"

#include <sstream>

using fake::Dict;
using fake::List;
using fake::Value;

namespace {

class ElementRecordsTest : public BackendTest {
protected:
    CFDictionaryRef dictionary(Dict entries, const std::string& name = "element")
    {
        _dictionaries.push_back(platform.objects.make(Value(std::move(entries)), name));
        return reinterpret_cast<CFDictionaryRef>(_dictionaries.back());
    }
    template <class Record>
    mis::swizzler<Record> recordOf(Dict entries)
    {
        mis::swizzler<Record> record(new Record);
        record->_initWithProperties(dictionary(std::move(entries)));
        return record;
    }
    mis::swizzler<QrxHIDElement> fieldOfReport(int reportID)
    {
        return recordOf<_QrxHIDCapabilityImpl>({{"ReportID", reportID}});
    }
    void TearDown() override
    {
        for (fake::FakeObject* dictionary : _dictionaries) {
            EXPECT_EQ(dictionary->count, 1) << "the record gave its reference back";
            platform.objects.release(dictionary);
        }
        BackendTest::TearDown();
    }

private:
    std::vector<fake::FakeObject*> _dictionaries;
};

using QrxHIDCapabilityImplTest = ElementRecordsTest;
using QrxHIDCollectionImplTest = ElementRecordsTest;
using QrxHIDReportImplTest = ElementRecordsTest;

std::string numbersOf(const _QrxHIDCapabilityImpl& field)
{
    std::ostringstream text;
    for (const std::size_t number :
         {std::size_t{field.getReportID()}, std::size_t{field.getReportCount()}, field.getReportSize(),
          std::size_t{field.getCookie()}, std::size_t{field.getUsagePage()}, std::size_t{field.getUsage()},
          std::size_t{field.getMinValue()}, std::size_t{field.getMaxValue()}, std::size_t{field.getScaledMinValue()},
          std::size_t{field.getScaledMaxValue()}, field.getSize(), std::size_t{field.getType()},
          std::size_t{field.getUnit()}, std::size_t{field.getUnitExponent()}, std::size_t{field.getFlags()}}) {
        text << number << " ";
    }
    return text.str();
}

std::string flagsOf(const _QrxHIDCapabilityImpl& field)
{
    std::ostringstream text;
    text << field.isArray() << field.isRelative() << field.isNonLinear() << field.isWrapping() << field.hasNullState()
         << field.hasPreferedState();
    return text.str();
}

} // namespace

TEST_F(QrxHIDCapabilityImplTest, EachNumberIsReadUnderItsKey)
{
    const auto field = recordOf<_QrxHIDCapabilityImpl>({{"ReportID", 1},
                                                        {"ReportCount", 2},
                                                        {"ReportSize", 3},
                                                        {"ElementCookie", 4},
                                                        {"UsagePage", 5},
                                                        {"Usage", 6},
                                                        {"Min", 7},
                                                        {"Max", 8},
                                                        {"ScaledMin", 9},
                                                        {"ScaledMax", 10},
                                                        {"Size", 11},
                                                        {"Type", 12},
                                                        {"Unit", 13},
                                                        {"UnitExponent", 14},
                                                        {"Flags", 15}});
    EXPECT_EQ(numbersOf(*field), "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 ");
}

TEST_F(QrxHIDCapabilityImplTest, WithoutADictionaryEverythingIsZeroAndFalse)
{
    const mis::swizzler<_QrxHIDCapabilityImpl> field(new _QrxHIDCapabilityImpl);
    EXPECT_EQ(numbersOf(*field), "0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 ");
    EXPECT_EQ(flagsOf(*field), "000000");
    EXPECT_EQ(field->getInterfaceNumber(), 0);
    EXPECT_FALSE(field->_getInterface());
    EXPECT_FALSE(field->_getDevice());
}

TEST_F(QrxHIDCapabilityImplTest, EachFlagIsReadUnderItsKeyAndTheTwoOfIsArrayAgree)
{
    EXPECT_EQ(flagsOf(*recordOf<_QrxHIDCapabilityImpl>({{"IsArray", true}})), "100001");
    EXPECT_EQ(flagsOf(*recordOf<_QrxHIDCapabilityImpl>({{"IsRelative", true}})), "010000");
    EXPECT_EQ(flagsOf(*recordOf<_QrxHIDCapabilityImpl>({{"IsNonLinear", true}})), "001000");
    EXPECT_EQ(flagsOf(*recordOf<_QrxHIDCapabilityImpl>({{"IsWrapping", true}})), "000100");
    EXPECT_EQ(flagsOf(*recordOf<_QrxHIDCapabilityImpl>({{"HasNullState", true}})), "000010");
    EXPECT_EQ(flagsOf(*recordOf<_QrxHIDCapabilityImpl>({{"HasPreferredState", true}})), "000000");
    EXPECT_EQ(flagsOf(*recordOf<_QrxHIDCapabilityImpl>({{"IsArray", false}, {"IsRelative", false}})), "000000");
}

TEST_F(QrxHIDCapabilityImplTest, AValueOfAnotherTypeReadsAsZeroOrFalse)
{
    const auto field = recordOf<_QrxHIDCapabilityImpl>(
        {{"UsagePage", "1"}, {"Usage", true}, {"IsArray", 1}, {"IsRelative", "true"}});
    EXPECT_EQ(field->getUsagePage(), 0U);
    EXPECT_EQ(field->getUsage(), 0U);
    EXPECT_FALSE(field->isArray());
    EXPECT_FALSE(field->isRelative());
}

TEST_F(QrxHIDCapabilityImplTest, ANegativeNumberIsItsThirtyTwoBits)
{
    const auto field = recordOf<_QrxHIDCapabilityImpl>({{"Min", -127}, {"Size", -1}});
    EXPECT_EQ(field->getMinValue(), 4294967169U);
    EXPECT_EQ(field->getSize(), 4294967295U);
}

TEST_F(QrxHIDCapabilityImplTest, OnlyTheFirstDictionaryIsKept)
{
    const mis::swizzler<_QrxHIDCapabilityImpl> field(new _QrxHIDCapabilityImpl);
    field->_initWithProperties(nullptr);
    field->_initWithProperties(dictionary({{"Usage", 1}}, "first"));
    field->_initWithProperties(dictionary({{"Usage", 2}}, "second"));
    field->_initWithProperties(nullptr);
    EXPECT_EQ(field->getUsage(), 1U);
    EXPECT_EQ(platform.log.text(), "CFRetain(first)\n");
}

TEST_F(QrxHIDCapabilityImplTest, PrintingEndsWithTheCookie)
{
    std::ostringstream text;
    recordOf<_QrxHIDCapabilityImpl>({{"ElementCookie", 77}, {"Min", -1}, {"Max", 3}, {"ReportID", 5}})
        ->print(text, 0, 0);
    const std::string tail = "HIDElement.interfaceNumber = 0 HIDElement.reportID = 5 HIDCapability.minValue = "
                             "4294967295 HIDCapability.maxValue = 3 HIDCapability.cookie = 77 }";
    ASSERT_GE(text.str().size(), tail.size());
    EXPECT_EQ(text.str().substr(text.str().size() - tail.size()), tail);
}

TEST_F(QrxHIDCapabilityImplTest, AFieldFindsItsInterfaceAndItsDeviceThroughCollections)
{
    const auto device = deviceOf(addDevice("usb1", {world::Sample::kPedal, world::Sample::kMouse}));
    const auto report = device->getReport(1, 0);
    ASSERT_TRUE(report);
    const auto field = report->getCapabilityAtIndex(0);
    const auto& record = dynamic_cast<_QrxHIDCapabilityImpl&>(*field);
    EXPECT_EQ(record.getInterfaceNumber(), 1);
    EXPECT_EQ(record._getInterface(), device->_getInterface(1));
    EXPECT_EQ(record._getDevice(), device);
    EXPECT_EQ(record.getDevice(), device);
    const auto collection = device->getElementAtIndex(1);
    EXPECT_EQ(dynamic_cast<_QrxHIDCollectionImpl&>(*collection)._getDevice(), device);
    EXPECT_EQ(dynamic_cast<_QrxHIDCollectionImpl&>(*collection)._getInterface(), device->_getInterface(1));
    EXPECT_EQ(collection->getInterfaceNumber(), 1);
}

TEST_F(QrxHIDCollectionImplTest, NumbersAreReadFromTheDictionary)
{
    const auto collection = recordOf<_QrxHIDCollectionImpl>({{"UsagePage", 1}, {"Usage", 2}, {"ReportID", 3}});
    EXPECT_EQ(collection->getUsagePage(), 1U);
    EXPECT_EQ(collection->getUsage(), 2U);
    EXPECT_EQ(collection->getReportID(), 3U);
    EXPECT_TRUE(collection->isCollection());
    EXPECT_EQ(collection->getInterfaceNumber(), 0);
    EXPECT_FALSE(collection->_getInterface());
    EXPECT_FALSE(collection->_getDevice());
}

TEST_F(QrxHIDCollectionImplTest, TheOneReportIdOfItsFieldsWinsOverItsOwn)
{
    const auto collection = recordOf<_QrxHIDCollectionImpl>({{"ReportID", 9}});
    collection->_addElements({fieldOfReport(3), fieldOfReport(3)});
    EXPECT_EQ(collection->getReportID(), 3U);
    const auto outer = recordOf<_QrxHIDCollectionImpl>({{"ReportID", 8}});
    outer->_addElements({mis::swizzler<QrxHIDElement>(collection)});
    EXPECT_EQ(outer->getReportID(), 3U);
}

TEST_F(QrxHIDCollectionImplTest, WithSeveralReportIdsItsOwnIsTheAnswer)
{
    const auto collection = recordOf<_QrxHIDCollectionImpl>({{"ReportID", 9}});
    collection->_addElements({fieldOfReport(1), fieldOfReport(2)});
    EXPECT_EQ(collection->getReportID(), 9U);
    const auto without = recordOf<_QrxHIDCollectionImpl>({{"ReportID", "9"}});
    without->_addElements({fieldOfReport(1), fieldOfReport(2)});
    EXPECT_EQ(without->getReportID(), 0U);
}

TEST_F(QrxHIDCollectionImplTest, WithoutADictionaryItStillKnowsTheReportIdOfItsFields)
{
    const mis::swizzler<_QrxHIDCollectionImpl> collection(new _QrxHIDCollectionImpl);
    EXPECT_EQ(collection->getReportID(), 0U);
    EXPECT_EQ(collection->getUsage(), 0U);
    collection->_addElements({fieldOfReport(4)});
    EXPECT_EQ(collection->getReportID(), 4U);
}

TEST_F(QrxHIDCollectionImplTest, OnlyTheFirstDictionaryIsKept)
{
    const mis::swizzler<_QrxHIDCollectionImpl> collection(new _QrxHIDCollectionImpl);
    collection->_initWithProperties(nullptr);
    collection->_initWithProperties(dictionary({{"Usage", 1}}));
    collection->_initWithProperties(dictionary({{"Usage", 2}}));
    EXPECT_EQ(collection->getUsage(), 1U);
}

TEST_F(QrxHIDReportImplTest, NumbersAreReadFromTheDictionary)
{
    const auto report = recordOf<_QrxHIDReportImpl>(
        {{"UsagePage", 1}, {"Usage", 2}, {"ReportSize", 12}, {"Type", 129}, {"Size", 24}, {"ReportID", 7}});
    EXPECT_EQ(report->getUsagePage(), 1U);
    EXPECT_EQ(report->getUsage(), 2U);
    EXPECT_EQ(report->getReportSize(), 12U);
    EXPECT_EQ(report->getReportType(), 129);
    EXPECT_EQ(report->getSize(), 24U);
    EXPECT_EQ(report->getReportID(), 0U) << "given by the device, not read";
}

TEST_F(QrxHIDReportImplTest, WithoutADictionaryItPrintsZeros)
{
    const mis::swizzler<_QrxHIDReportImpl> report(new _QrxHIDReportImpl);
    std::ostringstream text;
    report->print(text, 0, 0);
    EXPECT_NE(text.str().find("HIDReport.reportSize = 0 HIDReport.reportByteSize = 0 HIDReport.reportType = 0 }"),
              std::string::npos)
        << text.str();
}

TEST_F(QrxHIDReportImplTest, OnlyTheFirstDictionaryIsKept)
{
    const mis::swizzler<_QrxHIDReportImpl> report(new _QrxHIDReportImpl);
    report->_initWithProperties(nullptr);
    report->_initWithProperties(dictionary({{"Size", 1}}));
    report->_initWithProperties(dictionary({{"Size", 2}}));
    EXPECT_EQ(report->getSize(), 1U);
}
