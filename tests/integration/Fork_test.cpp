/// A child that fork made ends in one way or another, and its parent goes on as if nothing had happened.

#include "ForkedChild.h"
#include "LibraryTest.h"

#include <algorithm>
#include <filesystem>

#include <fcntl.h>

namespace {

/// What the child does, and how it leaves.
struct Child {
    const char* name;
    bool letsGo;
    bool runsAnotherProgram;
    ChildEnd end;
};

void PrintTo(const Child& child, std::ostream* stream)
{
    *stream << child.name;
}

class Fork : public LibraryTest, public testing::WithParamInterface<Child> {
protected:
    Fork()
    {
        _device.plug();
        _tree->observe(0, 0);
        _opened = _tree->getDeviceAtIndex(0);
        _log = openWithLog(_opened);
    }

    void beTheChild()
    {
        if (GetParam().runsAnotherProgram) {
            ::execl("/bin/true", "true", static_cast<char*>(nullptr));
            ::_exit(1);
        }
        if (GetParam().letsGo) {
            _opened->close();
            _opened.release();
            _tree.release();
            if (QrxVirtualDevice* own = _device.virtualDevice()) {
                own->unplug();
            }
        }
    }

    static bool isAtRest() { return QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::timedOut; }

    TestDevice _device = makeDevice("kept", plainDescriptor());
    TreeHandle _tree = makeTree();
    DeviceHandle _opened;
    std::shared_ptr<RecordingDeviceDelegate::Log> _log;
};

const Child kChildren[] = {{"Ends", false, false, ChildEnd::exit},
                           {"EndsAtOnce", false, false, ChildEnd::quit},
                           {"LetsGoAndEnds", true, false, ChildEnd::exit},
                           {"LetsGoAndEndsAtOnce", true, false, ChildEnd::quit},
                           {"RunsAnotherProgram", false, true, ChildEnd::quit}};
INSTANTIATE_TEST_SUITE_P(AChildThat, Fork, testing::ValuesIn(kChildren),
                         [](const auto& child) { return child.param.name; });

TEST_P(Fork, LeavesItsParentEveryReport)
{
    runWhileBusy();
    ASSERT_EQ(runInChild([this] { beTheChild(); }, GetParam().end), 0);
    EXPECT_TRUE(isAtRest()) << "the child has woken its parent";
    for (std::uint8_t number = 0; number < 20; ++number) {
        ASSERT_TRUE(_device.sendInputReport(0, {number, 0, 0, 0}));
    }
    EXPECT_TRUE(runUntil([this] { return _log->input.size() == 20; })) << _log->input.size();
    runWhileBusy();
    EXPECT_TRUE(isAtRest());
}

TEST_P(Fork, LeavesItsParentTheReportsThatWait)
{
    for (std::uint8_t number = 0; number < 20; ++number) {
        ASSERT_TRUE(_device.sendInputReport(0, {number, 0, 0, 0}));
    }
    ASSERT_EQ(runInChild([this] { beTheChild(); }, GetParam().end), 0);
    EXPECT_TRUE(runUntil([this] { return _log->input.size() == 20; })) << _log->input.size();
}

TEST_P(Fork, LeavesItsParentEveryArrivalAndRemoval)
{
    ASSERT_EQ(runInChild([this] { beTheChild(); }, GetParam().end), 0);
    const CapturedOutput output;
    _device.unplug();
    EXPECT_TRUE(runUntil([this] { return _tree->getHIDDeviceCount() == 0; }));
    _device.plug();
    EXPECT_TRUE(runUntil([this] { return _treeDelegate.arrivals.size() == 2; }));
    runWhileBusy();
    EXPECT_TRUE(isAtRest());
}

TEST_P(Fork, LeavesItsParentWhatIsDueInACallback)
{
    int status = -1;
    _log->onInput = [&] {
        if (_log->input.size() == 1) {
            status = runInChild([this] { beTheChild(); }, GetParam().end);
        }
    };
    for (std::uint8_t number = 0; number < 5; ++number) {
        ASSERT_TRUE(_device.sendInputReport(0, {number, 0, 0, 0}));
    }
    EXPECT_TRUE(runUntil([this] { return _log->input.size() == 5; })) << _log->input.size();
    EXPECT_EQ(status, 0);
}

class DescriptorsOfTheLibrary : public LibraryTest {};

TEST_F(DescriptorsOfTheLibrary, AreAllClosedByAnExec)
{
    const auto kept = [] {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            const int flags = ::fcntl(std::stoi(entry.path().filename()), F_GETFD);
            if (flags >= 0 && (flags & FD_CLOEXEC) == 0) {
                names.push_back(entry.path().filename());
            }
        }
        std::sort(names.begin(), names.end());
        return names;
    };
    const auto before = kept();
    TestDevice device = makeDevice("open", plainDescriptor());
    device.plug();
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    openWithLog(tree->getDeviceAtIndex(0));
    EXPECT_EQ(kept(), before);
    tree->getDeviceAtIndex(0)->close();
}

} // namespace
