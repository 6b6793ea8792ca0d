#include "CommandNode.h"

#include <gtest/gtest.h>

namespace {

std::valarray<signed char> threeBytes()
{
    return {1, -2, 3};
}

} // namespace

TEST(CommandNode, ANewRecordIsEmpty)
{
    CommandNode node;
    EXPECT_EQ(node.getReportType(), 0U);
    EXPECT_EQ(node.getReportId(), 0U);
    EXPECT_EQ(node.getInterfaceNumber(), 0);
    EXPECT_EQ(node.getPath(), "");
    EXPECT_EQ(node.getReportLen(), 0U);
    EXPECT_EQ(node.getReportAt(0), 0);
    EXPECT_FALSE(node.setReportAt(0, 5));
}

TEST(CommandNode, FieldsKeepWhatTheyAreGiven)
{
    CommandNode node;
    node.setReportType(2);
    node.setReportId(7);
    node.setInterfaceNumber(-1);
    node.setPath("a/path");
    EXPECT_EQ(node.getReportType(), 2U);
    EXPECT_EQ(node.getReportId(), 7U);
    EXPECT_EQ(node.getInterfaceNumber(), -1);
    EXPECT_EQ(node.getPath(), "a/path");
}

TEST(CommandNode, BytesAreStoredBelowTheLengthOnly)
{
    CommandNode node;
    node.resizeReport(4);
    EXPECT_TRUE(node.setReportAt(3, -1));
    EXPECT_EQ(node.getReportAt(3), -1);
    EXPECT_FALSE(node.setReportAt(4, 1));
    EXPECT_EQ(node.getReportAt(4), 0);
    EXPECT_EQ(node.getReportLen(), 4U);
}

TEST(CommandNode, AResizeToThePresentLengthClearsInTheSameStorage)
{
    CommandNode node;
    node.setReport(threeBytes());
    const signed char* const storage = &node.getReport()[0];
    node.resizeReport(3);
    EXPECT_EQ(node.getReportLen(), 3U);
    EXPECT_EQ(&node.getReport()[0], storage);
    for (unsigned long index = 0; index < 3; ++index)
        EXPECT_EQ(node.getReportAt(index), 0) << "byte " << index;
}

TEST(CommandNode, AResizeToAnotherLengthClearsAsWell)
{
    CommandNode node;
    node.setReport(threeBytes());
    node.resizeReport(2);
    EXPECT_EQ(node.getReportLen(), 2U);
    EXPECT_EQ(node.getReportAt(0), 0);
    EXPECT_EQ(node.getReportAt(1), 0);
}

TEST(CommandNode, ANewReportReplacesLengthAndBytes)
{
    CommandNode node;
    node.resizeReport(8);
    node.setReport(threeBytes());
    EXPECT_EQ(node.getReportLen(), 3U);
    EXPECT_EQ(node.getReportAt(0), 1);
    EXPECT_EQ(node.getReportAt(1), -2);
    EXPECT_EQ(node.getReportAt(2), 3);
}

TEST(CommandNode, ANewReportOfTheSameLengthKeepsTheStorage)
{
    CommandNode node;
    node.resizeReport(3);
    const signed char* const storage = &node.getReport()[0];
    node.setReport(threeBytes());
    EXPECT_EQ(&node.getReport()[0], storage);
    EXPECT_EQ(node.getReportAt(1), -2);
}

TEST(CommandNode, AnEmptyReportLeavesNone)
{
    CommandNode node;
    node.setReport(threeBytes());
    node.setReport(std::valarray<signed char>());
    EXPECT_EQ(node.getReportLen(), 0U);
}

TEST(CommandNode, ItsOwnReportMayBeSetAgain)
{
    CommandNode node;
    node.setReport(threeBytes());
    node.setReport(node.getReport());
    EXPECT_EQ(node.getReportLen(), 3U);
    EXPECT_EQ(node.getReportAt(2), 3);
}

TEST(CommandNode, TheReportIsTheRecordsOwn)
{
    CommandNode node;
    node.resizeReport(1);
    node.getReport()[0] = 9;
    EXPECT_EQ(node.getReportAt(0), 9);
}

TEST(CommandNode, ACopyIsIndependent)
{
    CommandNode node;
    node.setReport(threeBytes());
    CommandNode copy(node);
    copy.setReportAt(0, 100);
    EXPECT_EQ(node.getReportAt(0), 1);
    EXPECT_EQ(copy.getReportLen(), 3U);
}
