/// The guest with and without udevd.

#include "devices/UhidDevice.h"
#include "rig_tests/Descriptors.h"
#include "support/Udevd.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace qrx::guest;

namespace {

unsigned modeOf(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

} // namespace

TEST(Udevd, WithoutItANodeBelongsToRootAlone)
{
    EXPECT_NE(::access("/run/udev/control", F_OK), 0);
    UhidDevice device(UhidIdentity{}, plainDescriptor(4));
    EXPECT_EQ(modeOf(device.waitForNode()), 0600U);
}

TEST(Udevd, ARuleOfTheTestIsAppliedToPresentAndComingDevices)
{
    UhidDevice present(UhidIdentity{}, plainDescriptor(4));
    ASSERT_NE(present.waitForNode(), "");
    {
        const Udevd udevd("KERNEL==\"hidraw*\", MODE=\"0624\"\n");
        EXPECT_EQ(::access("/run/udev/control", F_OK), 0);
        EXPECT_EQ(modeOf(present.waitForNode()), 0624U);
        UhidIdentity identity;
        identity.phys = "coming/0";
        UhidDevice coming(identity, plainDescriptor(4));
        const std::string node = coming.waitForNode();
        EXPECT_TRUE(waitUntil([&] { return modeOf(node) == 0624U; }));
    }
    EXPECT_NE(::access("/run/udev/control", F_OK), 0) << "it is gone with its object";
}
