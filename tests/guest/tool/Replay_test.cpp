/// `qrxhid replay --uhid`: a recording as a device of the kernel.

#include "ToolRun.h"

#include "library/ChildProcess.h"
#include "support/GuestFiles.h"
#include "support/HidrawNode.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include <cstdio>
#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <unistd.h>

using namespace qrx::guest;

namespace {

constexpr const char* kMouse = "/data/recordings/wheel-mouse.hid";
constexpr const char* kKeyboard = "/data/recordings/boot-keyboard.hid";
constexpr const char* kNode = "/dev/uhid";
constexpr const char* kHiddenNode = "/dev/uhid.hidden";

/// What a program of the desktop sees of an input device: its events, by evdev.
class InputDevice {
public:
    /// Waits for one of that name.
    explicit InputDevice(const std::string& name)
    {
        std::string event;
        EXPECT_TRUE(waitUntil(
            [&] { return !(event = eventOf(name)).empty() && ::access(("/dev/input/" + event).c_str(), R_OK) == 0; }));
        waitForDriver(kEvents + event + "/device/device");
        _fd = ::open(("/dev/input/" + event).c_str(), O_RDONLY | O_CLOEXEC);
    }
    ~InputDevice() { ::close(_fd); }
    InputDevice(const InputDevice&) = delete;
    InputDevice& operator=(const InputDevice&) = delete;

    struct Event {
        unsigned type;
        unsigned code;
        int value;
        bool operator==(const Event&) const = default;
        friend void PrintTo(const Event& event, std::ostream* out)
        {
            *out << "type " << event.type << " code " << event.code << " value " << event.value;
        }
    };

    /// Movements and buttons, without the marks between reports and the numbers of keys.
    std::vector<Event> read(std::size_t count) const
    {
        std::vector<Event> events;
        pollfd waiting{_fd, POLLIN, 0};
        while (events.size() < count && ::poll(&waiting, 1, static_cast<int>(kPatience.count())) > 0) {
            input_event event{};
            if (::read(_fd, &event, sizeof event) != static_cast<ssize_t>(sizeof event)) {
                break;
            }
            if (event.type == EV_REL || event.type == EV_KEY) {
                events.push_back({event.type, event.code, event.value});
            }
        }
        return events;
    }

private:
    inline static const std::string kEvents = "/sys/class/input/";

    static std::string eventOf(const std::string& name)
    {
        for (const std::string& entry : listFolder(kEvents)) {
            if (entry.starts_with("event") && readAttribute(kEvents + entry + "/device/name") == name) {
                return entry;
            }
        }
        return {};
    }

    int _fd = -1;
};

/// The report node of the HID device of that name, by waiting.
std::string nodeOf(const std::string& name)
{
    const std::string folder = "/sys/class/hidraw/";
    std::string node;
    EXPECT_TRUE(waitUntil([&] {
        for (const std::string& entry : listFolder(folder)) {
            if (readFile(folder + entry + "/device/uevent").value_or("").find("HID_NAME=" + name + "\n") !=
                std::string::npos) {
                node = "/dev/" + entry;
            }
        }
        return !node.empty() && ::access(node.c_str(), R_OK) == 0;
    }));
    return node;
}

bool hasNoHIDDevice()
{
    return listFolder("/sys/bus/hid/devices").empty();
}

/// Nothing of an earlier test is there.
class Replay : public testing::Test {
protected:
    Replay() { EXPECT_TRUE(waitUntil(hasNoHIDDevice)); }
    ~Replay() override
    {
        ::rename(kHiddenNode, kNode);
        EXPECT_TRUE(waitUntil(hasNoHIDDevice));
    }
};

} // namespace

TEST_F(Replay, ARecordedMouseMovesThroughTheKernelsInputStack)
{
    ChildProcess replay({QRXHID_PROGRAM, "replay", "--uhid", "--when-open", kMouse});
    const InputDevice mouse("Qrx Demo Wheel Mouse");
    const std::vector<InputDevice::Event> expected = {
        {EV_REL, REL_X, 5},    {EV_REL, REL_Y, -5},   {EV_REL, REL_X, 12},    {EV_REL, REL_Y, -10},
        {EV_KEY, BTN_LEFT, 1}, {EV_KEY, BTN_LEFT, 0}, {EV_REL, REL_WHEEL, -1}};
    EXPECT_EQ(expected, mouse.read(expected.size()));
    // To its end: it ends by itself when all is played.
    replay.readUntil([](const std::string&) { return false; });
    EXPECT_EQ(0, replay.end());
    EXPECT_EQ("plugged  1209:0002  Qrx Demo Wheel Mouse, interface 0\nplayed   5 reports\n", replay.output());
}

TEST_F(Replay, AReportForTheDeviceIsTakenAndShown)
{
    ChildProcess replay({QRXHID_PROGRAM, "replay", "--uhid", "--stay", "--json", kKeyboard});
    HidrawNode node(nodeOf("Qrx Demo Boot Keyboard"));
    ASSERT_EQ(2, node.write({0, 2}));
    replay.readUntil([](const std::string& text) { return text.find("\"bytes\":\"02\"") != std::string::npos; });
    EXPECT_EQ(0, replay.end());
    EXPECT_NE(std::string::npos, replay.output().find("\"event\":\"took\"")) << replay.output();
    EXPECT_NE(std::string::npos, replay.output().find("\"type\":\"output\"")) << replay.output();
    EXPECT_NE(std::string::npos, replay.output().find("\"event\":\"played\"")) << replay.output();
}

TEST_F(Replay, TheDeviceLeavesWithTheProgram)
{
    {
        ChildProcess replay({QRXHID_PROGRAM, "replay", "--uhid", "--stay", kMouse});
        EXPECT_NE("", nodeOf("Qrx Demo Wheel Mouse"));
    }
    EXPECT_TRUE(waitUntil(hasNoHIDDevice));
}

TEST_F(Replay, WhoMayNotIsToldAndWhatWouldHelp)
{
    EXPECT_EQ((ToolRun{4, "qrxhid: you may not open /dev/uhid\nTry: sudo qrxhid replay --uhid FILE\n"}),
              runTool({"replay", "--uhid", kMouse}, kOrdinaryUser));
    ASSERT_EQ(0, ::rename(kNode, kHiddenNode));
    EXPECT_EQ((ToolRun{1, "qrxhid: /dev/uhid is not there: this kernel makes no devices for programs, or its module is "
                          "not loaded\nTry: sudo modprobe uhid\n"}),
              runTool({"replay", "--uhid", kMouse}));
}

TEST_F(Replay, ADescriptorThatNoDriverTakesIsToldAfterAWhile)
{
    constexpr const char* kBroken = "/tmp/broken.hid";
    std::ofstream(kBroken) << "R: 4 c0 c0 c0 c0\nN: Broken\nI: 3 1234 0009\nE: 000000.000000 1 00\n";
    const ToolRun run = runTool({"replay", "--uhid", kBroken});
    EXPECT_EQ(1, run.status);
    EXPECT_EQ(0U, run.text.find("qrxhid: /tmp/broken.hid: no driver of the kernel takes interface 0; ")) << run.text;
    ::unlink(kBroken);
}
