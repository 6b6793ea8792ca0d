#include "NodeUser.h"

#include "FakeNode.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace qrx::platform::test {

namespace {

using Lines = NodeUser::Lines;

std::string textOf(Status status)
{
    return status == Status::success ? "done" : std::to_string(static_cast<std::int32_t>(status));
}

/// What differs from the undisturbed story, what the device itself saw left out.
Lines differences(const Lines& undisturbed, const Lines& lines)
{
    Lines different;
    EXPECT_EQ(lines.size(), undisturbed.size());
    for (std::size_t at = 0; at < undisturbed.size(); ++at) {
        if (lines.at(at) != undisturbed[at] && lines[at].first != "device") {
            different.push_back(lines[at]);
        }
    }
    return different;
}

/// Whether that is what the fault may do.
void judgeDifferences(const Lines& different, const Fault& fault)
{
    const std::string kind = kindOf(fault.call);
    // The folder of all nodes is no node.
    const bool isAboutTheNode =
        fault.call.find("/hidraw") != std::string::npos && !fault.call.ends_with("class/hidraw");
    if (kind == "open" && isAboutTheNode && fault.error == EACCES) {
        EXPECT_EQ(different, (Lines{{"output", textOf(Status::notPermitted)}})) << "it may be read only";
    } else if ((kind == "open" || kind == "access") && isAboutTheNode) {
        ASSERT_EQ(different.size(), 1U);
        EXPECT_EQ(different[0].first, "open");
        EXPECT_TRUE(different[0].second.ends_with(", then done")) << different[0].second;
    } else if (kind == "preadv2" || kind == "readv") {
        for (const auto& [name, text] : different) {
            EXPECT_TRUE(text == "gone" || text.ends_with(", gone")) << name << ": " << text;
        }
    } else if (kind == "write" || kind == "ioctl") {
        ASSERT_EQ(different.size(), 1U);
        EXPECT_NE(different[0].second.substr(0, 4), "done") << different[0].first;
    } else {
        EXPECT_EQ(different, Lines{});
    }
}

} // namespace

void NodeUser::open()
{
    Status status = _port->open(_channel);
    std::string text = textOf(status);
    if (status != Status::success) {
        EXPECT_EQ(_channel, nullptr);
        status = _port->open(_channel);
        text += ", then " + textOf(status);
    }
    note("open", text);
}

void NodeUser::take(const std::string& name, bool isLast)
{
    constexpr int kMostReports = 10;
    std::string text;
    std::span<const std::uint8_t> report;
    int empties = 0;
    HIDChannel::Next next = HIDChannel::Next::report;
    for (int count = 0; count < kMostReports; ++count) {
        next = _channel->takeReport(report);
        if (next == HIDChannel::Next::report) {
            text += hexText(Bytes(report.begin(), report.end())) + ", ";
        } else if (next == HIDChannel::Next::gone || !isLast || ++empties == 2) {
            break;
        }
    }
    note(name, text + (next == HIDChannel::Next::gone ? "gone" : "empty"));
}

void NodeUser::request(const std::function<void(ReportType)>& beforeAsking)
{
    const Bytes bytes{1, 2, 3, 4, 5, 6, 7, 8};
    note("output", textOf(_channel->setReport(ReportType::output, 0, bytes)));
    note("feature", textOf(_channel->setReport(ReportType::feature, 0, bytes)));
    note("set input", textOf(_channel->setReport(ReportType::input, 0, bytes)));
    for (const ReportType type : {ReportType::feature, ReportType::input, ReportType::output}) {
        beforeAsking(type);
        Bytes buffer(8);
        std::size_t size = 0;
        const Status status = _channel->getReport(type, 0, buffer, size);
        buffer.resize(size);
        note("get " + std::to_string(static_cast<int>(type)), textOf(status) + " " + hexText(buffer));
    }
}

void judge(const Lines& undisturbed, const NodeUser& first, const NodeUser& second, const std::optional<Fault>& fault)
{
    if (isUnnoticed(fault)) {
        EXPECT_EQ(first.lines(), undisturbed);
        EXPECT_EQ(second.lines(), undisturbed);
        return;
    }
    const Lines ofFirst = differences(undisturbed, first.lines());
    const Lines ofSecond = differences(undisturbed, second.lines());
    EXPECT_TRUE(ofFirst.empty() || ofSecond.empty()) << "one call concerns one device";
    judgeDifferences(ofFirst.empty() ? ofSecond : ofFirst, *fault);
}

} // namespace qrx::platform::test
