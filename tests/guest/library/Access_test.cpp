/// Who may use a report node, with udevd and without.

#include "ChildProcess.h"
#include "Library.h"

#include "support/Udevd.h"

#include <QrxError.h>
#include <QrxRequests.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace qrx::guest;

namespace {

constexpr uid_t kNobody = 65534;
constexpr unsigned int kOutput = 1;

/// This process as an ordinary user, while the object lives.
class AsNobody {
public:
    AsNobody() { become(kNobody); }
    ~AsNobody() { become(0); }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

private:
    static void become(uid_t user) { EXPECT_EQ(::seteuid(user), 0); }
};

class Access : public Library {
protected:
    void arriveWithMode(mode_t mode)
    {
        device = arrive(tree, plug);
        ASSERT_TRUE(device);
        node = plug.waitForNodes().at(0);
        ASSERT_EQ(::chmod(node.c_str(), mode), 0);
    }
    /// Opens as an ordinary user, and what is said of it.
    std::string openAsNobody()
    {
        if (log) { // the device deletes the delegate that it has at its end, not those before
            device->setDelegate(nullptr);
            delete log->delegate;
        }
        testing::internal::CaptureStderr();
        {
            const AsNobody user;
            log = openWithLog(device);
        }
        return testing::internal::GetCapturedStderr();
    }
    bool canHear()
    {
        if (!hasOpen(plug, 0)) {
            return false;
        }
        const std::size_t before = log->input.size();
        sendQueued(plug, 0, pattern(8, 1));
        return runUntil([&] { return log->input.size() == before + 1; });
    }

    TreeHandle tree = observingTree();
    VhciDevice plug{identityOf("kept", 0xABCD), {hidInterface(plainDescriptor(8))}};
    DeviceHandle device;
    std::string node;
    std::shared_ptr<RecordingDeviceDelegate::Log> log;
};

mode_t modeOf(const std::string& path)
{
    struct stat facts {};
    return ::stat(path.c_str(), &facts) == 0 ? facts.st_mode & 0777U : 0U;
}

} // namespace

TEST_F(Access, ARefusalIsToldOnceAndAccessThatComesLaterIsTaken)
{
    ASSERT_NO_FATAL_FAILURE(arriveWithMode(0600));
    const std::string place = plug.sysfsPath().substr(plug.sysfsPath().rfind('/') + 1);
    // What to do about it is told once, at every level of the log; at this one every further refusal is a line.
    const std::string refused =
        "QrxHIDManager: device 1234:abcd at " + place + ", interface 0: not opened: the system does not permit it\n";
    EXPECT_EQ(openAsNobody(),
              "QrxHIDManager: " + node + " of 1234:abcd \"kept\" at " + place +
                  " cannot be opened: Permission denied. This line in a file of /etc/udev/rules.d whose name sorts "
                  "before 73 lets whoever sits at the machine use it: KERNEL==\"hidraw*\", ATTRS{idVendor}==\"1234\", "
                  "ATTRS{idProduct}==\"abcd\", TAG+=\"uaccess\"\n");
    EXPECT_FALSE(canHear());
    device->close();
    EXPECT_EQ(openAsNobody(), refused);
    device->close();
    ASSERT_EQ(::chmod(node.c_str(), 0666), 0);
    EXPECT_EQ(openAsNobody(), "");
    EXPECT_TRUE(canHear());
    device->close();
}

TEST_F(Access, AnOutcomeNamesTheNodeThatMayNotBeOpened)
{
    ASSERT_NO_FATAL_FAILURE(arriveWithMode(0600));
    testing::internal::CaptureStderr();
    {
        const AsNobody user;
        for (const QrxOutcome& outcome : {QrxOpen(*device), QrxOpen(*device, 0)}) {
            EXPECT_EQ(outcome.getError(), QrxError::noPermission);
            EXPECT_EQ(outcome.getError(), std::errc::permission_denied);
            EXPECT_NE(outcome.getMessage().find("interface 0 (" + node + ") was not opened"), std::string::npos)
                << outcome.getMessage();
        }
    }
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(QrxIsOpen(*device));
}

TEST_F(Access, AnOutcomeTellsThatANodeMayOnlyBeRead)
{
    ASSERT_NO_FATAL_FAILURE(arriveWithMode(0444));
    openAsNobody();
    const Bytes bytes(8);
    const QrxOutcome outcome = QrxSetReport(*device, QrxReportType::output, 0, bytes.data(), bytes.size(), 0);
    EXPECT_EQ(outcome.getError(), QrxError::noPermission);
    EXPECT_NE(outcome.getMessage().find(node), std::string::npos) << outcome.getMessage();
    EXPECT_TRUE(plug.takeSentReports().empty());
    device->close();
}

TEST_F(Access, ANodeThatMayOnlyBeReadGivesInputAndTakesNoOutput)
{
    ASSERT_NO_FATAL_FAILURE(arriveWithMode(0444));
    EXPECT_EQ(openAsNobody(), "QrxHIDManager: " + node + " may be read only: output is refused\n");
    EXPECT_TRUE(canHear());
    device->setReport(kOutput, 0, std::valarray<std::uint8_t>(8), 0);
    EXPECT_TRUE(plug.takeSentReports().empty());
    device->close();
}

TEST_F(Access, ADriversNodeThatIsMissingInTheDeviceFolderIsTold)
{
    ASSERT_NO_FATAL_FAILURE(arriveWithMode(0600));
    ASSERT_EQ(::unlink(node.c_str()), 0);
    device->open();
    EXPECT_FALSE(isPolled(plug, 0));
    device->close();
}

/// One plug on a machine whose rules take their time, and what an observer saw of it.
struct SlowArrival {
    bool isTold = false;
    /// Those of all nodes at the moment of the arrival.
    std::vector<mode_t> modes;
    std::chrono::duration<double> waited{};
};

const std::vector<mode_t> kModesOfTheRules{0666, 0666};

SlowArrival arriveSlowly()
{
    SlowArrival seen;
    QrxVirtualDevice::setRealDevicesEnabled(true);
    RecordingTreeDelegate told;
    const TreeHandle tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&told);
    tree->observe(0, 0);
    VhciDevice plug(identityOf("slow"), {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(8))});
    const auto plugged = std::chrono::steady_clock::now();
    told.onArrival = [&](const DeviceHandle& device) {
        seen.waited = std::chrono::steady_clock::now() - plugged;
        for (const std::string& node : plug.waitForNodes()) {
            seen.modes.push_back(modeOf(node));
        }
        const AsNobody user;
        device->open();
    };
    plug.plug();
    seen.isTold = runUntil([&] { return !told.arrivals.empty(); });
    const bool cameInTime = seen.modes == kModesOfTheRules;
    if (cameInTime) {
        EXPECT_TRUE(waitUntil([&] { return isPolled(plug, 0) && isPolled(plug, 1); }));
    }
    const DeviceHandle device = seen.isTold ? tree->getDeviceAtIndex(0) : DeviceHandle();
    const CapturedOutput output;
    plug.unplug();
    EXPECT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
    // What came too late was published as it was then, and again when it was whole.
    if (cameInTime) {
        EXPECT_EQ(told.arrivals, Names{"slow"});
    }
    if (device) {
        device->close();
    }
    return seen;
}

TEST(AccessWithUdevd, ADeviceIsToldOfWhenSlowRulesHaveBeenCarriedOut)
{
    // A device is waited for no longer than this.
    constexpr std::chrono::seconds kSettleTime{1};
    constexpr int kMostAttempts = 3;
    // Slow enough to be seen, and well within the settle time.
    const Udevd udevd("KERNEL==\"hidraw*\", PROGRAM=\"/bin/busybox sleep 0.1\", MODE=\"0666\"\n");
    SlowArrival seen;
    std::string times;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        seen = arriveSlowly();
        ASSERT_TRUE(seen.isTold);
        // On a machine so busy that the rules take longer than the settle time, the device comes without them, and
        // nothing is learned.
        if (seen.modes == kModesOfTheRules || seen.waited < kSettleTime) {
            break;
        }
        times += " " + std::to_string(seen.waited.count()) + " s";
    }
    EXPECT_TRUE(waitUntilBusIsEmpty());
    if (seen.modes != kModesOfTheRules && seen.waited >= kSettleTime) {
        GTEST_SKIP()
            << "SKIPPED: nothing was learned of slow rules, which took longer than the settle time of a device "
               "each time; it came after"
            << times;
    }
    EXPECT_EQ(seen.modes, kModesOfTheRules) << "after " << seen.waited.count() << " s";
}
