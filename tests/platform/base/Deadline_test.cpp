#include "Base/Deadline.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using qrx::platform::Deadline;
using std::chrono::nanoseconds;

TEST(Deadline, OfNoTimeHasPassedAndLeavesNothing)
{
    for (const double seconds :
         {0.0, -0.0, -1.0, -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_TRUE(Deadline::after(seconds).passed()) << seconds;
        EXPECT_EQ(Deadline::after(seconds).remaining(), nanoseconds(0)) << seconds;
    }
    EXPECT_TRUE(Deadline::now().passed());
}

TEST(Deadline, AboveSixteenYearsNeverPasses)
{
    for (const double seconds : {504911232.1, 1e10, std::numeric_limits<double>::infinity()}) {
        EXPECT_FALSE(Deadline::after(seconds).passed()) << seconds;
        EXPECT_EQ(Deadline::after(seconds).remaining(), std::nullopt) << seconds;
    }
    EXPECT_NE(Deadline::after(504911232.0).remaining(), std::nullopt);
    EXPECT_FALSE(Deadline::after(504911232.0).passed());
}

TEST(Deadline, OfAnotherTimeLeavesLessAndLessOfIt)
{
    const Deadline deadline = Deadline::after(1000);
    const auto first = deadline.remaining();
    const auto second = deadline.remaining();
    ASSERT_TRUE(first && second);
    EXPECT_LE(*first, std::chrono::seconds(1000));
    EXPECT_GT(*second, std::chrono::seconds(900));
    EXPECT_LE(*second, *first);
    EXPECT_FALSE(deadline.passed());
}

TEST(Deadline, ThatHasComeLeavesNothingRatherThanLessThanNothing)
{
    const Deadline deadline = Deadline::after(1e-9);
    while (!deadline.passed()) {
    }
    EXPECT_EQ(deadline.remaining(), nanoseconds(0));
}

} // namespace
