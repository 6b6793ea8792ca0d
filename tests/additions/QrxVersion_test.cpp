#include "QrxVersion.h"

#include "QrxDeviceIdentity.h"
#include "QrxHIDDevice.h"
#include "QrxHandles.h"
#include "QrxInput.h"
#include "QrxOutcome.h"
#include "QrxReportLayout.h"
#include "QrxVirtualDevice.h"

#include <QrxHIDManager/QrxRunLoop.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <unordered_set>

namespace {

TEST(Version, OfTheLibraryIsThatOfTheHeadersAndOfTheProject)
{
    EXPECT_EQ(static_cast<unsigned>(QRX_VERSION), QrxGetVersion());
    EXPECT_EQ(QRX_PROJECT_VERSION, std::to_string(QRX_VERSION_MAJOR) + "." + std::to_string(QRX_VERSION_MINOR) + "." +
                                       std::to_string(QRX_VERSION_PATCH));
}

TEST(Headers, AreOneByBareNameAndBelowTheFolder)
{
    // QrxRunLoop.h came by its folder; by its bare name it must not come again.
#include "QrxRunLoop.h"
    EXPECT_EQ(0, static_cast<int>(QrxRunLoop::Outcome::finished));
}

// Programs that were built with an earlier version of the same SONAME have these sizes built in.
TEST(Values, KeepTheirSizes)
{
    constexpr std::size_t kPointer = sizeof(void*);
    EXPECT_EQ(kPointer, sizeof(QrxVirtualIdentity));
    EXPECT_EQ(kPointer, sizeof(QrxVirtualInterface));
    EXPECT_EQ(kPointer, sizeof(QrxSentReport));
    EXPECT_EQ(kPointer, sizeof(QrxRecordedInterface));
    EXPECT_EQ(kPointer, sizeof(QrxRecordedEvent));
    EXPECT_EQ(kPointer, sizeof(QrxRecording));
    EXPECT_EQ(kPointer, sizeof(QrxReportValues));
    EXPECT_EQ(kPointer, sizeof(QrxReportField));
    EXPECT_EQ(2 * kPointer, sizeof(QrxReportLayout));
    EXPECT_EQ(2 * kPointer, sizeof(QrxDeviceIdentity));
    EXPECT_EQ(2 * kPointer, sizeof(QrxInputCounts));
    EXPECT_EQ(2 * kPointer, sizeof(QrxVirtualDevice));
    EXPECT_EQ(sizeof(std::error_code) + 2 * kPointer, sizeof(QrxOutcome));
    EXPECT_EQ(24u, sizeof(QrxUsageValue)) << "the structure that stays one";
}

TEST(Values, AreIndependentOfTheirCopies)
{
    QrxVirtualIdentity identity(1, 2);
    const QrxVirtualIdentity before = identity;
    identity.setVendorID(3).setSerialNumber("S");
    EXPECT_EQ(1, before.getVendorID());
    EXPECT_EQ("", before.getSerialNumber());
    EXPECT_EQ(2, identity.getProductID());
    QrxRecording recording;
    recording.getInterfaces().emplace_back(0, std::vector<std::uint8_t>{5}).setName("first");
    QrxRecording copy = recording;
    copy.getInterfaces().front().setName("second");
    copy.getEvents().emplace_back(7, 0, std::vector<std::uint8_t>{1});
    EXPECT_EQ("first", recording.getInterfaces().front().getName());
    EXPECT_TRUE(recording.getEvents().empty());
    recording = copy;
    recording.getEvents().front().setTimeUs(8);
    EXPECT_EQ("second", recording.getInterfaces().front().getName());
    EXPECT_EQ(7u, copy.getEvents().front().getTimeUs());
}

class Counted : public mis::VCollectable<unsigned int> {};

TEST(Handles, AreKeysByTheObjectThatTheyHold)
{
    using Handle = mis::swizzler<Counted>;
    const Handle first(new Counted);
    const Handle second(new Counted);
    const std::unordered_set<Handle> hashed{first, second, first, Handle()};
    EXPECT_EQ(3u, hashed.size());
    EXPECT_EQ(1u, hashed.count(second));
    std::map<Handle, int> ordered{{first, 1}, {second, 2}};
    ordered[first] = 3;
    EXPECT_EQ(2u, ordered.size());
    EXPECT_EQ(3, ordered.at(first));
    EXPECT_FALSE(std::less<Handle>()(first, first));
    EXPECT_NE(std::less<Handle>()(first, second), std::less<Handle>()(second, first));
}

} // namespace
