#include "LibraryTest.h"

#include "HID/ReportDescriptor.h"

#include <QrxHIDReport.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> recordingsIn(const fs::path& folder)
{
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".hid") {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files);
    return files;
}

class Recordings : public LibraryTest {
protected:
    /// Every event of the declared length, as the delegate gets it.
    void playThrough(const fs::path& file)
    {
        SCOPED_TRACE(file.filename().string());
        const QrxRecording recording = QrxRecording::readFile(file.string());
        QrxVirtualDevice device(recording);
        device.plug();
        const TreeHandle tree = populatedTree();
        if (declaresNothing(recording)) {
            EXPECT_EQ(0u, tree->getHIDDeviceCount()) << "a device without any report is no HID device";
            return;
        }
        ASSERT_EQ(1u, tree->getHIDDeviceCount());
        const DeviceHandle found = tree->getDeviceAtIndex(0);
        EXPECT_EQ(recording.getProductName(), found->getProductName());
        EXPECT_GT(found->getReportCount(), 0u);
        EXPECT_GT(found->getElementCount(), 0u);
        const auto interruptLog = playedEvents(device, found, recording);
        setQueueMode(true);
        const auto queueLog = playedEvents(device, found, recording);
        setQueueMode(false);
        compare(recording, *found, interruptLog->input, queueLog->input);
    }

    static bool declaresNothing(const QrxRecording& recording)
    {
        return std::ranges::all_of(recording.getInterfaces(), [](const QrxRecordedInterface& interface) {
            return qrx::hid::parseReportDescriptor(interface.getReportDescriptor()).fields.empty();
        });
    }

    std::shared_ptr<RecordingDeviceDelegate::Log> playedEvents(QrxVirtualDevice& device, const DeviceHandle& found,
                                                               const QrxRecording& recording)
    {
        auto log = std::make_shared<RecordingDeviceDelegate::Log>();
        RecordingDeviceDelegate delegate(log);
        found->setDelegate(&delegate);
        found->open();
        QrxRecordingPlayer player(recording, device);
        player.start(QrxRecordingPlayer::kAsFastAsTaken);
        EXPECT_TRUE(runUntil([&] { return player.isFinished(); }));
        runWhileBusy();
        found->close();
        found->setDelegate(nullptr);
        return log;
    }

    /// Bits of the input report with that number, the byte of the number counted; 0 if there is none.
    static std::size_t declaredBits(const QrxHIDDevice& device, int interfaceNumber, const Bytes& event)
    {
        for (unsigned int i = 0; i < device.getReportCount(); ++i) {
            const mis::swizzler<QrxHIDReport> report = device.getReportAtIndex(i);
            if (report->getInterfaceNumber() == interfaceNumber &&
                (report->getReportID() == 0 || (!event.empty() && report->getReportID() == event[0]))) {
                return report->getReportSize();
            }
        }
        return 0;
    }

    /// Interface by interface: those of one device are served in no promised order.
    void compare(const QrxRecording& recording, const QrxHIDDevice& device,
                 const std::vector<ReceivedReport>& interrupt, const std::vector<ReceivedReport>& queue)
    {
        for (std::size_t index = 0; index < recording.getInterfaces().size(); ++index) {
            const int number = recording.getInterfaces()[index].getNumber();
            SCOPED_TRACE("interface " + std::to_string(number));
            std::vector<std::string> expectedInterrupt, expectedDeclared;
            for (const QrxRecordedEvent& event : recording.getEvents()) {
                if (event.getInterfaceIndex() == index) {
                    expect(event.getBytes(), device, number, expectedInterrupt, expectedDeclared);
                }
            }
            EXPECT_EQ(expectedInterrupt, textsOf(interrupt, number)) << "interrupt mode";
            EXPECT_EQ(expectedDeclared, textsOf(queue, number)) << "queue mode";
        }
        _events += recording.getEvents().size();
    }

    /// Interrupt mode cuts to the largest report; queue mode cuts to the declared length and drops what is shorter.
    void expect(Bytes bytes, const QrxHIDDevice& device, int interfaceNumber, std::vector<std::string>& interrupt,
                std::vector<std::string>& queue)
    {
        const std::size_t declared = (declaredBits(device, interfaceNumber, bytes) + 7) / 8;
        _ofDeclaredLength += bytes.size() == declared ? 1 : 0;
        bytes.resize(std::min(bytes.size(), device.getInputReportSize(interfaceNumber)));
        interrupt.push_back(textOf(bytes));
        if (declared != 0 && bytes.size() >= declared) {
            bytes.resize(declared);
            queue.push_back(textOf(bytes));
        }
    }

    static std::string textOf(const Bytes& bytes) { return testing::PrintToString(ReceivedReport{bytes, 0}); }

    static std::vector<std::string> textsOf(const std::vector<ReceivedReport>& reports, int interfaceNumber)
    {
        std::vector<std::string> texts;
        for (const ReceivedReport& report : reports) {
            if (report.interfaceNumber == interfaceNumber) {
                texts.push_back(textOf(report.bytes));
            }
        }
        return texts;
    }

    std::size_t _events = 0;
    std::size_t _ofDeclaredLength = 0;
};

TEST_F(Recordings, OurOwnBuildTreesAndDeliverTheirEventsInBothModes)
{
    const std::vector<fs::path> files = recordingsIn(QRX_TEST_DATA);
    ASSERT_GE(files.size(), 4u);
    for (const fs::path& file : files) {
        playThrough(file);
    }
    EXPECT_GT(_events, 0u);
}

TEST_F(Recordings, RealDevicesBuildTreesAndDeliverTheirEventsInBothModes)
{
    const char* folder = std::getenv("QRX_RECORDINGS");
    if (folder == nullptr) {
        GTEST_SKIP() << "QRX_RECORDINGS is not set: no real device was played";
    }
    const std::vector<fs::path> files = recordingsIn(fs::path(folder) / "devices");
    for (const fs::path& file : files) {
        playThrough(file);
    }
    std::cout << files.size() << " devices, " << _events << " events, " << _ofDeclaredLength
              << " of them of the declared length\n";
    EXPECT_GE(files.size(), 100u);
    EXPECT_GT(_ofDeclaredLength, _events * 9 / 10);
}

TEST_F(Recordings, MalformedOnesEndInADiagnosisOrAreUnderstood)
{
    const char* folder = std::getenv("QRX_RECORDINGS");
    if (folder == nullptr) {
        GTEST_SKIP() << "QRX_RECORDINGS is not set: no malformed recording was read";
    }
    std::size_t refused = 0;
    for (const fs::path& file : recordingsIn(fs::path(folder) / "malformed")) {
        SCOPED_TRACE(file.filename().string());
        try {
            const QrxRecording recording = QrxRecording::readFile(file.string());
            QrxVirtualDevice device(recording);
            device.plug();
            const TreeHandle tree = populatedTree();
            if (tree->getHIDDeviceCount() == 1) {
                playedEvents(device, tree->getDeviceAtIndex(0), recording);
            }
        } catch (const QrxRecordingError& error) {
            EXPECT_EQ(0u, std::string(error.what()).find(file.string())) << error.what();
            ++refused;
        }
    }
    EXPECT_GE(refused, 5u);
}

} // namespace
