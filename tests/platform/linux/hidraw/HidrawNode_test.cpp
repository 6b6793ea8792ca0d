#include "FaultyCalls.h"
#include "RecordingSink.h"
#include "SysfsTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <fcntl.h>

namespace qrx::platform {
namespace {

using test::TreeDevice;

/// Refuses to open report nodes; what is no node is opened.
class GuardedNodes : public test::FaultyCalls {
public:
    int openAt(int directory, const char* path, int flags) override
    {
        if (directory == AT_FDCWD && std::string(path).find("/dev/hidraw") != std::string::npos) {
            ++attempts;
            if (interruptions > 0) {
                --interruptions;
                errno = EINTR;
                return -1;
            }
            const int error = (flags & O_ACCMODE) == O_RDWR ? writeError : readError;
            if (error != 0) {
                errno = error;
                return -1;
            }
            if (onOpen) {
                onOpen();
            }
        }
        return FaultyCalls::openAt(directory, path, flags);
    }

    int writeError = 0;
    int readError = 0;
    int attempts = 0;
    int interruptions = 0;
    std::function<void()> onOpen;
};

class HidrawNodes : public testing::Test {
protected:
    HidrawNodes()
    {
        device.interfaces = {test::hidInterface(0, 0), test::hidInterface(1, 1)};
        tree.plug(device);
        LinuxPaths paths = tree.paths();
        paths.calls = &calls;
        provider = makeLinuxProvider(paths);
        provider->refresh(sink);
    }
    Status open(std::size_t interface) { return sink.at("1-1").interfaces[interface].hid->open(channel); }
    /// Standard error of opening both nodes twice.
    std::string told(Status& last)
    {
        testing::internal::CaptureStderr();
        for (int times = 0; times < 2; ++times) {
            last = open(0);
            last = open(1);
        }
        return testing::internal::GetCapturedStderr();
    }
    /// The temporary folder's name taken out.
    std::string masked(std::string text)
    {
        const std::string root = tree.root().string();
        for (std::size_t at = text.find(root); at != std::string::npos; at = text.find(root)) {
            text.erase(at, root.size());
        }
        return text;
    }

    test::SysfsTree tree;
    TreeDevice device;
    GuardedNodes calls;
    test::RecordingSink sink;
    std::unique_ptr<Provider> provider;
    std::unique_ptr<HIDChannel> channel;
};

TEST_F(HidrawNodes, AreOpenedByOpenAlone)
{
    EXPECT_EQ(calls.attempts, 0);
    EXPECT_EQ(open(0), Status::success);
    EXPECT_EQ(calls.attempts, 1);
    ASSERT_NE(channel, nullptr);
    EXPECT_GE(channel->descriptor(), 0);
    EXPECT_EQ(calls.openDescriptors(), 1U);
    channel.reset();
    EXPECT_EQ(calls.openDescriptors(), 0U);
}

TEST_F(HidrawNodes, AreOpenedForReadingWhereWritingIsForbidden)
{
    for (const int error : {EACCES, EROFS}) {
        calls.writeError = error;
        EXPECT_EQ(open(0), Status::success);
        const std::uint8_t byte = 1;
        EXPECT_EQ(channel->setReport(ReportType::output, 0, {&byte, 1}), Status::notPermitted);
    }
}

TEST_F(HidrawNodes, ANodeThatMayOnlyBeReadIsToldOfAtLevelInfo)
{
    // In a process of its own: the level is chosen once.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto openReadOnly = [this] {
        ::setenv("QRX_LOG", "info", 1);
        calls.writeError = EROFS;
        std::exit(open(0) == Status::success ? 0 : 1);
    };
    EXPECT_EXIT(openReadOnly(), testing::ExitedWithCode(0), "/dev/hidraw0 may be read only: output is refused\n");
}

TEST_F(HidrawNodes, AnOpenThatIsInterruptedIsTriedAgain)
{
    calls.interruptions = 2;
    EXPECT_EQ(open(0), Status::success);
    EXPECT_EQ(calls.attempts, 3);
}

TEST_F(HidrawNodes, TellARefusalOncePerDeviceWithTheRuleThatHelps)
{
    calls.writeError = calls.readError = EACCES;
    Status last = Status::success;
    EXPECT_EQ(
        masked(told(last)),
        "QrxHIDManager: /dev/hidraw0 of 1234:abcd \"Mouse\" at 1-1 cannot be opened: Permission denied. This line "
        "in a file of /etc/udev/rules.d whose name sorts before 73 lets whoever sits at the machine use it: "
        "KERNEL==\"hidraw*\", ATTRS{idVendor}==\"1234\", ATTRS{idProduct}==\"abcd\", TAG+=\"uaccess\"\n");
    EXPECT_EQ(last, Status::notPrivileged);
}

TEST_F(HidrawNodes, TellARefusalAgainForADeviceThatIsPluggedAgain)
{
    calls.writeError = calls.readError = EACCES;
    Status last = Status::success;
    EXPECT_NE(told(last), "");
    tree.unplug("1-1");
    provider->refresh(sink);
    device.interfaces = {test::hidInterface(0, 4), test::hidInterface(1, 5)};
    tree.plug(device);
    provider->refresh(sink);
    EXPECT_NE(told(last), "");
}

TEST_F(HidrawNodes, BlameTheSandboxForWhatNoRuleCanAllow)
{
    calls.writeError = calls.readError = EPERM;
    Status last = Status::success;
    const std::string text = masked(told(last));
    EXPECT_EQ(text,
              "QrxHIDManager: /dev/hidraw0 of 1234:abcd \"Mouse\" at 1-1 cannot be opened: Operation not permitted. "
              "The container or sandbox does not let this program use the device.\n");
    EXPECT_EQ(last, Status::notPrivileged);
}

TEST_F(HidrawNodes, LetNoDeviceWriteLinesOfItsOwn)
{
    tree.unplug("1-1");
    device.productText = "a\nQrxHIDManager: \x1b[2Jb";
    tree.plug(device);
    provider->refresh(sink);
    calls.writeError = calls.readError = EACCES;
    Status last = Status::success;
    const std::string text = told(last);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_NE(text.find("of 1234:abcd \"a\\x0aQrxHIDManager: \\x1b[2Jb\" at 1-1 cannot be opened"), std::string::npos);
}

TEST_F(HidrawNodes, MayBecomeAccessibleLater)
{
    calls.writeError = calls.readError = EACCES;
    Status last = Status::success;
    told(last);
    calls.writeError = calls.readError = 0;
    EXPECT_EQ(open(0), Status::success);
}

TEST_F(HidrawNodes, AnswerOtherErrorsWithoutALine)
{
    const std::pair<int, Status> cases[] = {{ENOENT, Status::notAttached},
                                            {ENODEV, Status::notAttached},
                                            {ENXIO, Status::notAttached},
                                            {EIO, Status::ioError}};
    for (const auto& [error, status] : cases) {
        calls.writeError = error;
        Status last = Status::success;
        EXPECT_EQ(told(last), "") << error;
        EXPECT_EQ(last, status) << error;
    }
}

TEST_F(HidrawNodes, TellALackOfDescriptorsOrMemoryAndMayBeOpenedLater)
{
    for (const auto& [error, status] : {std::pair(EMFILE, Status::noResources), std::pair(ENOMEM, Status::noMemory)}) {
        calls.writeError = error;
        Status last = Status::success;
        const std::string line = "QrxHIDManager: /dev/hidraw0 of 1234:abcd \"Mouse\" at 1-1 cannot be opened: " +
                                 std::generic_category().message(error) + ".\n";
        EXPECT_EQ(masked(told(last)).substr(0, line.size()), line);
        EXPECT_EQ(last, status);
    }
    calls.writeError = 0;
    EXPECT_EQ(open(0), Status::success);
}

TEST_F(HidrawNodes, ThatCannotBeLookedAtHaveNotLeftForThat)
{
    constexpr int kLookAfterOpening = 2;
    calls.failCall(kLookAfterOpening, ENOMEM);
    EXPECT_EQ(open(0), Status::noMemory);
    EXPECT_EQ(channel, nullptr);
    EXPECT_EQ(calls.openDescriptors(), 0U);
}

TEST_F(HidrawNodes, OutliveTheirDeviceAndTheProvider)
{
    const std::shared_ptr<HIDPort> port = sink.at("1-1").interfaces[0].hid;
    tree.unplug("1-1");
    // Another device has got the number.
    test::SysfsTree::write(tree.node(0), "");
    EXPECT_EQ(port->open(channel), Status::notAttached);
    provider->refresh(sink);
    EXPECT_EQ(port->open(channel), Status::notAttached);
    provider.reset();
    EXPECT_EQ(port->open(channel), Status::notAttached);
    EXPECT_EQ(channel, nullptr);
    EXPECT_EQ(calls.openDescriptors(), 0U);
}

TEST_F(HidrawNodes, AreNotConfusedWithTheNextDeviceThatGetsTheNumber)
{
    const std::shared_ptr<HIDPort> port = sink.at("1-1").interfaces[0].hid;
    calls.onOpen = [this] {
        tree.unplug("1-1");
        TreeDevice next = device;
        next.interfaces = {test::hidInterface(0, 0)};
        next.interfaces[0].hidNumber = 77;
        tree.plug(next);
    };
    EXPECT_EQ(port->open(channel), Status::notAttached);
    EXPECT_EQ(channel, nullptr);
    EXPECT_EQ(calls.openDescriptors(), 0U);
}

TEST_F(HidrawNodes, ThatTheKernelDidNotMakeAreToldOnce)
{
    TreeDevice nodeless;
    nodeless.name = "1-2";
    nodeless.interfaces = {test::hidInterface(3, 8)};
    nodeless.interfaces[0].hidraw = -1;
    nodeless.connectedMs = 2000000;
    tree.plug(nodeless);
    provider->refresh(sink);
    const auto port = sink.at("1-2").interfaces[0].hid;
    ASSERT_NE(port, nullptr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(port->open(channel), Status::unsupported);
    EXPECT_EQ(port->open(channel), Status::unsupported);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QrxHIDManager: Interface 3 of 1234:abcd \"Mouse\" at 1-2 has no report node: the kernel has 64 of them, "
              "and some drivers make none.\n");
}

TEST_F(HidrawNodes, OpenOrRefuseWhicheverCallFails)
{
    for (const int error : {EINTR, EIO, EMFILE, ENODEV}) {
        for (int number = 1; number <= 3; ++number) {
            calls.failCall(number, error);
            const Status status = open(0);
            calls.failNone();
            EXPECT_EQ(status == Status::success, channel != nullptr) << number << " " << error;
            channel.reset();
            EXPECT_EQ(calls.openDescriptors(), 0U);
            EXPECT_EQ(open(0), Status::success);
            channel.reset();
        }
    }
}

} // namespace
} // namespace qrx::platform
