/// What stands where a report node should be may be anything.

#include "FaultyCalls.h"
#include "RecordingSink.h"
#include "SysfsTree.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace qrx::platform {
namespace {

namespace fs = std::filesystem;

using Next = HIDChannel::Next;

/// A device of two interfaces; what stands for its first node is the case's.
class HostileNodes : public testing::Test {
protected:
    HostileNodes()
    {
        test::TreeDevice device;
        device.interfaces = {test::hidInterface(0, 0), test::hidInterface(1, 1)};
        tree.plug(device);
        fs::remove(node);
    }
    ~HostileNodes() override
    {
        channel.reset();
        EXPECT_EQ(calls.openDescriptors(), 0U);
    }

    Status open()
    {
        LinuxPaths paths = tree.paths();
        paths.calls = &calls;
        test::setWaits(paths, std::chrono::seconds(1)); // which has passed long ago
        makeLinuxProvider(paths)->refresh(sink);
        const DeviceFacts& facts = sink.at("1-1");
        std::unique_ptr<HIDChannel> other;
        EXPECT_EQ(facts.interfaces.at(1).hid->open(other), Status::success) << "the other one is served";
        return facts.interfaces.at(0).hid->open(channel);
    }
    Next take()
    {
        std::span<const std::uint8_t> report;
        return channel->takeReport(report);
    }
    Status set(ReportType type)
    {
        const std::uint8_t byte = 1;
        return channel->setReport(type, 0, {&byte, 1});
    }
    Status get()
    {
        std::uint8_t buffer[8];
        std::size_t size = 0;
        return channel->getReport(ReportType::feature, 0, buffer, size);
    }

    test::SysfsTree tree;
    const fs::path node = tree.node(0);
    test::FaultyCalls calls;
    test::RecordingSink sink;
    std::unique_ptr<HIDChannel> channel;
};

TEST_F(HostileNodes, AFolderCannotBeOpened)
{
    fs::create_directory(node);
    EXPECT_EQ(open(), Status::error);
    EXPECT_EQ(channel, nullptr);
}

TEST_F(HostileNodes, ALinkToItselfIsNoNode)
{
    fs::create_symlink(node, node);
    EXPECT_NE(open(), Status::success);
    EXPECT_EQ(channel, nullptr);
}

TEST_F(HostileNodes, ASocketIsNoDevice)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(node.string().size(), sizeof address.sun_path);
    node.string().copy(address.sun_path, sizeof address.sun_path);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(open(), Status::notAttached);
    ::close(fd);
}

TEST_F(HostileNodes, AFileIsADeviceThatHasLeft)
{
    test::SysfsTree::write(node, "");
    ASSERT_EQ(open(), Status::success);
    EXPECT_EQ(take(), Next::gone);
    EXPECT_EQ(set(ReportType::feature), Status::unsupported);
    EXPECT_EQ(get(), Status::unsupported);
}

TEST_F(HostileNodes, AFullPipeIsAnsweredAtOnce)
{
    ASSERT_EQ(::mkfifo(node.c_str(), 0600), 0);
    ASSERT_EQ(open(), Status::success);
    EXPECT_EQ(take(), Next::empty);
    EXPECT_EQ(get(), Status::unsupported);
    Status status = Status::success;
    for (int count = 0; status == Status::success && count < 1000000; ++count) {
        status = set(ReportType::output);
    }
    EXPECT_NE(status, Status::success);
}

TEST_F(HostileNodes, AnEndlessFileGivesReportsAndBlocksNobody)
{
    fs::create_symlink("/dev/zero", node);
    ASSERT_EQ(open(), Status::success);
    for (int count = 0; count < 1000; ++count) {
        EXPECT_EQ(take(), Next::report);
    }
    EXPECT_EQ(set(ReportType::feature), Status::unsupported);
}

TEST_F(HostileNodes, AFileThatTakesNothingSaysSo)
{
    fs::create_symlink("/dev/full", node);
    ASSERT_EQ(open(), Status::success);
    EXPECT_EQ(set(ReportType::output), Status::noResources);
}

} // namespace
} // namespace qrx::platform
