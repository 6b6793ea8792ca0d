/// The guest itself: what a program finds there, and the way back to the host.

#include "support/GuestFiles.h"
#include "support/HostControl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

using namespace qrx::guest;
using testing::HasSubstr;

TEST(Boot, TheProgramRunsAsRootOnDebiansKernel)
{
    EXPECT_EQ(::getuid(), 0U);
    EXPECT_THAT(readFile("/proc/version").value_or(""), HasSubstr("Debian"));
}

TEST(Boot, TheUsbHidDriversAreLoaded)
{
    const std::string modules = readFile("/proc/modules").value_or("");
    for (const char* module : {"usbhid ", "hid_generic ", "uhid ", "xhci_pci "})
        EXPECT_THAT(modules, HasSubstr(module));
}

TEST(Boot, DebugfsShowsTheHidDevices)
{
    EXPECT_EQ(::access("/sys/kernel/debug/hid", R_OK), 0);
}

TEST(HostControl, ACommandToQemuIsAnswered)
{
    HostControl host;
    EXPECT_THAT(host.qmp(R"({"execute":"query-status"})"), HasSubstr("running"));
}

TEST(HostControl, AnUnknownCommandIsAnsweredWithAnError)
{
    HostControl host;
    EXPECT_THAT(host.qmp(R"({"execute":"no-such-command"})"), HasSubstr("CommandNotFound"));
}
