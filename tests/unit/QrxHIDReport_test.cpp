#include "QrxHIDReport.h"

#include "ModelDoubles.h"

#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>

namespace {

using ReportPtr = mis::swizzler<FakeReport>;

std::string messageOfAccess(QrxHIDReport& report, unsigned int index)
{
    try {
        report.getCapabilityAtIndex(index);
    } catch (const std::out_of_range& error) {
        return error.what();
    }
    return "no exception";
}

} // namespace

TEST(QrxHIDReport, AFreshReportIsEmptyAndHasNumbers0)
{
    const ReportPtr report(new FakeReport);
    EXPECT_EQ(report->getInterfaceNumber(), 0);
    EXPECT_EQ(report->getReportID(), 0U);
    EXPECT_EQ(report->getCapabilityCount(), 0U);
}

TEST(QrxHIDReport, KeepsTheNumbersItIsGiven)
{
    const ReportPtr report(new FakeReport);
    report->_setInterfaceNumber(-1);
    report->_setReportID(0xFFFFFFFF);
    EXPECT_EQ(report->getInterfaceNumber(), -1);
    EXPECT_EQ(report->getReportID(), 0xFFFFFFFFU);
}

TEST(QrxHIDReport, IsNeitherCollectionNorCapability)
{
    const ReportPtr report(new FakeReport);
    EXPECT_FALSE(report->isCollection());
    EXPECT_FALSE(report->isCapability());
}

TEST(QrxHIDReport, AnAccessPastTheEndThrows)
{
    const ReportPtr report(new FakeReport);
    EXPECT_EQ(messageOfAccess(*report, 0), "vector [] access out of range");
    const QrxHIDCapabilityPtr last(new FakeCapability);
    report->_addCapabilities({new FakeCapability, last});
    EXPECT_TRUE(report->getCapabilityAtIndex(1) == last);
    EXPECT_EQ(messageOfAccess(*report, 2), "vector [] access out of range");
}

TEST(QrxHIDReport, EmptyHandlesAreSkippedAndTheOthersHeldInOrder)
{
    const ReportPtr report(new FakeReport);
    const QrxHIDCapabilityPtr first(new FakeCapability);
    const QrxHIDCapabilityPtr third(new FakeCapability);
    report->_addCapabilities({first, QrxHIDCapabilityPtr(), third});
    ASSERT_EQ(report->getCapabilityCount(), 2U);
    EXPECT_TRUE(report->getCapabilityAtIndex(0) == first);
    EXPECT_TRUE(report->getCapabilityAtIndex(1) == third);
    EXPECT_EQ(first->getReferenceCount(), 2U);
    EXPECT_EQ(third->getReferenceCount(), 2U);
}

TEST(QrxHIDReport, AddingTwiceListsTwice)
{
    const ReportPtr report(new FakeReport);
    const QrxHIDCapabilityPtr capability(new FakeCapability);
    report->_addCapabilities({capability});
    report->_addCapabilities({capability});
    EXPECT_EQ(report->getCapabilityCount(), 2U);
    EXPECT_EQ(capability->getReferenceCount(), 3U);
}

TEST(QrxHIDReport, DoesNotBecomeTheParentOfItsCapabilities)
{
    const mis::swizzler<FakeCollection> collection(new FakeCollection);
    const QrxHIDCapabilityPtr capability(new FakeCapability);
    collection->_addElements({capability});
    {
        const ReportPtr report(new FakeReport);
        report->_addCapabilities({capability});
        EXPECT_TRUE(capability->getParentCollection() == collection);
    }
    EXPECT_TRUE(capability->getParentCollection() == collection);
}

TEST(QrxHIDReport, AtItsEndReleasesItsCapabilitiesFirstToLast)
{
    Events events;
    {
        const ReportPtr report(new FakeReport);
        for (const char* const name : {"first", "second", "third"}) {
            const mis::swizzler<FakeCapability> capability(new FakeCapability);
            capability->obituary.write(events, name);
            report->_addCapabilities({capability});
        }
    }
    EXPECT_EQ(events, (Events{"first ends", "second ends", "third ends"}));
}

TEST(QrxHIDReport, PrintsItsSizeInBitsAndInWholeBytesRoundedDown)
{
    const ReportPtr report(new FakeReport(1, 3));
    report->sizeBits = 12;
    report->type = -5;
    const std::string start = "{ object id = # VCollectable.referenceCount = 1 HIDElement.interfaceNumber = 1 "
                              "HIDElement.reportID = 3 ";
    EXPECT_EQ(printed(*report),
              start + "HIDReport.reportSize = 12 HIDReport.reportByteSize = 1 HIDReport.reportType = -5 }");
    report->sizeBits = 7;
    EXPECT_EQ(printed(*report),
              start + "HIDReport.reportSize = 7 HIDReport.reportByteSize = 0 HIDReport.reportType = -5 }");
}

TEST(QrxHIDReport, AsksForItsSizeTwiceAndForItsTypeOnceWhilePrinting)
{
    const ReportPtr report(new FakeReport);
    printed(*report);
    EXPECT_EQ(report->asked, (Events{"getReportSize", "getReportSize", "getReportType"}));
}

TEST(QrxHIDReport, DoesNotPrintItsCapabilities)
{
    const ReportPtr report(new FakeReport);
    report->_addCapabilities({new FakeCapability});
    EXPECT_EQ(printed(*report, 5, 5).find("HIDCapability"), std::string::npos);
}

TEST(QrxHIDReport, OperationsThatABackendSuppliesReportThemselvesInTheBase)
{
    const FakeReport report;
    const CapturedStream err(std::cerr);
    EXPECT_EQ(report.QrxHIDReport::getReportSize(), 0U);
    EXPECT_EQ(report.QrxHIDReport::getReportType(), -1);
    EXPECT_EQ(err.text(), "virtual size_t QrxHIDReport::getReportSize() const is abstract\n"
                          "virtual int32_t QrxHIDReport::getReportType() const is abstract\n");
}
