#include "LeakCheck.h"
#include "RunLoopSources.h"

#include <string>
#include <vector>

namespace {

using CFRunLoopSource = LeakCheck;

/// Writes schedule and cancel down.
std::function<void(const std::string&, CFRunLoopRef, CFStringRef)> recorder(std::vector<std::string>& log)
{
    return [&log](const std::string& what, CFRunLoopRef loop, CFStringRef mode) {
        const bool own = loop == CFRunLoopGetCurrent();
        log.push_back(what + (own ? " here in " : " elsewhere in ") +
                      CFStringGetCStringPtr(mode, kCFStringEncodingUTF8));
    };
}

TEST_F(CFRunLoopSource, TheModeRetainsTheSource)
{
    SignalSource source([] {});
    EXPECT_EQ(source.references(), 1);
    source.add();
    EXPECT_EQ(source.references(), 2);
    source.add();
    EXPECT_EQ(source.references(), 2) << "it is there already";
    source.add(CFSTR("second"));
    EXPECT_EQ(source.references(), 3);
    source.remove();
    EXPECT_EQ(source.references(), 2);
    EXPECT_FALSE(source.isIn());
    EXPECT_TRUE(source.isIn(CFSTR("second")));
    source.remove();
    EXPECT_EQ(source.references(), 2) << "it was not there any more";
}

TEST_F(CFRunLoopSource, ScheduleAndCancelAreToldForEachMode)
{
    std::vector<std::string> log;
    SignalSource source([] {});
    source.onChange = recorder(log);
    source.add();
    source.add();
    source.add(CFSTR("second"));
    source.remove();
    source.remove();
    source.invalidate();
    const std::vector<std::string> expected = {"schedule here in kCFRunLoopDefaultMode", "schedule here in second",
                                               "cancel here in kCFRunLoopDefaultMode", "cancel here in second"};
    EXPECT_EQ(log, expected);
}

TEST_F(CFRunLoopSource, AnInvalidSourceLeavesEveryModeForGood)
{
    int fired = 0;
    SignalSource source([&] { ++fired; });
    source.add();
    source.add(CFSTR("second"));
    source.signal();
    EXPECT_TRUE(CFRunLoopSourceIsValid(source.get()));
    source.invalidate();
    source.invalidate();
    EXPECT_FALSE(CFRunLoopSourceIsValid(source.get()));
    EXPECT_FALSE(source.isIn());
    EXPECT_FALSE(source.isIn(CFSTR("second")));
    EXPECT_EQ(source.references(), 1) << "the caller's reference stays";
    source.add();
    source.signal();
    EXPECT_FALSE(source.isIn());
    EXPECT_EQ(pass(), kCFRunLoopRunFinished);
    EXPECT_EQ(fired, 0);
}

/// Counts what a context asks of its info.
struct CountedInfo {
    int retained = 0;
    int released = 0;
    int asked = 0;
};

const void* retainInfo(const void* info)
{
    ++static_cast<CountedInfo*>(const_cast<void*>(info))->retained;
    return info;
}

void releaseInfo(const void* info)
{
    ++static_cast<CountedInfo*>(const_cast<void*>(info))->released;
}

TEST_F(CFRunLoopSource, TheInfoIsRetainedAndTheDescriptorAskedForOnce)
{
    CountedInfo info;
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    context.info = &info;
    context.retain = retainInfo;
    context.release = releaseInfo;
    context.getPort = [](void* asked) {
        ++static_cast<CountedInfo*>(asked)->asked;
        return static_cast<unsigned int>(-1);
    };
    auto source = CFRunLoopSourceCreate(nullptr, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    EXPECT_EQ(info.retained, 1);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, CFSTR("second"));
    EXPECT_EQ(info.asked, 1);
    CFRelease(source);
    EXPECT_EQ(info.released, 0) << "the modes hold it";
    CFRunLoopSourceInvalidate(source);
    EXPECT_EQ(info.released, 1);
}

/// A source that gives itself up in its callback.
struct SelfDestroying {
    CountedInfo info; ///< first, so that a pointer to it is one to this
    CFRunLoopSourceRef source = nullptr;
    int releasedDuringCall = -1;

    static void destroy(void* given)
    {
        auto& self = *static_cast<SelfDestroying*>(given);
        CFRunLoopSourceInvalidate(self.source);
        CFRelease(self.source);
        self.releasedDuringCall = self.info.released;
    }

    /// One pass with the source due.
    void fire()
    {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(source);
        EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(releasedDuringCall, 0) << "it is retained during the call";
        EXPECT_EQ(info.released, 1);
    }
};

TEST_F(CFRunLoopSource, ASignalledOneMayBeDestroyedInItsOwnCallback)
{
    SelfDestroying self;
    CFRunLoopSourceContext context{};
    context.info = &self;
    context.release = releaseInfo;
    context.perform = SelfDestroying::destroy;
    self.source = CFRunLoopSourceCreate(nullptr, 0, &context);
    self.fire();
}

TEST_F(CFRunLoopSource, OneWithADescriptorMayBeDestroyedInItsOwnCallback)
{
    SelfDestroying self;
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    context.info = &self;
    context.release = releaseInfo;
    context.perform = [](void* message, CFIndex size, CFAllocatorRef, void* info) -> void* {
        EXPECT_EQ(message, nullptr);
        EXPECT_EQ(size, 0);
        SelfDestroying::destroy(info);
        return nullptr;
    };
    self.source = CFRunLoopSourceCreate(nullptr, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    self.fire();
}

TEST_F(CFRunLoopSource, ASourceWithoutCallbacksIsHarmless)
{
    CFRunLoopSourceContext context{};
    CFRunLoopSourceRef source = CFRunLoopSourceCreate(nullptr, 0, &context);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    CFRunLoopSourceSignal(source);
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    CFRunLoopSourceInvalidate(source);
    CFRelease(source);
}

TEST_F(CFRunLoopSource, ASignalBeforeTheSourceIsAddedIsKept)
{
    const Pipe never;
    std::string fired;
    SignalSource version0([&] { fired += '0'; });
    DescriptorSource version1(never.reader(), [&] { fired += '1'; });
    version0.signal();
    version1.signal();
    version0.add();
    version1.add();
    pass();
    EXPECT_EQ(fired, "01");
    EXPECT_EQ(passesWithWork(), 0);
}

TEST_F(CFRunLoopSource, ASignalledDescriptorThatIsReadableTooFiresOnceForBoth)
{
    const Pipe pipe;
    int fired = 0;
    DescriptorSource source(pipe.reader(), [&] {
        ++fired;
        pipe.take();
    });
    source.add();
    pipe.put('x');
    source.signal();
    source.signal();
    EXPECT_EQ(passesWithWork(), 1);
    EXPECT_EQ(fired, 1);
}

TEST_F(CFRunLoopSource, SignalledDescriptorsAreServedOnePerPassInTurn)
{
    const Pipe never;
    std::string fired;
    DescriptorSource a(never.reader(), [&] { fired += 'a'; });
    DescriptorSource b(never.reader(), [&] { fired += 'b'; });
    b.add();
    a.add();
    a.signal();
    b.signal();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, "a");
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, "ab");
    EXPECT_EQ(pass(true), kCFRunLoopRunTimedOut);
}

TEST_F(CFRunLoopSource, MayRemoveItselfWhileItIsScheduled)
{
    SignalSource source([] {});
    source.onChange = [&source](const std::string& what, CFRunLoopRef, CFStringRef mode) {
        if (what == "schedule") {
            source.remove(mode);
        }
    };
    source.add();
    EXPECT_FALSE(source.isIn());
    EXPECT_EQ(source.references(), 1);
}

using CFRunLoopSourceDeathTest = CFRunLoopSource;

TEST_F(CFRunLoopSourceDeathTest, MisuseEndsTheProcess)
{
    CFRunLoopSourceContext context{};
    context.version = 2;
    EXPECT_DEATH(CFRunLoopSourceCreate(nullptr, 0, &context), "the context's version is neither 0 nor 1");
    EXPECT_DEATH(CFRunLoopSourceCreate(nullptr, 0, nullptr), "null instead of a context");
    EXPECT_DEATH(CFRunLoopSourceSignal(nullptr), "CFRunLoopSourceSignal: null instead of a run loop source");
    EXPECT_DEATH(CFRunLoopSourceInvalidate(nullptr), "CFRunLoopSourceInvalidate: null instead of a run loop source");
    EXPECT_DEATH(CFRunLoopSourceIsValid(reinterpret_cast<CFRunLoopSourceRef>(CFRunLoopGetCurrent())),
                 "a run loop instead of a run loop source");
}

} // namespace
