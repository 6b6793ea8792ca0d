#include "CoreFoundation/DescriptorSet.h"
#include "RunLoopSources.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>

namespace {

using qrx::platform::Deadline;
using qrx::cf::DescriptorSet;

TEST(DescriptorSet, ReportsTheTokenOfAReadableMember)
{
    const Pipe pipes[2];
    DescriptorSet set;
    EXPECT_EQ(set.watch(pipes[0].reader(), 10), pipes[0].reader());
    EXPECT_EQ(set.watch(pipes[1].reader(), 11), pipes[1].reader());
    EXPECT_EQ(set.wait(Deadline::now()), std::nullopt);
    pipes[1].put('x');
    EXPECT_EQ(set.wait(Deadline::now()), 11u);
    EXPECT_EQ(set.wait(Deadline::after(kDeadlineSeconds)), 11u) << "as long as it is readable";
    set.unwatch(pipes[1].reader(), pipes[1].reader());
    EXPECT_EQ(set.wait(Deadline::now()), std::nullopt);
}

/// Three pipes under the tokens 1 to 3, all readable.
struct ReadablePipes {
    ReadablePipes()
    {
        for (std::uint64_t token = 1; const Pipe& pipe : pipes) {
            set.watch(pipe.reader(), token++);
            pipe.put('x');
        }
    }

    const Pipe pipes[3];
    DescriptorSet set;
};

TEST(DescriptorSet, ALookMayFindSeveralMembersWhichAreThenGivenWithoutAnother)
{
    ReadablePipes readable;
    EXPECT_EQ(readable.set.wait(Deadline::now(), DescriptorSet::Look::several), 1u);
    for (const Pipe& pipe : readable.pipes) {
        pipe.take(); // so that another look would find nothing
    }
    EXPECT_EQ(readable.set.takeFound(), 2u);
    EXPECT_EQ(readable.set.takeFound(), 3u);
    EXPECT_EQ(readable.set.takeFound(), std::nullopt);
}

TEST(DescriptorSet, ALookForOneFindsOneAndTheNextLookAnother)
{
    ReadablePipes readable;
    for (const std::uint64_t token : {1u, 2u, 3u, 1u}) {
        EXPECT_EQ(readable.set.wait(Deadline::now()), token);
        EXPECT_EQ(readable.set.takeFound(), std::nullopt);
    }
}

TEST(DescriptorSet, WhatIsDoubtedIsGivenAfterAnotherLookOnlyAndThenBeforeOthers)
{
    for (const auto look : {DescriptorSet::Look::one, DescriptorSet::Look::several}) {
        ReadablePipes readable;
        readable.set.wait(Deadline::now(), DescriptorSet::Look::several);
        readable.pipes[1].take();
        readable.set.doubtFound();
        EXPECT_EQ(readable.set.takeFound(), std::nullopt);
        EXPECT_EQ(readable.set.wait(Deadline::now(), look), 3u) << "2 is not readable any more, 1 was given";
        EXPECT_EQ(readable.set.takeFound(), 1u);
    }
}

TEST(DescriptorSet, ASecondMembershipOfADescriptorHasADuplicateOfItsOwn)
{
    const Pipe pipe;
    DescriptorSet set;
    set.watch(pipe.reader(), 1);
    const int duplicate = set.watch(pipe.reader(), 2);
    ASSERT_GE(duplicate, 0);
    EXPECT_NE(duplicate, pipe.reader());
    set.unwatch(duplicate, pipe.reader());
    EXPECT_EQ(::fcntl(duplicate, F_GETFD), -1) << "closed with its membership";
    EXPECT_NE(::fcntl(pipe.reader(), F_GETFD), -1) << "not ours to close";
}

/// While it lives, the number 0 is free, which a program has that closed its standard input.
struct FreeZero {
    FreeZero() : kept(::fcntl(0, F_DUPFD_CLOEXEC, 0)) { ::close(0); }
    FreeZero(const FreeZero&) = delete;
    FreeZero& operator=(const FreeZero&) = delete;
    ~FreeZero()
    {
        ::close(0);
        if (kept >= 0) {
            ::dup2(kept, 0);
            ::close(kept);
        }
    }

    const int kept;
};

TEST(DescriptorSet, TheNumberZeroIsADescriptorLikeAnyOther)
{
    DescriptorSet set;
    const FreeZero free;
    const Pipe pipe;
    ASSERT_EQ(pipe.reader(), 0);
    EXPECT_EQ(set.watch(0, 5), 0);
    pipe.put('x');
    EXPECT_EQ(set.wait(Deadline::now()), 5u);
    set.unwatch(0, 0);
    EXPECT_EQ(set.wait(Deadline::now()), std::nullopt);
    EXPECT_NE(::fcntl(0, F_GETFD), -1) << "not ours to close";
}

TEST(DescriptorSet, ADuplicateMayHaveTheNumberZero)
{
    DescriptorSet set;
    const Pipe pipe;
    const FreeZero free;
    set.watch(pipe.reader(), 1);
    ASSERT_EQ(set.watch(pipe.reader(), 2), 0);
    set.unwatch(pipe.reader(), pipe.reader());
    pipe.put('x');
    EXPECT_EQ(set.wait(Deadline::now()), 2u);
    set.unwatch(0, pipe.reader());
    EXPECT_EQ(set.wait(Deadline::now()), std::nullopt);
    EXPECT_EQ(::fcntl(0, F_GETFD), -1) << "closed with its membership";
}

TEST(DescriptorSet, ASignalInterruptsAWait)
{
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
    const Pipe pipe;
    DescriptorSet set;
    set.watch(pipe.reader(), 1);
    // Again and again, for one that comes before the wait interrupts nothing.
    const itimerval often{{0, 20000}, {0, 20000}};
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    const Deadline deadline = Deadline::after(kDeadlineSeconds);
    EXPECT_EQ(set.wait(deadline), std::nullopt);
    ::setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_FALSE(deadline.passed());
    ::sigaction(SIGALRM, &before, nullptr);
}

TEST(DescriptorSet, WhatCannotBeWatchedIsRefusedAndNothingIsLeftBehind)
{
    DescriptorSet set;
    EXPECT_EQ(set.watch(-1, 1), -1);
    const int file = ::open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    EXPECT_EQ(set.watch(file, 1), -1) << "a plain file";
    ::close(file);
    EXPECT_EQ(set.watch(file, 1), -1) << "closed";
    set.unwatch(-1, file);
    EXPECT_EQ(set.wait(Deadline::now()), std::nullopt);
}

TEST(DescriptorSet, AClosedSetHasNoDescriptorAndTakesNoMember)
{
    const Pipe pipe;
    DescriptorSet set;
    EXPECT_GE(set.descriptor(), 0);
    set.close();
    EXPECT_EQ(set.descriptor(), -1);
    EXPECT_EQ(set.watch(pipe.reader(), 1), -1);
}

/// From now on this process is refused the precise wait with `error`. False if the system does not let us.
bool refusePreciseWait(int error)
{
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_epoll_pwait2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned int>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{sizeof filter / sizeof filter[0], filter};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0;
}

/// Exits with 0 if a timed wait ends by its deadline, not before, and a readable member is still reported.
[[noreturn]] void waitWithoutPreciseWait(int error)
{
    if (!refusePreciseWait(error)) {
        std::fputs("no filter", stderr);
        std::exit(77);
    }
    const Pipe pipe;
    DescriptorSet set;
    set.watch(pipe.reader(), 7);
    const Deadline deadline = Deadline::after(0.0035);
    const bool quiet = !set.wait(deadline).has_value() && deadline.passed();
    pipe.put('x');
    const bool reported = set.wait(Deadline::after(kDeadlineSeconds)) == 7u;
    std::fputs(quiet && reported ? "waited" : quiet ? "reported nothing" : "ended early", stderr);
    std::exit(quiet && reported ? 0 : 1);
}

TEST(DescriptorSetDeathTest, AKernelOrSandboxWithoutThePreciseWaitIsServedInMilliseconds)
{
    EXPECT_EXIT(waitWithoutPreciseWait(ENOSYS), testing::ExitedWithCode(0), "waited");
    EXPECT_EXIT(waitWithoutPreciseWait(EPERM), testing::ExitedWithCode(0), "waited");
}

} // namespace
