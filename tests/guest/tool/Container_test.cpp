/// Where udevd, or anybody's events, cannot be heard: `qrxhid watch` in containers made for it.

#include "library/ChildProcess.h"
#include "library/Library.h"
#include "support/Udevd.h"

#include <algorithm>
#include <optional>
#include <sstream>

using namespace qrx::guest;

namespace {

/// What a container has of its own, as options of unshare, and what is done in it before the program begins.
struct Container {
    const char* name;
    const char* options;
    const char* preparation;
    bool hasUdevd;
};
void PrintTo(const Container& container, std::ostream* stream)
{
    *stream << container.name;
}

class Containers : public Library, public testing::WithParamInterface<Container> {
protected:
    static std::vector<std::string> watchInside()
    {
        const Container& container = GetParam();
        return {"/bin/sh", "-c",
                std::string("exec unshare ") + container.options + " /bin/sh -c '" + container.preparation +
                    " exec " QRXHID_PROGRAM " watch'"};
    }
    /// It observes once it watches the device folder.
    static bool isWatching(const ChildProcess& watch)
    {
        const std::vector<std::string> files = watch.openFiles();
        return std::any_of(files.begin(), files.end(),
                           [](const std::string& file) { return file.find("inotify") != std::string::npos; });
    }
    /// What is told of devices, without what is said of their nodes.
    static std::string linesOf(const ChildProcess& watch)
    {
        std::istringstream text(watch.output());
        std::string lines;
        for (std::string line; std::getline(text, line);) {
            if (line.starts_with("present ") || line.starts_with("arrived ") || line.starts_with("left ")) {
                lines += line + "\n";
            }
        }
        return lines;
    }
    /// The program sees the device when the kernel has finished with it. The child that is paused is the program:
    /// unshare and the shell that start it end in exec.
    void comeWhole(ChildProcess& watch)
    {
        watch.pause();
        plugWhole(coming);
        watch.resume();
    }

    VhciDevice present{identityOf("present", 1), {hidInterface(plainDescriptor(8))}};
    VhciDevice coming{identityOf("coming", 2), {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(4))}};
};

} // namespace

TEST_P(Containers, ADeviceIsToldOfOnceWhenItComesAndOnceWhenItLeaves)
{
    std::optional<Udevd> udevd;
    if (GetParam().hasUdevd) {
        udevd.emplace();
    }
    plugWhole(present);
    ChildProcess watch(watchInside());
    ASSERT_TRUE(waitUntil([&] { return isWatching(watch); })) << watch.output();
    // Without its nodes a device that is so young is told as an arrival a moment later.
    const auto isFirstTold = [](const std::string& text) { return text.find("  #1  1234:0001") != std::string::npos; };
    ASSERT_TRUE(isFirstTold(watch.readUntil(isFirstTold))) << watch.output();
    comeWhole(watch);
    ASSERT_TRUE(watch.waitForLines("arrived  #2")) << watch.output();
    pullWhole(coming);
    ASSERT_TRUE(watch.waitForLines("left     #2")) << watch.output();
    comeWhole(watch);
    ASSERT_TRUE(watch.waitForLines("arrived  #3")) << watch.output();
    pullWhole(present);
    ASSERT_TRUE(watch.waitForLines("left     #1")) << watch.output();
    EXPECT_EQ(watch.end(), 0);
    const std::string lines = linesOf(watch);
    EXPECT_EQ(lines.substr(std::min(lines.find(' '), lines.size())), "  #1  1234:0001  Works present\n"
                                                                     "arrived  #2  1234:0002  Works coming\n"
                                                                     "left     #2  1234:0002  Works coming\n"
                                                                     "arrived  #3  1234:0002  Works coming\n"
                                                                     "left     #1  1234:0001  Works present\n");
}

INSTANTIATE_TEST_SUITE_P(Of, Containers,
                         testing::Values(Container{"ANetworkOfItsOwnThatTheKernelSpeaksTo", "-m -n", "", false},
                                         Container{"AUserAndNetworkOfItsOwn", "-U -r -m -n", "", false},
                                         Container{"AUserAndNetworkOfItsOwnWithoutNodes", "-U -r -m -n",
                                                   "mount -t tmpfs none /dev &&", false},
                                         Container{"ANetworkOfItsOwnAndTheFilesOfUdevd", "-m -n", "", true}),
                         [](const auto& test) { return test.param.name; });
