#include "LibraryWorld.h"

#include <QrxHIDReport.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>

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
        ASSERT_EQ(1u, tree->getHIDDeviceCount());
        const DeviceHandle found = tree->getDeviceAtIndex(0);
        EXPECT_EQ(recording.productName, found->getProductName());
        EXPECT_GT(found->getReportCount(), 0u);
        EXPECT_GT(found->getElementCount(), 0u);
        const auto interruptLog = playedEvents(device, found, recording);
        setQueueMode(true);
        const auto queueLog = playedEvents(device, found, recording);
        setQueueMode(false);
        compare(recording, *found, interruptLog->input, queueLog->input);
    }

    std::shared_ptr<RecordingDeviceDelegate::Log> playedEvents(QrxVirtualDevice& device, const DeviceHandle& found,
                                                               const QrxRecording& recording)
    {
        auto log = openWithLog(found);
        QrxRecordingPlayer player(recording, device);
        player.start(QrxRecordingPlayer::kAsFastAsTaken);
        EXPECT_TRUE(runUntil([&] { return player.isFinished(); }));
        runWhileBusy();
        found->close();
        return log;
    }

    /// Bits of the input report with that number, the byte of the number counted; 0 if there is none.
    static std::size_t declaredBits(const QrxHIDDevice& device, const Bytes& event)
    {
        for (unsigned int i = 0; i < device.getReportCount(); ++i) {
            const mis::swizzler<QrxHIDReport> report = device.getReportAtIndex(i);
            if (report->getReportID() == 0 || (!event.empty() && report->getReportID() == event[0])) {
                return report->getReportSize();
            }
        }
        return 0;
    }

    void compare(const QrxRecording& recording, const QrxHIDDevice& device,
                 const std::vector<ReceivedReport>& interrupt, const std::vector<ReceivedReport>& queue)
    {
        const std::size_t largest = device.getInputReportSize();
        std::vector<Bytes> expectedInterrupt, expectedDeclared;
        for (const QrxRecordedEvent& event : recording.events) {
            Bytes bytes = event.bytes;
            bytes.resize(std::min(bytes.size(), largest));
            expectedInterrupt.push_back(bytes);
            const std::size_t declared = (declaredBits(device, event.bytes) + 7) / 8;
            if (declared != 0 && bytes.size() >= declared) {
                bytes.resize(declared);
                expectedDeclared.push_back(bytes);
            }
            _ofDeclaredLength += event.bytes.size() == declared ? 1 : 0;
        }
        EXPECT_EQ(expectedInterrupt, bytesOf(interrupt)) << "interrupt mode";
        EXPECT_EQ(expectedDeclared, bytesOf(queue)) << "queue mode";
        _events += recording.events.size();
    }

    static std::vector<Bytes> bytesOf(const std::vector<ReceivedReport>& reports)
    {
        std::vector<Bytes> all;
        for (const ReceivedReport& report : reports) {
            all.push_back(report.bytes);
        }
        return all;
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
