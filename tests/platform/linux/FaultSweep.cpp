#include "FaultSweep.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string_view>

namespace qrx::platform::test {

namespace {

std::size_t descriptorsOfProcess()
{
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

/// The calls of a trace, without the names of the temporary folders, which differ each time.
std::vector<std::string> linesOf(const std::string& trace)
{
    constexpr std::string_view kFolder = "qrx-sysfs-";
    constexpr std::size_t kRandom = 6;
    std::istringstream stream(trace);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        const std::size_t at = line.find(kFolder);
        if (at != std::string::npos) {
            line.replace(at + kFolder.size(), kRandom, "tree");
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

/// Tells the story once and returns its calls.
std::vector<std::string> tell(const std::function<std::unique_ptr<Story>()>& make, const std::optional<Fault>& fault)
{
    const std::size_t before = descriptorsOfProcess();
    std::unique_ptr<Story> story = make();
    if (fault) {
        story->calls().failCall(fault->number, fault->error);
    }
    story->tell(fault);
    EXPECT_EQ(story->calls().failures(), fault ? 1 : 0);
    EXPECT_EQ(story->calls().openDescriptors(), 0U);
    std::vector<std::string> lines = linesOf(story->calls().trace());
    story.reset();
    EXPECT_EQ(descriptorsOfProcess(), before) << "a descriptor was left behind";
    return lines;
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Fault& fault)
{
    return stream << "call " << fault.number << " (" << fault.call << ") fails: " << std::strerror(fault.error);
}

std::string kindOf(const std::string& call)
{
    return call.substr(0, call.find(' '));
}

std::vector<int> errorsOf(const std::string& call)
{
    static const std::map<std::string, std::vector<int>> sm_Errors = {
        {"access", {ENOENT, EACCES, ENOMEM}},
        {"close", {EINTR, EIO}},
        {"epoll_create", {EMFILE, ENOMEM}},
        {"epoll_ctl", {ENOMEM, ENOSPC}},
        {"epoll_wait", {EINTR}},
        {"fstatfs", {EIO, EINTR, ENOMEM}},
        {"getdents", {ENOENT, EIO, ENOMEM, EINTR}},
        {"inotify_add_watch", {ENOENT, EACCES, ENOMEM, ENOSPC}},
        {"inotify_init", {EMFILE, ENOMEM}},
        {"ioctl", {EIO, ENODEV, EPIPE, ETIMEDOUT, ENOMEM, EINTR}},
        {"netlink_bind", {EACCES, ENOMEM}},
        {"netlink_getsockname", {ENOMEM}},
        {"netlink_recv", {ENOBUFS, ENOMEM, EINTR}},
        {"netlink_recvmsg", {ENOBUFS, ENOMEM, EINTR}},
        {"netlink_setsockopt", {ENOMEM, EPERM}},
        {"netlink_socket", {EACCES, EAFNOSUPPORT, EMFILE, ENOMEM}},
        {"open", {ENOENT, EACCES, EIO, EMFILE, ENOMEM, EINTR}},
        {"preadv2", {EIO, ENODEV, ENOMEM, EINTR}},
        {"read", {EIO, ENODEV, ENOMEM, EINTR}},
        {"readlink", {ENOENT, EACCES, EIO, ENOMEM}},
        {"readv", {EIO, ENODEV, ENOMEM, EINTR}},
        {"stat", {ENOENT, EACCES, ENOMEM}},
        {"timerfd_create", {EMFILE, ENOMEM}},
        {"timerfd_settime", {ENOMEM}},
        {"write", {EIO, ENODEV, EPIPE, ETIMEDOUT, ENOMEM, EINTR}},
    };
    return sm_Errors.at(kindOf(call));
}

bool isUnnoticed(const std::optional<Fault>& fault)
{
    if (!fault || kindOf(fault->call) == "close") {
        return true;
    }
    // The order of arrival alone hangs on fstatfs.
    return fault->error == EINTR && kindOf(fault->call) != "epoll_wait" && kindOf(fault->call) != "fstatfs";
}

void sweepFaults(const std::function<std::unique_ptr<Story>()>& make, const std::vector<std::string>& kinds)
{
    const std::vector<std::string> calls = tell(make, std::nullopt);
    std::set<std::string> found;
    for (const std::string& call : calls) {
        found.insert(kindOf(call));
    }
    EXPECT_EQ(std::vector<std::string>(found.begin(), found.end()), kinds);
    ASSERT_FALSE(testing::Test::HasFailure()) << "the undisturbed story";
    std::size_t faults = 0;
    for (std::size_t at = 0; at < calls.size(); ++at) {
        for (const int error : errorsOf(calls[at])) {
            const Fault fault{static_cast<int>(at) + 1, calls[at], error};
            SCOPED_TRACE(testing::PrintToString(fault));
            const std::vector<std::string> disturbed = tell(make, fault);
            ASSERT_GT(disturbed.size(), at);
            EXPECT_EQ(disturbed[at], calls[at]) << "another call than in the undisturbed story";
            ++faults;
        }
    }
    std::cout << calls.size() << " calls, " << faults << " faults\n";
    EXPECT_GE(faults, calls.size());
}

} // namespace qrx::platform::test
