#include "CoreFoundation/RunLoopDescriptor.h"
#include "CoreFoundation/RunLoopSourceDescriptor.h"
#include "LeakCheck.h"
#include "RunLoopSources.h"

namespace {

using qrx::cf::setRunLoopSourceDescriptor;

class RunLoopSourceDescriptor : public LeakCheck {
protected:
    static bool ready() { return isReadable(qrx::cf::runLoopDescriptor(CFRunLoopGetCurrent())); }

    Pipe first;
    Pipe second;
    int fired = 0;
};

TEST_F(RunLoopSourceDescriptor, TheSourceWaitsForTheNewOneOnly)
{
    DescriptorSource source(first.reader(), [&] { ++fired; });
    source.add();
    setRunLoopSourceDescriptor(source.get(), second.reader());
    first.put('a');
    EXPECT_FALSE(ready());
    EXPECT_EQ(passesWithWork(), 0);
    second.put('b');
    EXPECT_TRUE(ready());
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 1);
}

TEST_F(RunLoopSourceDescriptor, MayComeBeforeTheSourceIsInALoop)
{
    DescriptorSource source(-1, [&] { ++fired; });
    setRunLoopSourceDescriptor(source.get(), first.reader());
    first.put('a');
    source.add();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 1);
}

TEST_F(RunLoopSourceDescriptor, NoneSilencesTheSourceWhichStaysInTheLoop)
{
    DescriptorSource source(first.reader(), [&] { ++fired; });
    source.add();
    first.put('a');
    setRunLoopSourceDescriptor(source.get(), -1);
    EXPECT_FALSE(ready());
    EXPECT_EQ(pass(true), kCFRunLoopRunTimedOut) << "the loop is not empty";
    source.signal();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource) << "a signal still serves it";
    setRunLoopSourceDescriptor(source.get(), first.reader());
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 2);
}

TEST_F(RunLoopSourceDescriptor, ChangesInEveryMode)
{
    DescriptorSource source(first.reader(), [&] { ++fired; });
    source.add();
    source.add(CFSTR("second"));
    setRunLoopSourceDescriptor(source.get(), second.reader());
    first.put('a');
    EXPECT_EQ(pass(true), kCFRunLoopRunTimedOut);
    EXPECT_EQ(pass(true, CFSTR("second")), kCFRunLoopRunTimedOut);
    second.put('b');
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(pass(true, CFSTR("second")), kCFRunLoopRunHandledSource);
}

TEST_F(RunLoopSourceDescriptor, TwoSourcesShareOne)
{
    DescriptorSource source(-1, [&] { ++fired; });
    DescriptorSource other(-1, [&] { fired += 10; });
    source.add();
    other.add();
    setRunLoopSourceDescriptor(source.get(), first.reader());
    setRunLoopSourceDescriptor(other.get(), first.reader());
    first.put('a');
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 11) << "they take turns";
    setRunLoopSourceDescriptor(source.get(), -1);
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 21) << "the other one still waits for it";
    setRunLoopSourceDescriptor(source.get(), first.reader());
    setRunLoopSourceDescriptor(other.get(), -1);
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 22);
}

TEST_F(RunLoopSourceDescriptor, AnInvalidSourceIsNotWokenByIt)
{
    DescriptorSource source(-1, [&] { ++fired; });
    source.add();
    source.invalidate();
    setRunLoopSourceDescriptor(source.get(), first.reader());
    first.put('a');
    EXPECT_FALSE(ready());
    EXPECT_EQ(pass(true), kCFRunLoopRunFinished);
    EXPECT_EQ(fired, 0);
}

TEST_F(RunLoopSourceDescriptor, MayChangeWhileTheSourceIsServed)
{
    CFRunLoopSourceRef served = nullptr;
    DescriptorSource source(first.reader(), [&] {
        ++fired;
        setRunLoopSourceDescriptor(served, second.reader());
    });
    served = source.get();
    source.add();
    first.put('a');
    EXPECT_EQ(passesWithWork(), 1);
    second.put('b');
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 2);
}

using RunLoopSourceDescriptorDeathTest = RunLoopSourceDescriptor;

TEST_F(RunLoopSourceDescriptorDeathTest, IsNothingForAnotherKindOfSource)
{
    SignalSource source([] {});
    source.add();
    EXPECT_DEATH(setRunLoopSourceDescriptor(source.get(), first.reader()), "version 0 waits for no descriptor");
    EXPECT_DEATH(setRunLoopSourceDescriptor(nullptr, -1), "null instead of a run loop source");
}

} // namespace
