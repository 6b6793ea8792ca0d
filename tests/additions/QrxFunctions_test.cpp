#include "QrxFunctions.h"

#include "AdditionsTest.h"
#include "HeapBytes.h"

#include <QrxRequests.h>

namespace {

using Functions = AdditionsTest;
using Lines = std::vector<std::string>;

TEST_F(Functions, AreToldWhatDelegatesAre)
{
    Lines lines;
    const TreeHandle tree = QrxDeviceTree::NewInstance();
    QrxTreeFunctions functions(tree);
    functions
        .onAdded([&](const DeviceHandle& device) {
            lines.push_back("added " + device->getProductName());
            QrxDeviceFunctions::installOn(*device)
                .onReport([&](const uint8_t* bytes, std::size_t size, int number) {
                    lines.push_back(std::to_string(size) + " bytes on " + std::to_string(number) + ", first " +
                                    std::to_string(bytes[0]));
                })
                .onSetReport([&](unsigned type, unsigned id, const uint8_t*, std::size_t size, int) {
                    lines.push_back("sends " + std::to_string(type) + " " + std::to_string(id) + " " +
                                    std::to_string(size));
                })
                .onPossibleLoss([&](int, std::uint64_t count) { lines.push_back("lost " + std::to_string(count)); })
                .onRemoved([&] { lines.push_back("left"); });
            EXPECT_FALSE(QrxOpen(*device).hasFailed());
        })
        .onRemoved([&](const DeviceHandle& device) { lines.push_back("removed " + device->getProductName()); });
    const CapturedOutput output;
    tree->observe(0, 0);
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    plug.plug();
    runWhileBusy();
    plug.sendInputReport(0, {7, 0, 0, 0});
    runWhileBusy();
    tree->getDeviceAtIndex(0)->setReport(1, 0, {1, 2}, 0);
    for (std::size_t number = 0; number < TestDevice::kQueuedReports + 1; ++number) {
        plug.sendInputReport(0, {7, 0, 0, 0});
    }
    plug.unplug();
    runWhileBusy();
    ASSERT_EQ(6u + TestDevice::kQueuedReports, lines.size());
    EXPECT_EQ((Lines{"added mouse", "4 bytes on 0, first 7", "sends 1 0 2"}), Lines(lines.begin(), lines.begin() + 3));
    EXPECT_EQ((Lines{"lost 1", "removed mouse", "left"}), Lines(lines.end() - 3, lines.end()));
}

TEST_F(Functions, ThatWereNeverSetDoNothing)
{
    const CapturedOutput output;
    const TreeHandle tree = QrxDeviceTree::NewInstance();
    const QrxTreeFunctions functions(tree);
    tree->observe(0, 0);
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    plug.plug();
    runWhileBusy();
    const DeviceHandle device = tree->getDeviceAtIndex(0);
    QrxDeviceFunctions::installOn(*device).onReport({});
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.sendInputReport(0, {7, 0, 0, 0});
    plug.unplug();
    runWhileBusy();
    EXPECT_FALSE(QrxIsOpen(*device));
}

TEST_F(Functions, MayReplaceThemselvesAndDropTheDevice)
{
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    DeviceHandle device = arrived(plug);
    _tree = {};
    int calls = 0;
    QrxDeviceFunctions& functions = QrxDeviceFunctions::installOn(*device);
    const auto token = std::make_shared<int>(0);
    functions.onReport([&, token](const uint8_t*, std::size_t, int) {
        functions.onReport({});
        device->close();
        device.release();
        ++calls;
        EXPECT_EQ(2, token.use_count()) << "the function lives until it returns";
    });
    device->open();
    plug.sendInputReport(0, {7, 0, 0, 0});
    runWhileBusy();
    EXPECT_EQ(1, calls);
    EXPECT_EQ(1, token.use_count());
}

TEST_F(Functions, LeaveATreeThatLivesOnWithoutADelegate)
{
    const TreeHandle tree = QrxDeviceTree::NewInstance();
    {
        const QrxTreeFunctions functions(tree);
        EXPECT_TRUE(tree->hasDelegate());
    }
    EXPECT_FALSE(tree->hasDelegate());
}

TEST_F(Functions, LeaveTheDelegateThatWasSetInTheirPlace)
{
    std::string told;
    const TreeHandle tree = QrxDeviceTree::NewInstance();
    auto first = std::make_unique<QrxTreeFunctions>(tree);
    QrxTreeFunctions second(tree);
    second.onAdded([&](const DeviceHandle& device) { told += "added " + device->getProductName() + "\n"; })
        .onRemoved([&](const DeviceHandle& device) { told += "removed " + device->getProductName() + "\n"; });
    first.reset();
    EXPECT_TRUE(tree->hasDelegate());
    const CapturedOutput output;
    tree->observe(0, 0);
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    plug.plug();
    runWhileBusy();
    plug.unplug();
    runWhileBusy();
    EXPECT_EQ(told, "added mouse\nremoved mouse\n");
}

/// As the README's example, word by word: it keeps nothing and closes nothing.
TEST_F(Functions, ThatOpenWhatArrivesLeaveNothingBehindInTwoThousandReplugs)
{
    int reports = 0;
    int departures = 0;
    QrxTreeFunctions tree(QrxDeviceTree::NewInstance());
    tree.onAdded([&](const DeviceHandle& mouse) {
        QrxDeviceFunctions::installOn(*mouse)
            .onReport([&](const uint8_t*, std::size_t, int) { ++reports; })
            .onRemoved([&] { ++departures; });
        QrxOpen(*mouse).throwIfFailed();
    });
    CapturedOutput output;
    tree.getTree()->observe(0, 0);
    TestDevice plug = makeDevice("mouse", plainDescriptor());
    const auto bytesAfter = [&](int times) {
        for (int round = 0; round < times; ++round) {
            plug.plug();
            runWhileBusy();
            plug.sendInputReport(0, {1, 2, 3, 4});
            plug.unplug();
            runWhileBusy();
            output.forget();
        }
        return heapBytes();
    };
    constexpr int kRounds = 2000;
    constexpr int kRoundsBefore = kRounds / 10;
    const auto before = bytesAfter(kRoundsBefore);
    const auto after = bytesAfter(kRounds);
    EXPECT_EQ(kRounds + kRoundsBefore, reports);
    EXPECT_EQ(kRounds + kRoundsBefore, departures);
    EXPECT_LT(after - before, kRounds / 2) << "bytes of " << kRounds << " replugs";
}

} // namespace
