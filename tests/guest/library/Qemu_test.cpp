/// Devices that QEMU emulates, seen by the library and by the tool.

#include "ChildProcess.h"
#include "Library.h"

#include "support/HidrawNode.h"
#include "support/QemuDevices.h"

#include <QrxReportDecoder.h>

#include <algorithm>
#include <map>

using namespace qrx::guest;

namespace {

using Usage = std::pair<unsigned int, unsigned int>;
using Values = std::map<Usage, std::int64_t>;

constexpr unsigned int kInput = 0;
constexpr Usage kX{1, 0x30};
constexpr Usage kY{1, 0x31};
constexpr Usage kLeftButton{9, 1};
constexpr Usage kKeyA{7, 4};

class Qemu : public Library {
protected:
    /// Runs until the device has sent another report, and what that says.
    Values nextValues(const DeviceHandle& device, const std::shared_ptr<RecordingDeviceDelegate::Log>& log,
                      std::size_t reports)
    {
        Values values;
        if (runUntil([&] { return log->input.size() >= reports; })) {
            const Bytes& bytes = log->input.at(reports - 1).bytes;
            for (const QrxDecodedValue& one : QrxDecodeReport(*device, kInput, bytes.data(), bytes.size(), 0)) {
                values[{one.getUsagePage(), one.getUsage()}] = one.getValue();
            }
        }
        return values;
    }

    QemuDevices qemu;
};

/// Reads what a node gives beside the library, and so knows what lies in everyone's queue.
bool waitForReports(HidrawNode& node, std::size_t count)
{
    std::size_t read = 0;
    while (read < count && !node.readReport().empty()) {
        ++read;
    }
    return read == count;
}

} // namespace

TEST_F(Qemu, AKeyboardAndAMouseBehindAHubAreReadAndLeaveWithIt)
{
    const TreeHandle tree = observingTree();
    qemu.plug("usb-hub", "hub", "1");
    qemu.plug("usb-kbd", "keyboard", "1.1");
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 1; }));
    qemu.plug("usb-mouse", "mouse", "1.2");
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 2; }));
    EXPECT_EQ(told.arrivals, (Names{"QEMU USB Keyboard", "QEMU USB Mouse"}));
    const DeviceHandle keyboard = tree->getDeviceAtIndex(0);
    const DeviceHandle mouse = tree->getDeviceAtIndex(1);
    const auto keys = openWithLog(keyboard);
    const auto moves = openWithLog(mouse);

    qemu.typeKey("a");
    EXPECT_EQ(nextValues(keyboard, keys, 1)[kKeyA], 1);
    EXPECT_FALSE(nextValues(keyboard, keys, 2).contains(kKeyA));
    qemu.moveMouse(5, -3);
    const Values moved = nextValues(mouse, moves, 1);
    EXPECT_EQ(moved.at(kX), 5);
    EXPECT_EQ(moved.at(kY), -3);
    qemu.setButton("left", true);
    EXPECT_EQ(nextValues(mouse, moves, 2)[kLeftButton], 1);
    qemu.setButton("left", false);
    EXPECT_EQ(nextValues(mouse, moves, 3)[kLeftButton], 0);

    const CapturedOutput output;
    qemu.pull("hub");
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
    EXPECT_EQ(output.text(), "device notification: id 2\ndevice notification: id 2\n");
    keyboard->close();
    mouse->close();
}

TEST_F(Qemu, DevicesBehindAHubThatIsPulledLeaveOnceInOrderAndAfterTheirQueuedReports)
{
    const TreeHandle tree = observingTree();
    qemu.plug("usb-hub", "hub", "1");
    qemu.plug("usb-kbd", "keyboard", "1.1");
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 1; }));
    const std::string keyboardNode = "/dev/" + listFolder("/sys/class/hidraw").at(0);
    qemu.plug("usb-mouse", "mouse", "1.2");
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 2; }));
    std::vector<std::string> nodes = listFolder("/sys/class/hidraw");
    ASSERT_EQ(nodes.size(), 2U);
    const std::string mouseNode = "/dev/" + (keyboardNode.ends_with(nodes[0]) ? nodes[1] : nodes[0]);
    ChildProcess watch({QRXHID_PROGRAM, "watch"});
    ASSERT_TRUE(watch.waitForLines("present", 2)) << watch.output();
    ASSERT_TRUE(waitUntil([&] { return watch.openNodes() == 2; }));
    const DeviceHandle keyboard = tree->getDeviceAtIndex(0);
    const DeviceHandle mouse = tree->getDeviceAtIndex(1);
    const auto keys = openWithLog(keyboard);
    const auto moves = openWithLog(mouse);
    std::vector<unsigned int> devicesAtReports;
    keys->onInput = moves->onInput = [&] { devicesAtReports.push_back(tree->getHIDDeviceCount()); };
    {
        HidrawNode keyboardBeside(keyboardNode);
        HidrawNode mouseBeside(mouseNode);
        // QEMU makes one of moves that nobody has polled yet.
        for (int count = 0; count < 3; ++count) {
            qemu.typeKey("a");
            ASSERT_TRUE(waitForReports(keyboardBeside, 2));
            qemu.moveMouse(1, 1);
            ASSERT_TRUE(waitForReports(mouseBeside, 1));
        }
    }

    const CapturedOutput output;
    qemu.pull("hub");
    ASSERT_TRUE(waitUntilBusIsEmpty());
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
    runWhileBusy();
    EXPECT_EQ(keys->input.size(), 6U);
    EXPECT_EQ(moves->input.size(), 3U);
    EXPECT_EQ(devicesAtReports, std::vector<unsigned int>(9, 2U)) << "all was delivered before any removal was told";
    EXPECT_EQ(output.text(), "device notification: id 2\ndevice notification: id 2\n");
    EXPECT_EQ(told.arrivals, (Names{"QEMU USB Keyboard", "QEMU USB Mouse"}));
    ASSERT_TRUE(watch.waitForLines("left", 2)) << watch.output();
    EXPECT_EQ(watch.end(), 0);
    const std::string& shown = watch.output();
    EXPECT_LT(shown.find("left     #1  0627:0001  QEMU QEMU USB Keyboard"),
              shown.find("left     #2  0627:0001  QEMU QEMU USB Mouse"))
        << shown;
    EXPECT_LT(shown.find("report   #2"), shown.find("left     #2")) << shown;
    keyboard->close();
    mouse->close();
}

TEST_F(Qemu, TheToolShowsAMouseThatArrivesMovesAndLeaves)
{
    ChildProcess watch({QRXHID_PROGRAM, "watch"});
    // It observes once it listens to the kernel.
    ASSERT_TRUE(waitUntil([&] {
        const std::vector<std::string> files = watch.openFiles();
        return std::any_of(files.begin(), files.end(),
                           [](const std::string& file) { return file.find("inotify") != std::string::npos; });
    }));
    qemu.plug("usb-mouse", "mouse", "1");
    ASSERT_TRUE(watch.waitForLines("arrived")) << watch.output();
    ASSERT_TRUE(waitUntil([&] { return watch.openNodes() == 1; }));
    qemu.moveMouse(12, -7);
    ASSERT_TRUE(watch.waitForLines("report", 1)) << watch.output();
    qemu.setButton("left", true);
    ASSERT_TRUE(watch.waitForLines("report", 2)) << watch.output();
    qemu.setButton("left", false);
    ASSERT_TRUE(watch.waitForLines("report", 3)) << watch.output();
    qemu.pull("mouse");
    ASSERT_TRUE(watch.waitForLines("left")) << watch.output();
    EXPECT_EQ(watch.end(), 0);
    const std::optional<std::string> expected = readFile(QRX_MOUSE_TRANSCRIPT);
    ASSERT_TRUE(expected);
    EXPECT_EQ(watch.output(), *expected);
}
