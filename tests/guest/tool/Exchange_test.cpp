/// `qrxhid send` and `qrxhid get` with a device of the kernel.

#include "AccessFixture.h"
#include "ToolRun.h"

#include "support/Waiting.h"

#include <algorithm>
#include <thread>

using namespace qrx::guest;

namespace {

constexpr std::uint8_t kGetReport = 0x01;

/// A composite device with an interface of 8 byte reports and a numbered one, without a tree of the test's own.
class Exchange : public Library {
protected:
    Exchange() { plugWhole(plug); }

    static ToolRun ask(std::vector<std::string> words, unsigned userID = 0)
    {
        words.insert(words.end(), {"--device", "1234:00b1"});
        return runTool(std::move(words), userID);
    }
    /// Neither a report nor a request for one has come.
    void expectSilence()
    {
        EXPECT_TRUE(plug.takeSentReports().empty());
        const auto requests = plug.takeControlRequests();
        EXPECT_TRUE(std::none_of(requests.begin(), requests.end(),
                                 [](const SetupPacket& one) { return one.request == kGetReport; }));
    }

    VhciDevice plug{identityOf("exchange", 0xB1),
                    {hidInterface(plainDescriptor(8)), hidInterface(qrx::guest::numberedDescriptor())}};
};

std::string reasonOf(const ToolRun& run)
{
    return run.text.substr(0, run.text.find('\n'));
}

} // namespace

TEST_F(Exchange, OutputReportsArriveAsTheyWereGiven)
{
    EXPECT_EQ((ToolRun{0, "sent output report of interface 0: 01 02 03 04 05 06 07 08\n"}),
              ask({"send", "0102030405060708", "--type", "output", "--interface", "0"}));
    std::vector<SentReport> sent = plug.waitForSentReports(1);
    ASSERT_EQ(1U, sent.size());
    EXPECT_EQ(0U, sent[0].interface);
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8}), sent[0].bytes);
    EXPECT_EQ((ToolRun{0, "sent output report 2 of interface 1: 02 07 08 09\n"}),
              ask({"send", "02", "07", "08", "09", "--type", "output", "--interface", "1"}));
    sent = plug.waitForSentReports(1);
    ASSERT_EQ(1U, sent.size());
    EXPECT_EQ(1U, sent[0].interface);
    EXPECT_EQ((Bytes{2, 7, 8, 9}), sent[0].bytes);
}

TEST_F(Exchange, FeatureReportsArriveAsRequests)
{
    EXPECT_EQ((ToolRun{0, "sent feature report 2 of interface 1: 02 07 08 09\n"}),
              ask({"send", "02070809", "--type", "feature", "--interface", "1"}));
    const std::vector<SentReport> sent = plug.waitForSentReports(1);
    ASSERT_EQ(1U, sent.size());
    EXPECT_EQ(UsbReportType::feature, sent[0].type);
    EXPECT_TRUE(sent[0].byControlRequest);
    EXPECT_EQ((Bytes{2, 7, 8, 9}), sent[0].bytes);
}

TEST_F(Exchange, FeatureAndInputReportsAreAskedFor)
{
    plug.setReport(0, UsbReportType::feature, 0, {1, 2, 3, 4, 5, 6, 7, 8});
    plug.setReport(1, UsbReportType::input, 2, {2, 20, 21, 22});
    ToolRun run = ask({"get", "--interface", "0"});
    EXPECT_EQ(0, run.status) << run.text;
    EXPECT_EQ("feature report of interface 0: 01 02 03 04 05 06 07 08", reasonOf(run));
    run = ask({"get", "--type", "input", "--report", "2", "--json"});
    EXPECT_EQ(0, run.status) << run.text;
    EXPECT_NE(std::string::npos, run.text.find("\"bytes\": \"02141516\"")) << run.text;
    EXPECT_NE(std::string::npos, run.text.find("\"value\": 22")) << run.text;
}

TEST_F(Exchange, ALengthThatTheDeviceDoesNotDeclareReachesNoWire)
{
    for (const std::string bytes : {"01020304050607", "010203040506070809"}) {
        const ToolRun run = ask({"send", bytes, "--type", "output", "--interface", "0"});
        EXPECT_EQ(64, run.status) << run.text;
        EXPECT_EQ("qrxhid: the output report of interface 0 has 8 bytes, these are " + std::to_string(bytes.size() / 2),
                  reasonOf(run));
    }
    expectSilence();
}

TEST_F(Exchange, AStallIsTheDevicesRefusal)
{
    plug.answerGetReport(0, Answer::stall);
    plug.answerSetReport(0, Answer::stall);
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"get", "--interface", "0"},
          std::vector<std::string>{"send", "0102030405060708", "--type", "feature", "--interface", "0"}}) {
        const ToolRun run = ask(words);
        EXPECT_EQ(1, run.status);
        EXPECT_TRUE(run.text.starts_with("qrxhid: 1234:00b1 at ")) << run.text;
        EXPECT_NE(std::string::npos, run.text.find("The device refused the request.")) << run.text;
    }
}

TEST_F(Exchange, ADeviceThatDoesNotAnswerIsToldAfterTheKernelsTimeLimit)
{
    plug.answerGetReport(0, Answer::silence);
    const ToolRun run = ask({"get", "--interface", "0"});
    EXPECT_EQ(1, run.status);
    EXPECT_NE(std::string::npos, run.text.find("feature report was not ")) << run.text;
}

TEST_F(Exchange, ADeviceThatLeavesInTheMiddleIsTold)
{
    plug.answerGetReport(0, Answer::silence);
    plug.takeControlRequests();
    std::thread puller([this] {
        EXPECT_TRUE(waitUntil([this] {
            const auto requests = plug.takeControlRequests();
            return std::any_of(requests.begin(), requests.end(),
                               [](const SetupPacket& one) { return one.request == kGetReport; });
        }));
        plug.unplug();
    });
    const ToolRun run = ask({"get", "--interface", "0"});
    puller.join();
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(run.text.starts_with("qrxhid: 1234:00b1")) << run.text;
}

TEST_F(Exchange, WhoMayNotOpenItIsSentToTheDoctor)
{
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"get", "--interface", "0"},
          std::vector<std::string>{"send", "0102030405060708", "--type", "output", "--interface", "0"},
          std::vector<std::string>{"watch", "--interface", "0", "--time", "0.2"},
          std::vector<std::string>{"top", "--interface", "0", "--time", "0.2", "--json"}}) {
        const ToolRun run = ask(words, kOrdinaryUser);
        EXPECT_EQ(4, run.status) << run.text;
        EXPECT_NE(std::string::npos, run.text.find("\nTry: qrxhid doctor 1234:00b1\n")) << run.text;
    }
    expectSilence();
}
