#include "CoreFoundation/RunLoopDescriptor.h"
#include "LeakCheck.h"
#include "RunLoopSources.h"

#include <stdexcept>

#include <sys/wait.h>

namespace {

class RunLoopDescriptor : public LeakCheck {
protected:
    void SetUp() override
    {
        pass(); // what an earlier case has left
        ASSERT_FALSE(ready());
    }

    /// As another loop sees it.
    static bool ready() { return isReadable(qrx::cf::runLoopDescriptor(CFRunLoopGetCurrent())); }
};

TEST_F(RunLoopDescriptor, IsReadableWhileASourcesDescriptorIs)
{
    const Pipe pipe;
    DescriptorSource source(pipe.reader(), [&] { pipe.take(); });
    source.add();
    EXPECT_FALSE(ready());
    pipe.put('a');
    pipe.put('b');
    EXPECT_TRUE(ready());
    pass();
    EXPECT_TRUE(ready()) << "one is left";
    pass();
    EXPECT_FALSE(ready());
    pipe.put('c');
    source.remove();
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, IsReadableAfterAWakeUpUntilThePassThatConsumesIt)
{
    SignalSource source([] {});
    source.add();
    source.signal();
    EXPECT_FALSE(ready()) << "a signal does not wake";
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    EXPECT_TRUE(ready());
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, AWakeUpOfALoopWithoutSourcesIsConsumed)
{
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    EXPECT_TRUE(ready());
    EXPECT_EQ(pass(), kCFRunLoopRunFinished);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, ARunInAModeWithoutSourcesLeavesTheWakeUpToTheDefaultMode)
{
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    EXPECT_EQ(pass(false, CFSTR("qrx.nobody")), kCFRunLoopRunFinished);
    EXPECT_TRUE(ready());
    pass();
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, AChildMadeByForkLeavesTheWakeUpToItsParent)
{
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    const pid_t child = ::fork();
    if (child == 0) {
        // Nothing to wait for, so there is nothing to refuse.
        ::_exit(pass() == kCFRunLoopRunFinished ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(ready());
    pass();
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, AChildMadeByForkWakesNobodyButItself)
{
    CFRunLoopRef loop = CFRunLoopGetCurrent();
    const pid_t child = ::fork();
    if (child == 0) {
        CFRunLoopWakeUp(loop);
        ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, StaysReadableWhileSignalledSourcesAreLeft)
{
    int fired = 0;
    SignalSource first([&] { ++fired; });
    SignalSource second([&] { ++fired; });
    for (SignalSource* source : {&first, &second}) {
        source->add();
        source->signal();
    }
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    pass(true);
    EXPECT_EQ(fired, 1);
    EXPECT_TRUE(ready());
    pass(true);
    EXPECT_EQ(fired, 2);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, IsNotReadableForASignalThatLeavesWithItsSource)
{
    SignalSource staying([] {});
    staying.add();
    SignalSource removed([] { FAIL() << "performed"; });
    removed.add();
    removed.signal();
    removed.remove();
    SignalSource invalidated([] { FAIL() << "performed"; });
    invalidated.add();
    invalidated.signal();
    invalidated.invalidate();
    EXPECT_EQ(pass(), kCFRunLoopRunTimedOut);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, StaysReadableForASourceThatIsSignalledBeforeItIsAdded)
{
    int fired = 0;
    SignalSource early([&] { ++fired; });
    SignalSource first([&] { early.add(); });
    first.add();
    early.signal();
    first.signal();
    pass(true);
    EXPECT_EQ(fired, 0);
    EXPECT_TRUE(ready()) << "it came into the loop while that ran";
    pass(true);
    EXPECT_EQ(fired, 1);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, IsReadableWhileADescriptorSourceIsSignalled)
{
    const Pipe never;
    int left = 3;
    DescriptorSource source(never.reader(), [] {});
    source.onPerform = [&] {
        if (--left > 0) {
            source.signal();
        }
    };
    source.add();
    source.signal();
    for (int expected = 2; expected >= 0; --expected) {
        EXPECT_TRUE(ready());
        pass();
        EXPECT_EQ(left, expected);
    }
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, AStopOrARemovalInACallbackLeavesNothingToDo)
{
    SignalSource source([] {});
    source.onPerform = [&] {
        CFRunLoopStop(CFRunLoopGetCurrent());
        source.remove();
    };
    source.add();
    source.signal();
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), kCFRunLoopRunStopped);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, ASourceOfAnotherModeDoesNotMatter)
{
    const Pipe pipe;
    DescriptorSource source(pipe.reader(), [&] { pipe.take(); });
    source.add(CFSTR("another"));
    pipe.put('x');
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, AWakeUpConsumedByARunInAnotherModeIsNotLostForTheSourcesOfTheDefaultMode)
{
    const Pipe never;
    int fired = 0;
    DescriptorSource source(never.reader(), [&] { ++fired; });
    SignalSource other([] {});
    source.add();
    other.add(CFSTR("another"));
    source.signal();
    EXPECT_EQ(pass(false, CFSTR("another")), kCFRunLoopRunTimedOut);
    EXPECT_TRUE(ready());
    pass();
    EXPECT_EQ(fired, 1);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, WhatAThrowingPassLeavesIsToBeSeen)
{
    SignalSource thrower([] { throw std::runtime_error("first"); }, 1);
    SignalSource second([] {}, 2);
    for (SignalSource* source : {&thrower, &second}) {
        source->add();
        source->signal();
    }
    EXPECT_THROW(pass(), std::runtime_error);
    EXPECT_TRUE(ready());
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_FALSE(ready());
}

TEST_F(RunLoopDescriptor, StaysTheSameWhateverComesAndGoes)
{
    const int before = qrx::cf::runLoopDescriptor(CFRunLoopGetCurrent());
    const Pipe pipe;
    DescriptorSource source(pipe.reader(), [] {});
    source.add();
    source.add(CFSTR("another"));
    pass();
    source.invalidate();
    EXPECT_EQ(qrx::cf::runLoopDescriptor(CFRunLoopGetCurrent()), before);
}

} // namespace
