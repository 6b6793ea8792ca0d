/// What commands say of a device of the kernel that leaves in the middle of their work.

#include "AccessFixture.h"
#include "ToolRun.h"

#include "library/ChildProcess.h"
#include "support/Waiting.h"

#include <algorithm>

using namespace qrx::guest;

namespace {

/// A device with an interface of 8 byte reports and a numbered one, without a tree of the test's own.
class Departure : public Library {
protected:
    Departure() { plugWhole(plug); }

    static std::vector<std::string> command(std::vector<std::string> words)
    {
        words.insert(words.begin(), QRXHID_PROGRAM);
        words.insert(words.end(), {"--device", "1234:00d1"});
        return words;
    }
    /// Five reports for a command that has opened both interfaces, and then the plug is pulled.
    void sendAndPull(const ChildProcess& process)
    {
        ASSERT_TRUE(waitUntil([&] { return process.openNodes() == 2; })) << process.output();
        for (std::uint8_t number = 0; number < 5; ++number) {
            sendQueued(plug, 0, pattern(8, number));
        }
        pullWhole(plug);
    }
    VhciDevice plug{identityOf("departure", 0xD1),
                    {hidInterface(plainDescriptor(8)), hidInterface(qrx::guest::numberedDescriptor())}};
};

/// The rows that the JSON of top has of an interface of a device, in their order.
std::vector<std::string> rowsOf(const std::string& json, unsigned int device, int interfaceNumber)
{
    std::vector<std::string> rows;
    const std::string begin = "{\"device\":" + std::to_string(device) + ",";
    const std::string interface = "\"interface\":" + std::to_string(interfaceNumber) + ",";
    for (std::size_t at = 0; (at = json.find(begin, at)) != json.npos; ++at) {
        const std::size_t end = std::min(json.find("{\"device\":", at + 1), json.find(']', at));
        const std::string row = json.substr(at, end - at);
        if (row.find(interface) != row.npos) {
            rows.push_back(row);
        }
    }
    return rows;
}

unsigned long numberIn(const std::string& row, const std::string& name)
{
    return std::stoul(row.substr(row.find("\"" + name + "\":") + name.size() + 3));
}

bool hasLeft(const std::string& row)
{
    return row.find("\"hasLeft\":true") != row.npos;
}

} // namespace

TEST_F(Departure, TopShowsWhatHasLeftOnceMoreAndGoesOnWithOthers)
{
    ChildProcess top(command({"top", "--every", "0.2", "--json"}));
    sendAndPull(top);
    ASSERT_TRUE(hasLeft(top.readUntil(hasLeft))) << top.output();
    // Plugged in again it is another device.
    plugWhole(plug);
    const auto saysThatItCame = [](const std::string& text) { return !rowsOf(text, 2, 0).empty(); };
    ASSERT_TRUE(saysThatItCame(top.readUntil(saysThatItCame))) << top.output();
    EXPECT_EQ(0, top.end()) << top.output();
    unsigned long reports = 0;
    const std::vector<std::string> rows = rowsOf(top.output(), 1, 0);
    for (const std::string& row : rows) {
        EXPECT_EQ(&row == &rows.back(), hasLeft(row)) << top.output();
        EXPECT_EQ(0U, numberIn(row, "possibleLosses")) << row;
        reports += numberIn(row, "reports");
    }
    EXPECT_EQ(5U, reports) << top.output();
}

TEST_F(Departure, TopSaysItInALineForEachInterface)
{
    ChildProcess top(command({"top", "--every", "0.2"}));
    sendAndPull(top);
    const auto linesThatSayIt = [](const std::string& text) {
        std::size_t count = 0;
        for (std::size_t at = 0; (at = text.find("  left\n", at)) != text.npos; ++at) {
            ++count;
        }
        return count;
    };
    EXPECT_EQ(2U, linesThatSayIt(top.readUntil([&](const std::string& text) { return linesThatSayIt(text) >= 2; })))
        << top.output();
    EXPECT_EQ(0, top.end()) << top.output();
}

class DepartureWhileSending : public Departure, public testing::WithParamInterface<const char*> {};

TEST_P(DepartureWhileSending, IsToldWithTheDeviceAndTheReport)
{
    plug.answerSetReport(0, Answer::silence);
    plug.answerOutput(0, Answer::silence);
    ChildProcess send(command({"send", "0102030405060708", "--type", GetParam(), "--interface", "0"}));
    // From here on it sends, and waits for an answer that does not come.
    EXPECT_TRUE(plug.waitUntilSilent()) << send.output();
    plug.unplug();
    send.readUntil([](const std::string&) { return false; });
    const int status = send.end();
    const std::string& text = send.output();
    EXPECT_EQ(1, status) << text;
    EXPECT_TRUE(text.starts_with("qrxhid: 1234:00d1")) << text;
    EXPECT_NE(std::string::npos, text.find(std::string(GetParam()) + " report was not sent")) << text;
}

INSTANTIATE_TEST_SUITE_P(Types, DepartureWhileSending, testing::Values("output", "feature"),
                         [](const auto& tested) { return std::string(tested.param); });
