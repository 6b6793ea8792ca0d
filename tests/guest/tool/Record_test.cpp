/// What `qrxhid record` makes of the kernel's devices.

#include "QemuRecording.h"
#include "ToolRun.h"

#include "library/ChildProcess.h"
#include "library/Library.h"

#include <QrxRecording.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include <unistd.h>

using namespace qrx::guest;

namespace {

constexpr const char* kShipped = "/data/recordings/";
constexpr const char* kFile = "/tmp/composite.hid";

/// Without what may differ from one recording to the next: words to people, times, the place where the device is
/// plugged, and the serial number, in which QEMU names that place.
std::string masked(const std::string& text)
{
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("# ") || line == "#") {
            continue;
        }
        line = std::regex_replace(line, std::regex("^E: [0-9]{6}\\.[0-9]{6} "), "E: TIME ");
        line = std::regex_replace(line, std::regex("^P: .*"), "P: ");
        line = std::regex_replace(line, std::regex("^#@ serial-number: .+"), "#@ serial-number: SERIAL");
        result += line + "\n";
    }
    return result;
}

class QemuRecordings : public testing::TestWithParam<std::string> {};

/// A keyboard with a panel of its own and an interface that is not HID, as one device.
VhciDevice compositeDevice()
{
    UsbIdentity identity = identityOf("Ærø 北京 \\ 🎹", 0xC0DE);
    identity.manufacturer = "Prøve";
    identity.serial = "S-1";
    identity.release = 0x0219;
    UsbInterface vendor;
    vendor.isHid = false;
    UsbInterface numbered = hidInterface(qrx::guest::numberedDescriptor());
    numbered.name = "Zahlen";
    numbered.subclass = 1;
    numbered.protocol = 2;
    return {identity, {hidInterface(plainDescriptor(8)), vendor, numbered}};
}

class CompositeRecording : public Library {
protected:
    /// What becomes of `qrxhid record` when the device sends something and leaves.
    ToolRun recordWhile(const std::function<void()>& send)
    {
        ::unlink(kFile);
        ChildProcess record({QRXHID_PROGRAM, "record", "--keep-serial", "--device", "1234:c0de", "--output", kFile});
        // Open it is only when the call returns: before that the kernel throws away what comes.
        if (!waitUntil([&] { return record.openNodes() == 2; })) {
            return {-1, record.output()};
        }
        send();
        pullWhole(plug);
        record.readUntil([](const std::string&) { return false; });
        const int status = record.end();
        return {status, record.output()};
    }

    VhciDevice plug = compositeDevice();
};

/// What a command of the tool says of the device of the machine, or of its recording.
std::string shown(std::vector<std::string> words, bool isRecorded)
{
    words.emplace_back(isRecorded ? "--recording" : "--device");
    words.emplace_back(isRecorded ? kFile : "1234:c0de");
    const ToolRun run = runTool(words);
    EXPECT_EQ(run.status, 0) << run.text;
    return run.text;
}

/// A recorded device has no report nodes.
std::string withoutNodes(const std::string& list)
{
    return std::regex_replace(list, std::regex(", /dev/hidraw[0-9]+"), "");
}

/// Object ids differ from run to run.
std::string maskedDump(const std::string& text)
{
    return std::regex_replace(text, std::regex("object id = [0-9]+"), "object id = ID");
}

} // namespace

TEST_P(QemuRecordings, AreWhatTheDeviceIsAndDoesToday)
{
    const std::optional<std::string> shipped = readFile(kShipped + GetParam() + ".hid");
    ASSERT_TRUE(shipped);
    EXPECT_EQ(masked(recordQemuDevice(GetParam())), masked(*shipped));
}

INSTANTIATE_TEST_SUITE_P(Shipped, QemuRecordings, testing::ValuesIn(qemuRecordingNames()),
                         [](const auto& test) { return test.param.substr(test.param.find('-') + 1); });

TEST_F(CompositeRecording, IsTheSameDeviceAgainWhenItIsPlayed)
{
    plugWhole(plug);
    const std::string list = withoutNodes(shown({"list"}, false));
    const std::string tree = shown({"tree"}, false);
    const std::string json = shown({"tree", "--json"}, false);
    const std::string dump = shown({"dump"}, false);
    const ToolRun record = recordWhile([this] {
        for (std::uint8_t number = 0; number < 3; ++number) {
            sendQueued(plug, 0, pattern(8, number));
        }
    });
    EXPECT_EQ(record, (ToolRun{0, "qrxhid: the device has left\n"}));
    EXPECT_EQ(shown({"list"}, true), list);
    EXPECT_EQ(shown({"tree"}, true), tree);
    EXPECT_EQ(shown({"tree", "--json"}, true), json);
    EXPECT_EQ(maskedDump(shown({"dump"}, true)), maskedDump(dump));
}

TEST_F(CompositeRecording, ListTellsPlaceSerialNumberAndNodesOfADeviceThatIsChosenByThem)
{
    plugWhole(plug);
    const std::vector<std::string> nodes = waitForHidrawNodes(0x1234, 0xC0DE, 2);
    ASSERT_EQ(nodes.size(), 2U);
    const std::string list = shown({"list"}, false);
    std::smatch place;
    ASSERT_TRUE(std::regex_search(list, place, std::regex("\n    at ([0-9]+-[0-9.]+), serial number S-1\n"))) << list;
    for (const std::string& node : nodes) {
        EXPECT_NE(list.find(", " + node + "\n"), std::string::npos) << node << list;
    }
    EXPECT_EQ(shown({"list", "--serial", "S-1"}, false), list);
    EXPECT_EQ(shown({"list", "--port", place[1]}, false), list);
    EXPECT_EQ(runTool({"list", "--port", "9-9", "--device", "1234:c0de"}).status, 1);
    EXPECT_EQ(shown({"list", "--interface", "2"}, false).find("interface 0"), std::string::npos);
}

TEST_F(CompositeRecording, HasEveryReportOfEveryInterfaceAsItCame)
{
    plugWhole(plug);
    const Bytes first{1, 2, 3, 4, 5, 6, 7, 8, 9};
    const Bytes second{2, 0xFD, 0xFE, 0xFF};
    const ToolRun record = recordWhile([&] {
        sendQueued(plug, 2, first);
        sendQueued(plug, 0, pattern(8, 1));
        sendQueued(plug, 2, second);
        sendQueued(plug, 2, first);
    });
    EXPECT_EQ(record, (ToolRun{0, "qrxhid: the device has left\n"}));
    const QrxRecording recording = QrxRecording::readFile(kFile);
    EXPECT_EQ(recording.getProductName(), "Ærø 北京 \\ 🎹");
    EXPECT_EQ(recording.getVendorName(), "Prøve");
    EXPECT_EQ(recording.getSerialNumber(), "S-1");
    EXPECT_EQ(recording.getReleaseNumber(), 0x0219);
    ASSERT_EQ(recording.getInterfaces().size(), 2U);
    EXPECT_EQ(recording.getInterfaces()[1].getNumber(), 2);
    EXPECT_EQ(recording.getInterfaces()[1].getName(), "Zahlen");
    EXPECT_EQ(recording.getInterfaces()[1].getSubclass(), 1);
    EXPECT_EQ(recording.getInterfaces()[1].getProtocol(), 2);
    EXPECT_EQ(hex(recording.getInterfaces()[1].getReportDescriptor()), hex(qrx::guest::numberedDescriptor()));
    std::vector<ReceivedReport> events;
    for (const QrxRecordedEvent& event : recording.getEvents()) {
        events.push_back({event.getBytes(), recording.getInterfaces()[event.getInterfaceIndex()].getNumber()});
    }
    // Interfaces have nodes of their own, so reports of two that wait together may change places.
    std::stable_sort(events.begin(), events.end(), [](const ReceivedReport& a, const ReceivedReport& b) {
        return a.interfaceNumber < b.interfaceNumber;
    });
    EXPECT_EQ(events, (std::vector<ReceivedReport>{{pattern(8, 1), 0}, {first, 2}, {second, 2}, {first, 2}}));
}

TEST_F(CompositeRecording, NothingThatWasQueuedAtTheUnplugIsLostToWatchEither)
{
    plugWhole(plug);
    ChildProcess watch({QRXHID_PROGRAM, "watch"});
    ASSERT_TRUE(waitUntil([&] { return watch.openNodes() == 2; })) << watch.output();
    sendQueued(plug, 0, pattern(8, 1));
    sendQueued(plug, 2, {2, 0xFD, 0xFE, 0xFF});
    pullWhole(plug);
    ASSERT_TRUE(watch.waitForLines("left")) << watch.output();
    EXPECT_EQ(watch.end(), 0);
    for (const char* line :
         {"report   #1  interface 0: 01 08 0f 16 1d 24 2b 32\n", "report   #1  interface 2: 02 fd fe ff\n"}) {
        EXPECT_NE(watch.output().find(line), std::string::npos) << line << watch.output();
    }
}

TEST_F(CompositeRecording, WatchTellsAfterWhichReportsOthersMayBeMissing)
{
    plugWhole(plug);
    ChildProcess watch({QRXHID_PROGRAM, "watch"});
    ASSERT_TRUE(waitUntil([&] { return watch.openNodes() == 2; })) << watch.output();
    watch.pause();
    constexpr std::uint8_t kQueued = 63;
    for (std::uint8_t number = 0; number < kQueued + 7; ++number) {
        sendQueued(plug, 0, pattern(8, number));
    }
    watch.resume();
    ASSERT_TRUE(watch.waitForLines("loss?")) << watch.output();
    sendQueued(plug, 0, pattern(8, 100));
    ASSERT_TRUE(watch.waitForLines("report ", kQueued + 1)) << watch.output();
    EXPECT_EQ(watch.end(), 0);
    std::istringstream lines(watch.output());
    std::size_t before = 0;
    for (std::string line; std::getline(lines, line) && !line.starts_with("loss?");) {
        before += line.starts_with("report ") ? 1 : 0;
    }
    EXPECT_EQ(before, kQueued);
    EXPECT_NE(watch.output().find("loss?    #1  reports of interface 0 may be missing: the queue behind it was found "
                                  "full, 1 time so far\n"),
              std::string::npos)
        << watch.output();
}
