#include "HidapiTest.h"

namespace qrx::tests {

namespace {

class HidapiRequests : public HidapiTest {
protected:
    HidapiRequests() : plain(recordingOf(plainDevice())), numbered(recordingOf(numberedDevice()))
    {
        plain.plug();
        numbered.plug();
        for (QrxVirtualDevice* device : {&plain, &numbered}) {
            device->setSentReportHandler([this](const QrxSentReport& report) {
                sent.push_back(std::to_string(report.getReportType()) + "/" + std::to_string(report.getReportID()) +
                               ":");
                for (const std::uint8_t byte : report.getBytes()) {
                    sent.back() += " " + std::to_string(byte);
                }
                return !refuses;
            });
        }
        plainHandle = openFirst(1);
        numberedHandle = openFirst(2);
    }

    QrxVirtualDevice plain;
    QrxVirtualDevice numbered;
    std::vector<std::string> sent;
    bool refuses = false;
    OpenHandle plainHandle;
    OpenHandle numberedHandle;
};

TEST_F(HidapiRequests, TheZeroBeforeAnUnnumberedReportIsNotSent)
{
    const Bytes bytes{0, 7, 8};
    EXPECT_EQ(hid_write(plainHandle.get(), bytes.data(), bytes.size()), 3);
    EXPECT_EQ(hid_send_feature_report(plainHandle.get(), bytes.data(), bytes.size()), 3);
    EXPECT_EQ(sent, (std::vector<std::string>{"1/0: 7 8", "2/0: 7 8"}));
}

TEST_F(HidapiRequests, TheNumberOfANumberedReportIsSent)
{
    const Bytes output{2, 1, 2, 3, 4};
    const Bytes feature{3, 1, 2, 3, 4};
    EXPECT_EQ(hid_write(numberedHandle.get(), output.data(), output.size()), 5);
    EXPECT_EQ(hid_send_feature_report(numberedHandle.get(), feature.data(), feature.size()), 5);
    EXPECT_EQ(sent, (std::vector<std::string>{"1/2: 2 1 2 3 4", "2/3: 3 1 2 3 4"}));
}

TEST_F(HidapiRequests, ARefusedReportIsAnErrorThatSaysSo)
{
    refuses = true;
    const Bytes bytes{0, 7, 8};
    EXPECT_EQ(hid_write(plainHandle.get(), bytes.data(), bytes.size()), -1);
    EXPECT_EQ(errorOf(plainHandle.get()), "The device refused the report (stall)");
    EXPECT_EQ(hid_send_feature_report(plainHandle.get(), bytes.data(), bytes.size()), -1);
    refuses = false;
    EXPECT_EQ(hid_write(plainHandle.get(), bytes.data(), bytes.size()), 3);
    EXPECT_EQ(errorOf(plainHandle.get()), "Success");
}

TEST_F(HidapiRequests, ReportsWithoutDataAreRefused)
{
    Bytes bytes{0};
    EXPECT_EQ(hid_write(plainHandle.get(), bytes.data(), 1), -1);
    EXPECT_EQ(errorOf(plainHandle.get()), "A report is at least two bytes long: its number, or 0, and its data");
    EXPECT_EQ(hid_write(plainHandle.get(), bytes.data(), 0), -1);
    EXPECT_EQ(errorOf(plainHandle.get()), "Zero buffer/length");
    EXPECT_EQ(hid_write(plainHandle.get(), nullptr, 3), -1);
    EXPECT_EQ(hid_send_feature_report(plainHandle.get(), nullptr, 3), -1);
    EXPECT_EQ(hid_get_feature_report(plainHandle.get(), bytes.data(), 1), -1);
    EXPECT_EQ(hid_get_feature_report(plainHandle.get(), nullptr, 3), -1);
    EXPECT_EQ(hid_get_input_report(plainHandle.get(), nullptr, 3), -1);
    EXPECT_TRUE(sent.empty());
}

TEST_F(HidapiRequests, AnUnnumberedReportIsReadBehindItsZero)
{
    plain.setReportRequestHandler([](int, unsigned int type, unsigned int, Bytes& answer) {
        answer = {static_cast<std::uint8_t>(type), 9};
        return true;
    });
    Bytes bytes(8, 0xEE);
    bytes[0] = 0;
    EXPECT_EQ(hid_get_feature_report(plainHandle.get(), bytes.data(), bytes.size()), 3);
    EXPECT_EQ(bytes, (Bytes{0, 2, 9, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(hid_get_input_report(plainHandle.get(), bytes.data(), bytes.size()), 3);
    EXPECT_EQ(bytes, (Bytes{0, 0, 9, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST_F(HidapiRequests, ANumberedReportIsReadWithItsNumber)
{
    numbered.setReportRequestHandler([](int, unsigned int, unsigned int id, Bytes& answer) {
        answer = {static_cast<std::uint8_t>(id), 5, 6, 7, 8};
        return true;
    });
    Bytes bytes(5);
    bytes[0] = 3;
    EXPECT_EQ(hid_get_feature_report(numberedHandle.get(), bytes.data(), bytes.size()), 5);
    EXPECT_EQ(bytes, (Bytes{3, 5, 6, 7, 8}));
    Bytes few{3, 0, 0};
    EXPECT_EQ(hid_get_feature_report(numberedHandle.get(), few.data(), few.size()), 3);
    EXPECT_EQ(few, (Bytes{3, 5, 6}));
}

TEST_F(HidapiRequests, ARequestThatIsRefusedLeavesTheBuffer)
{
    plain.setReportRequestHandler([](int, unsigned int, unsigned int, Bytes&) { return false; });
    Bytes bytes{0, 1, 2, 3};
    EXPECT_EQ(hid_get_feature_report(plainHandle.get(), bytes.data(), bytes.size()), -1);
    EXPECT_EQ(bytes, (Bytes{0, 1, 2, 3}));
}

TEST_F(HidapiRequests, EverythingFailsAfterTheUnplug)
{
    plain.unplug();
    Bytes bytes{0, 1, 2};
    EXPECT_EQ(hid_write(plainHandle.get(), bytes.data(), bytes.size()), -1);
    EXPECT_EQ(errorOf(plainHandle.get()), "The device has left");
    EXPECT_EQ(hid_send_feature_report(plainHandle.get(), bytes.data(), bytes.size()), -1);
    EXPECT_EQ(hid_get_feature_report(plainHandle.get(), bytes.data(), bytes.size()), -1);
    EXPECT_EQ(hid_get_input_report(plainHandle.get(), bytes.data(), bytes.size()), -1);
}

} // namespace

} // namespace qrx::tests
