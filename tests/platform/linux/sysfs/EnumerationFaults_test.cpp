#include "FaultyCalls.h"
#include "Linux/sysfs/DeviceScan.h"
#include "Linux/sysfs/NodeReadiness.h"
#include "Linux/sysfs/ReportNodes.h"
#include "RecordingSink.h"
#include "SysfsTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrx::platform {
namespace {

using test::hidInterface;
using test::TreeDevice;

namespace fs = std::filesystem;

/// Two composite devices; the first one is to suffer, the second one must be served in any case.
class EnumerationFaults : public testing::Test {
protected:
    EnumerationFaults()
    {
        victim.name = "1-1";
        victim.interfaces = {hidInterface(0, 0), hidInterface(1, 1)};
        victim.interfaces[1].name = "Second";
        other = victim;
        other.name = "1-2";
        other.interfaces = {hidInterface(0, 2), hidInterface(1, 3)};
        tree->plug(victim);
        tree->plug(other);
    }

    LinuxPaths paths()
    {
        LinuxPaths paths = tree->paths();
        paths.calls = &calls;
        return paths;
    }
    int callsOfARefresh()
    {
        test::RecordingSink sink;
        calls.resetCount();
        makeLinuxProvider(paths())->refresh(sink);
        return calls.count();
    }

    /// Files, folders and links, the deepest first.
    std::vector<fs::path> filesOfTheVictim() const
    {
        std::vector<fs::path> files;
        for (const auto& entry : fs::recursive_directory_iterator(tree->devicePath("1-1"))) {
            files.push_back(entry.path());
        }
        EXPECT_GT(files.size(), 40U);
        std::sort(files.rbegin(), files.rend());
        return files;
    }
    /// Whatever the victim's file is.
    void expectTheOtherIsServed(const fs::path& file);

    std::unique_ptr<test::SysfsTree> tree = std::make_unique<test::SysfsTree>();
    test::FaultyCalls calls;
    TreeDevice victim;
    TreeDevice other;
};

bool shows(const test::RecordingSink& sink, const std::string& place)
{
    return std::any_of(sink.devices().begin(), sink.devices().end(),
                       [&](const auto& entry) { return entry.second.place == place; });
}

void EnumerationFaults::expectTheOtherIsServed(const fs::path& file)
{
    test::RecordingSink sink;
    makeLinuxProvider(paths())->refresh(sink);
    ASSERT_TRUE(shows(sink, "1-2")) << file;
    const DeviceFacts& facts = sink.at("1-2");
    EXPECT_EQ(facts.productName, other.productText) << file;
    EXPECT_EQ(facts.interfaces.size(), 2U) << file;
    EXPECT_EQ(calls.openDescriptors(), 0U) << file;
}

TEST_F(EnumerationFaults, AllCallsMayFailFromAnyPointOn)
{
    const int count = callsOfARefresh();
    for (int number = 1; number <= count; ++number) {
        test::RecordingSink sink;
        const auto provider = makeLinuxProvider(paths());
        calls.failFrom(number, EIO);
        provider->refresh(sink);
        calls.failNone();
        EXPECT_EQ(calls.openDescriptors(), 0U) << number;
    }
}

TEST_F(EnumerationFaults, NoAnswerIsNoRemoval)
{
    test::RecordingSink sink;
    const auto provider = makeLinuxProvider(paths());
    provider->refresh(sink);
    sink.takeLog();
    calls.resetCount();
    provider->refresh(sink);
    const int count = calls.count();
    for (const int error : {EMFILE, ENOMEM, EIO, EINTR}) {
        for (int number = 1; number <= count; ++number) {
            calls.failCall(number, error);
            provider->refresh(sink);
            EXPECT_EQ(sink.takeLog(), "") << "call " << number << " errno " << error;
        }
    }
}

TEST_F(EnumerationFaults, ADeviceMayVanishBeforeAnyCall)
{
    const int count = callsOfARefresh();
    for (int number = 1; number <= count; ++number) {
        test::RecordingSink sink;
        const auto provider = makeLinuxProvider(paths());
        calls.beforeCall(number, [&] { tree->unplug("1-1"); });
        provider->refresh(sink);
        EXPECT_TRUE(shows(sink, "1-2")) << "before call " << number;
        calls.beforeCall(0, nullptr);
        provider->refresh(sink);
        EXPECT_FALSE(shows(sink, "1-1")) << "before call " << number;
        EXPECT_EQ(calls.openDescriptors(), 0U);
        tree->plug(victim);
    }
}

/// Whether the report nodes are said to be whole when their one link cannot be read for this error.
bool areNodesWholeAfter(int error)
{
    test::SysfsTree tree;
    TreeDevice device;
    device.interfaces = {hidInterface(0, 0)};
    tree.plug(device);
    const std::string folder = tree.paths().sysfs + "/class/hidraw";
    test::FaultyCalls calls;
    ReportNodes nodes;
    EXPECT_EQ(nodes.read(calls, folder), SysfsDirectory::Result::done);
    EXPECT_NE(nodes.find("1-1:1.0"), nullptr);
    // The same once more, with the link's call failing.
    std::istringstream lines(calls.trace());
    int number = 0;
    for (std::string line; std::getline(lines, line) && !line.starts_with("readlink");) {
        ++number;
    }
    calls.failCall(number + 1, error);
    EXPECT_EQ(nodes.read(calls, folder), SysfsDirectory::Result::done);
    EXPECT_EQ(calls.failures(), 1);
    EXPECT_EQ(nodes.find("1-1:1.0"), nullptr);
    return nodes.isWhole();
}

TEST(ReportNodes, AreWholeWithoutANodeThatHasGoneButNotWithoutOneThatCouldNotBeRead)
{
    EXPECT_TRUE(areNodesWholeAfter(ENOENT));
    EXPECT_FALSE(areNodesWholeAfter(EIO));
    EXPECT_FALSE(areNodesWholeAfter(ENOMEM));
}

TEST(DeviceScan, AListHoldsTheDevicesOfItsLookAlone)
{
    test::SysfsTree tree;
    TreeDevice device;
    device.interfaces = {hidInterface(0, 0)};
    tree.plug(device);
    const LinuxPaths paths = tree.paths();
    SystemCalls& calls = SystemCalls::kernel();
    NodeReadiness nodes(calls, paths.device, paths.run, paths.times.nodeAge);
    DeviceScan scan(calls, paths.sysfs, paths.device, nodes);
    std::vector<ListedDevice> devices;
    for (int look = 1; look <= 2; ++look) {
        EXPECT_TRUE(scan.list(devices));
        EXPECT_EQ(devices.size(), 1U) << look;
    }
    fs::remove_all(paths.sysfs + "/bus");
    EXPECT_TRUE(scan.list(devices));
    EXPECT_TRUE(devices.empty()) << "a machine without USB has none";
}

TEST_F(EnumerationFaults, AnyFileMayBeMissing)
{
    for (const fs::path& file : filesOfTheVictim()) {
        tree->unplug("1-1");
        tree->plug(victim);
        fs::remove_all(file);
        expectTheOtherIsServed(file);
    }
}

TEST_F(EnumerationFaults, AnyFileMayBeEmptyOrFullOfNoise)
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(tree->devicePath("1-1"))) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    for (const fs::path& file : files) {
        for (const std::string& text : {std::string(), std::string(5000, '\xEE'), std::string("-1\n")}) {
            tree->unplug("1-1");
            tree->plug(victim);
            test::SysfsTree::write(file, text);
            test::RecordingSink sink;
            makeLinuxProvider(paths())->refresh(sink);
            EXPECT_TRUE(shows(sink, "1-2")) << file;
        }
    }
}

TEST_F(EnumerationFaults, AnyFileMayBeAFolderAndAnyFolderAFile)
{
    for (const fs::path& file : filesOfTheVictim()) {
        tree->unplug("1-1");
        tree->plug(victim);
        const bool isFolder = fs::is_directory(file);
        fs::remove_all(file);
        if (isFolder) {
            test::SysfsTree::write(file, "text");
        } else {
            fs::create_directory(file);
        }
        expectTheOtherIsServed(file);
    }
}

TEST_F(EnumerationFaults, AnyFileMayBeEndlessOrALinkToItselfOrAPipe)
{
    for (const fs::path& file : filesOfTheVictim()) {
        for (const fs::path& target : {fs::path("/dev/zero"), fs::path("/dev/full"), file, fs::path("/nowhere")}) {
            tree->unplug("1-1");
            tree->plug(victim);
            fs::remove_all(file);
            fs::create_symlink(target, file);
            expectTheOtherIsServed(file);
        }
        fs::remove(file);
        ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0) << file;
        expectTheOtherIsServed(file);
    }
}

TEST_F(EnumerationFaults, APipeInPlaceOfAnAttributeIsNotWaitedFor)
{
    const fs::path file = tree->devicePath("1-1") / "product";
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    // With a writer who writes nothing: without one, a pipe ends at once.
    const int writer = ::open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    test::RecordingSink sink;
    const auto provider = makeLinuxProvider(paths());
    provider->startWatching(sink);
    EXPECT_EQ(sink.takeLog(), "+ 1-1 hid 2\n+ 1-2 hid 2\n");
    EXPECT_FALSE(sink.at("1-1").productName);
    ::close(writer);
}

TEST_F(EnumerationFaults, StrangeNamesAreNoDevices)
{
    const fs::path bus = tree->root() / "sys/bus/usb/devices";
    for (const std::string& name :
         {std::string("1-"), std::string("x"), std::string("1-1:"), std::string("1-99999999999"),
          std::string("1-1:1.999"), std::string(250, '1'), std::string("9-9:1.0")}) {
        fs::create_directory(bus / name);
    }
    test::RecordingSink sink;
    makeLinuxProvider(paths())->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "+ 1-1 hid 2\n+ 1-2 hid 2\n");
}

} // namespace
} // namespace qrx::platform
