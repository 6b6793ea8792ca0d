/// The text of scripts, and what a virtual device makes of it.

#include "QrxVirtualDevice.h"
#include "RecordingRegistry.h"

#include <QrxRunLoop.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <sstream>
#include <thread>

namespace {

using namespace qrx::platform;
using Bytes = std::vector<std::uint8_t>;
using Reports = std::vector<Bytes>;

QrxVirtualScript scriptOf(const std::string& text)
{
    std::istringstream stream(text);
    return QrxVirtualScript::read(stream, "made.faults");
}

/// Why a script cannot be read.
std::string faultOf(const std::string& text)
{
    try {
        scriptOf(text);
    } catch (const QrxRecordingError& error) {
        return error.what();
    }
    return "none";
}

TEST(QrxVirtualScript, ReadsEveryRuleOfItsManual)
{
    const QrxVirtualScript script = scriptOf("# a comment\n\n  seed 7   # at its end\r\n"
                                             "report 5: drop\nreport 5 on 2: double, swap\nevery 3 reports: id 0a\n"
                                             "chance 10%: cut to 2\nchance 0% on 255: pad to 8\nafter 2 s: unplug\n"
                                             "after 1 min: plug after 3 ms\nwhen output 01 ?? FF: refuse\n"
                                             "when feature 02 ...: silence\nwhen output: wait 7 us\n"
                                             "when get feature 03: answer 03 15\nwhen get input: refuse\n"
                                             "when get output on 1: send 01 on 0 after 5 ms\n"
                                             "when open: refuse\n2 times when open on 1: refuse\n"
                                             "once when plugged: garble strings, descriptor 05 01 on 1\n"
                                             "report 9: delay 5 ms, fill, unplug, plug, send ?? 01\n");
    EXPECT_EQ(17u, script.getRuleCount());
    EXPECT_EQ(7u, script.getSeed());
    EXPECT_EQ(1u, QrxVirtualScript().getSeed());
}

TEST(QrxVirtualScript, AFaultNamesItsLineAndWhatMayStandThere)
{
    EXPECT_EQ("made.faults:2: a rule is a trigger, a colon and what happens (report 5: drop), not \"drop\"",
              faultOf("\ndrop\n"));
    EXPECT_EQ("made.faults:1: a rule begins with report N, every N reports, chance P%, after TIME or when, not \"at\"",
              faultOf("at 5: drop"));
    EXPECT_EQ("made.faults:1: a rule begins with report N, every N reports, chance P%, after TIME or when, not \"x\"",
              faultOf("x times report 5: drop"));
    EXPECT_EQ("made.faults:1: after \"when\" stands output BYTES, feature BYTES, get input, get output, get feature, "
              "open or plugged, not \"closed\"",
              faultOf("when closed: refuse"));
    EXPECT_EQ("made.faults:1: after \"when get\" stands input, output or feature, not \"\"",
              faultOf("when get: refuse"));
    EXPECT_EQ("made.faults:1: what may happen here is refuse, send BYTES [on N] [after TIME], garble strings, "
              "descriptor BYTES [on N], not \"drop\"",
              faultOf("when open: drop"));
    EXPECT_EQ("made.faults:1: a time is a number and us, ms, s or min, at most a day: 5 ms", faultOf("after 5: plug"));
    EXPECT_EQ("made.faults:1: a time is a number and us, ms, s or min, at most a day: 5 ms",
              faultOf("after 86401 s: plug"));
    EXPECT_EQ("none", faultOf("after 86400 s: plug"));
    EXPECT_EQ("made.faults:1: chance needs a percentage from 0% to 100%", faultOf("chance 101%: drop"));
    EXPECT_EQ("made.faults:1: chance needs a percentage from 0% to 100%", faultOf("chance 10: drop"));
    EXPECT_EQ("made.faults:1: reports are counted from 1", faultOf("report 0: drop"));
    EXPECT_EQ("made.faults:1: every N is followed by \"reports\"", faultOf("every 3: drop"));
    EXPECT_EQ("made.faults:1: report needs a number of at most 18446744073709551615, not \"x\"",
              faultOf("report x: drop"));
    EXPECT_EQ("made.faults:1: on needs a number of at most 255, not \"256\"", faultOf("report 1 on 256: drop"));
    EXPECT_EQ("made.faults:1: to needs a number of at most 65535, not \"65536\"", faultOf("report 1: pad to 65536"));
    EXPECT_EQ("made.faults:1: id needs two hexadecimal digits, not \"??\"", faultOf("report 1: id ??"));
    EXPECT_EQ("made.faults:1: the number of a report is two hexadecimal digits, not \"3\"",
              faultOf("when get feature 3: refuse"));
    EXPECT_EQ("made.faults:1: nothing more may stand here, but \"123\" follows; bytes are two hexadecimal digits each",
              faultOf("when output 123: refuse"));
    EXPECT_EQ("made.faults:1: ?? stands for a byte of a report, and there is none here",
              faultOf("when get feature: answer 01 ??"));
    EXPECT_EQ("made.faults:1: ?? stands for a byte of a report, and there is none here",
              faultOf("report 1: descriptor ??"));
    EXPECT_EQ("made.faults:1: seed needs a number of at most 18446744073709551615, not \"\"", faultOf("seed"));
    EXPECT_EQ("nowhere/x.faults: cannot be opened: No such file or directory", [] {
        try {
            QrxVirtualScript::readFile("nowhere/x.faults");
        } catch (const QrxRecordingError& error) {
            return std::string(error.what());
        }
        return std::string("none");
    }());
}

TEST(QrxVirtualScript, IsBounded)
{
    std::string drops = "report 1: drop";
    for (int count = 1; count < 10'000; ++count) {
        drops += ",drop";
    }
    EXPECT_EQ("none", faultOf(drops));
    EXPECT_EQ("made.faults:2: more than 10000 things that may happen in all rules",
              faultOf(drops + "\nreport 1: drop"));
    std::string bytes = "report 1: send";
    for (int count = 0; count < 65'535; ++count) {
        bytes += " 00";
    }
    EXPECT_EQ("none", faultOf(bytes));
    EXPECT_EQ("made.faults:1: more than 65535 bytes", faultOf(bytes + " 00"));
    std::string many;
    for (int count = 0; count < 65; ++count) {
        many += bytes + "\n";
    }
    EXPECT_EQ("made.faults:65: more than 4194304 bytes in all rules", faultOf(many));
    EXPECT_EQ("made.faults:1: a line of more than 262144 bytes", faultOf(std::string(262'145, 'x')));
}

TEST(QrxVirtualScript, ALineIsAddedAsFromAFile)
{
    QrxVirtualScript script;
    script.add("report 1: drop").add("seed 9").add("# nothing");
    EXPECT_EQ(1u, script.getRuleCount());
    EXPECT_EQ(9u, script.getSeed());
    try {
        script.add("report 2: explode");
        FAIL() << "added";
    } catch (const QrxRecordingError& error) {
        EXPECT_EQ(2u, error.getLine());
    }
    EXPECT_EQ(1u, script.getRuleCount());
}

/// A device with a script, open on interface 1.
class ScriptedDevice : public testing::Test {
protected:
    void obey(const std::string& text)
    {
        _device.setScript(scriptOf(text));
        _device.plug();
        open();
    }
    Status open()
    {
        _channel.reset();
        return _registry.published.back().facts.interfaces[0].hid->open(_channel);
    }
    void send(const Bytes& bytes) { _device.sendInputReport(1, bytes); }
    void sendAll(const Reports& reports)
    {
        for (const Bytes& report : reports) {
            send(report);
        }
    }
    /// What the reader finds.
    Reports received()
    {
        Reports reports;
        std::span<const std::uint8_t> report;
        while (_channel->takeReport(report) == HIDChannel::Next::report) {
            reports.emplace_back(report.begin(), report.end());
        }
        return reports;
    }
    template <typename Condition>
    bool runUntil(Condition condition)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            _loop.runOnce(0.1);
        }
        return true;
    }
    Status set(ReportType type, const Bytes& bytes) { return _channel->setReport(type, 0, bytes); }
    Status get(ReportType type, std::uint32_t reportID, Bytes& answer)
    {
        std::array<std::uint8_t, 8> buffer{};
        std::size_t size = 0;
        const Status status = _channel->getReport(type, reportID, buffer, size);
        answer.assign(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size));
        return status;
    }

    RecordingRegistry& _registry = RecordingRegistry::emptied();
    QrxRunLoop _loop = QrxRunLoop::getCurrent();
    QrxVirtualDevice _device{QrxVirtualIdentity(0x1209, 1).setProductName("scripted"),
                             {{1, {0x05, 0x01, 0xc0}}, {2, {}}}};
    std::unique_ptr<HIDChannel> _channel;
};

TEST_F(ScriptedDevice, ReportsAreLostDoubledAndSwapped)
{
    obey("report 2: drop\nreport 3: double\nreport 5: swap\nevery 4 reports: double");
    sendAll({{1}, {2}, {3}, {4}, {5}, {6}, {7}, {8}});
    EXPECT_EQ((Reports{{1}, {3}, {3}, {4}, {4}, {6}, {5}, {7}, {8}, {8}}), received());
}

TEST_F(ScriptedDevice, ReportsHaveWrongNumbersAndLengths)
{
    obey("report 1: id ff\nreport 2: cut to 1\nreport 3: pad to 4\nreport 4: cut to 0, pad to 2, id 09\nreport 5: id "
         "01\nreport 6: id 01");
    sendAll({{1, 2}, {1, 2}, {1, 2}, {1, 2}, {}, {9, 8, 7}, {1, 2}});
    EXPECT_EQ((Reports{{0xff, 2}, {1}, {1, 2, 0, 0}, {9, 0}, {}, {1, 8, 7}, {1, 2}}), received());
}

TEST_F(ScriptedDevice, ARuleIsAboutOneInterfaceAndActsAsOftenAsItSays)
{
    obey("every 1 reports on 2: drop\n2 times every 1 reports on 1: double");
    sendAll({{1}, {2}, {3}});
    EXPECT_EQ((Reports{{1}, {1}, {2}, {2}, {3}}), received());
}

TEST_F(ScriptedDevice, ChanceIsRepeatable)
{
    Reports first;
    for (int round = 0; round < 2; ++round) {
        obey("seed 5\nchance 50%: drop\nchance 0%: double\n");
        for (std::uint8_t number = 0; number < 40; ++number) {
            send({number});
        }
        const Reports now = received();
        EXPECT_GT(now.size(), 8u);
        EXPECT_LT(now.size(), 32u);
        EXPECT_TRUE(round == 0 || now == first) << "the seed decides";
        first = now;
    }
    obey("seed 6\nchance 50%: drop\nchance 0%: double\n");
    for (std::uint8_t number = 0; number < 40; ++number) {
        send({number});
    }
    EXPECT_NE(first, received());
    obey("chance 100%: drop");
    sendAll({{1}, {2}});
    EXPECT_EQ(Reports{}, received());
}

TEST_F(ScriptedDevice, AFullQueueLosesOne)
{
    obey("report 1: fill");
    send({7});
    EXPECT_EQ(Reports(QrxVirtualDevice::kQueuedReports, Bytes{7}), received());
    EXPECT_EQ(1u, _channel->possibleLosses());
}

TEST_F(ScriptedDevice, AReportIsSentLater)
{
    obey("report 1: delay 5 ms");
    const auto begin = std::chrono::steady_clock::now();
    sendAll({{1}, {2}});
    EXPECT_EQ((Reports{{2}}), received());
    Reports late;
    EXPECT_TRUE(runUntil([&] { return !(late = received()).empty(); }));
    EXPECT_EQ((Reports{{1}}), late);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(5));
    EXPECT_EQ(QrxRunLoop::Outcome::finished, _loop.run()) << "nothing is left to wait for";
}

TEST_F(ScriptedDevice, ARequestHasItsAnswerWithTheBytesAskedFor)
{
    obey("when output 01 ??: send 02 ?? ff ?? after 1 ms\nwhen output 03 ...: send 04\nwhen feature 01 05: send 05 on "
         "1");
    EXPECT_EQ(Status::success, set(ReportType::output, {1, 0x33}));
    EXPECT_EQ(Reports{}, received());
    Reports late;
    EXPECT_TRUE(runUntil([&] { return !(late = received()).empty(); }));
    EXPECT_EQ((Reports{{2, 0x33, 0xff, 0}}), late);
    EXPECT_EQ(Status::success, set(ReportType::output, {1}));
    EXPECT_EQ(Status::success, set(ReportType::output, {1, 2, 3}));
    EXPECT_EQ(Status::success, set(ReportType::output, {2, 5}));
    EXPECT_EQ(Status::success, set(ReportType::output, {1, 5})) << "not the feature report";
    EXPECT_TRUE(runUntil([&] { return !(late = received()).empty(); }));
    EXPECT_EQ((Reports{{2, 5, 0xff, 0}}), late);
    EXPECT_EQ(Status::success, set(ReportType::output, {3}));
    EXPECT_EQ(Status::success, set(ReportType::output, {3, 9, 9}));
    EXPECT_EQ(Status::success, set(ReportType::feature, {1, 5}));
    EXPECT_EQ((Reports{{4}, {4}, {5}}), received());
    EXPECT_EQ(8u, _device.takeSentReports().size()) << "taken as without a script";
}

TEST_F(ScriptedDevice, RequestsAreRefusedUnansweredOrAnswered)
{
    obey("when output 01: refuse\nwhen output 02: silence\nwhen get feature 03: answer 03 15\n"
         "when get feature 04: refuse\nwhen get input 03: silence\nonce when get feature 05: answer 05, refuse\n");
    EXPECT_EQ(Status::pipeStalled, set(ReportType::output, {1}));
    EXPECT_EQ(Status::timeout, set(ReportType::output, {2}));
    EXPECT_TRUE(_device.takeSentReports().empty()) << "neither was taken";
    Bytes answer;
    EXPECT_EQ(Status::success, get(ReportType::feature, 3, answer));
    EXPECT_EQ((Bytes{3, 0x15}), answer);
    EXPECT_EQ(Status::pipeStalled, get(ReportType::feature, 4, answer));
    EXPECT_EQ(Status::timeout, get(ReportType::input, 3, answer));
    EXPECT_EQ(Status::success, get(ReportType::feature, 5, answer)) << "the first answer counts";
    EXPECT_EQ(Status::pipeStalled, get(ReportType::feature, 5, answer))
        << "once; nothing was sent that could come back";
}

TEST_F(ScriptedDevice, AnAnswerComesLate)
{
    obey("when get feature: wait 20 ms, answer 01");
    const auto begin = std::chrono::steady_clock::now();
    Bytes answer;
    EXPECT_EQ(Status::success, get(ReportType::feature, 0, answer));
    EXPECT_EQ(Bytes{1}, answer);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST_F(ScriptedDevice, OpeningIsRefusedAsOftenAsTheRuleSays)
{
    _device.setScript(scriptOf("2 times when open on 1: refuse"));
    _device.plug();
    EXPECT_EQ(Status::notPrivileged, open());
    EXPECT_EQ(Status::notPrivileged, open());
    EXPECT_EQ(Status::success, open());
}

TEST_F(ScriptedDevice, LeavesAtAReportAndComesBackAsAnotherDevice)
{
    obey("report 2: unplug, plug after 1 ms, descriptor 06 00 ff, garble strings");
    sendAll({{1}, {2}, {3}});
    EXPECT_FALSE(_device.isPlugged());
    EXPECT_EQ((Reports{{1}, {2}}), received()) << "what it had sent is delivered";
    EXPECT_TRUE(runUntil([&] { return _device.isPlugged(); }));
    const DeviceFacts& facts = _registry.published.back().facts;
    EXPECT_EQ((Bytes{0x06, 0x00, 0xff}), facts.interfaces[0].reportDescriptor);
    EXPECT_NE("scripted", facts.productName);
    EXPECT_EQ("scripted", _device.getIdentity().getProductName());
    open();
    send({4});
    EXPECT_EQ((Reports{{4}}), received());
}

TEST_F(ScriptedDevice, LosesTheReportThatItLeavesWith)
{
    obey("report 2: drop, unplug");
    sendAll({{1}, {2}});
    EXPECT_EQ((Reports{{1}}), received());
    EXPECT_FALSE(_device.isPlugged());
}

TEST_F(ScriptedDevice, LeavesAndComesBackByTheClock)
{
    obey("after 1 ms: unplug\nafter 3 ms: plug, send 09");
    EXPECT_TRUE(runUntil([&] { return !_device.isPlugged(); }));
    EXPECT_TRUE(runUntil([&] { return _device.isPlugged(); }));
    EXPECT_EQ(QrxRunLoop::Outcome::finished, _loop.run());
}

TEST_F(ScriptedDevice, IsChangedBeforeItArrives)
{
    _device.setScript(scriptOf("once when plugged: garble strings, descriptor 05 09, send 01 after 1 ms"));
    _device.plug();
    EXPECT_EQ((Bytes{0x05, 0x09}), _registry.published.back().facts.interfaces[0].reportDescriptor);
    const auto name = _registry.published.back().facts.productName;
    _device.setScript(scriptOf("once when plugged: garble strings"));
    _device.unplug();
    _device.plug();
    EXPECT_EQ(name, _registry.published.back().facts.productName) << "the same seed, the same text";
    EXPECT_EQ((Bytes{0x05, 0x01, 0xc0}), _registry.published.back().facts.interfaces[0].reportDescriptor);
}

TEST_F(ScriptedDevice, AnotherScriptEndsTheFirstAndWhatItWantedToDoLater)
{
    obey("after 1 min: unplug\nreport 1: delay 1 min\nevery 1 reports: drop");
    send({1});
    _device.setScript({});
    EXPECT_EQ(QrxRunLoop::Outcome::finished, _loop.run()) << "nothing waits for a minute";
    send({2});
    EXPECT_EQ((Reports{{2}}), received());
}

TEST_F(ScriptedDevice, WhatAnotherThreadSetsOffHappensOnTheLoopsThread)
{
    obey("when output 01: unplug, plug after 1 ms");
    std::thread([&] { set(ReportType::output, {1}); }).join();
    EXPECT_FALSE(_device.isPlugged());
    EXPECT_TRUE(runUntil([&] { return _device.isPlugged(); }));
}

TEST_F(ScriptedDevice, MayBeDestroyedWhileSomethingIsToComeLater)
{
    QrxVirtualDevice brief({}, {{0, {0x05}}});
    brief.setScript(scriptOf("after 1 min: unplug"));
    brief = QrxVirtualDevice({}, {});
    EXPECT_EQ(QrxRunLoop::Outcome::finished, _loop.run());
}

} // namespace
