#include "QrxVersion.h"

#include "QrxHIDDevice.h"
#include "QrxHandles.h"

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
