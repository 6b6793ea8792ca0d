#include "Linux/policy/ArrivalGate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qrx::platform {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;

const ArrivalGate::Time kStart{seconds(100)};

TEST(ArrivalGate, KeepsTheFirstMomentOfADevice)
{
    ArrivalGate gate;
    gate.wait("1-1", kStart + seconds(1));
    gate.wait("1-1", kStart + seconds(5));
    EXPECT_EQ(gate.nextExpiry(), kStart + seconds(1));
}

TEST(ArrivalGate, GivesExpiredDevicesOnceTheLongestWaitingFirst)
{
    ArrivalGate gate;
    gate.wait("1-1", kStart + seconds(3));
    gate.wait("1-2", kStart + seconds(2));
    gate.wait("1-3", kStart + seconds(4));
    EXPECT_THAT(gate.takeExpired(kStart), ElementsAre());
    EXPECT_THAT(gate.takeExpired(kStart + seconds(3)), ElementsAre("1-2", "1-1"));
    EXPECT_THAT(gate.takeExpired(kStart + seconds(3)), ElementsAre());
    EXPECT_EQ(gate.nextExpiry(), kStart + seconds(4));
}

TEST(ArrivalGate, ForgetsADeviceThatIsNotWaitedForAnyMore)
{
    ArrivalGate gate;
    gate.wait("1-1", kStart);
    EXPECT_TRUE(gate.isWaiting("1-1"));
    gate.forget("1-1");
    EXPECT_FALSE(gate.isWaiting("1-1"));
    EXPECT_EQ(gate.nextExpiry(), std::nullopt);
    EXPECT_THAT(gate.takeExpired(kStart), ElementsAre());
}

} // namespace
} // namespace qrx::platform
