/// Sources that come and go and come again, of equal order, in several modes, and signals where nothing wakes.

#include "LeakCheck.h"
#include "RunLoopSources.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using RunLoopLives = LeakCheck;

TEST_F(RunLoopLives, SourcesOfEqualOrderFireInTheOrderInWhichTheyWereAdded)
{
    std::string fired;
    std::vector<std::unique_ptr<SignalSource>> sources;
    for (const auto& [name, order] : {std::pair('x', 1), {'a', 0}, {'b', 0}, {'y', 1}, {'c', 0}}) {
        sources.push_back(std::make_unique<SignalSource>([&fired, it = name] { fired += it; }, order));
        sources.back()->add();
    }
    for (auto source = sources.rbegin(); source != sources.rend(); ++source) {
        (*source)->signal();
    }
    pass();
    EXPECT_EQ(fired, "abcxy");
    sources[1]->remove();
    sources[1]->add();
    for (const auto& source : sources) {
        source->signal();
    }
    pass();
    EXPECT_EQ(fired, "abcxybcaxy") << "what is added again is the last";
}

TEST_F(RunLoopLives, ASourceThatIsAddedTwiceIsThereOnce)
{
    int fired = 0;
    SignalSource source([&] { ++fired; });
    source.add();
    source.add();
    EXPECT_EQ(source.references(), 2);
    source.signal();
    pass();
    EXPECT_EQ(fired, 1);
    source.remove();
    EXPECT_FALSE(source.isIn());
    EXPECT_EQ(source.references(), 1);
    source.remove();
    EXPECT_EQ(source.references(), 1);
}

TEST_F(RunLoopLives, ASourceThatIsAddedAgainServesAsBefore)
{
    const Pipe pipe;
    int read = 0;
    DescriptorSource source(pipe.reader(), [&] {
        pipe.take();
        ++read;
    });
    for (int life = 1; life <= 3; ++life) {
        source.add();
        pipe.put('x');
        EXPECT_EQ(passesWithWork(), 1);
        EXPECT_EQ(read, life);
        source.remove();
        pipe.put('x');
        EXPECT_EQ(passesWithWork(), 0);
        pipe.take();
    }
}

TEST_F(RunLoopLives, ASignalThatWasNotServedIsKeptWhileTheSourceIsAway)
{
    const Pipe never;
    int fired = 0;
    DescriptorSource source(never.reader(), [&] { ++fired; });
    source.add();
    source.signal();
    source.remove();
    EXPECT_EQ(passesWithWork(), 0);
    source.add();
    EXPECT_EQ(passesWithWork(), 1);
    EXPECT_EQ(fired, 1);
}

TEST_F(RunLoopLives, ASignalledSourceThatLeftIsNotServedWhileOthersAre)
{
    const Pipe never;
    int fired = 0;
    DescriptorSource away(never.reader(), [&] { ++fired; });
    DescriptorSource other(never.reader(), [] {});
    away.add();
    other.add();
    away.signal();
    away.remove();
    EXPECT_EQ(passesWithWork(), 0);
    EXPECT_EQ(fired, 0);
}

TEST_F(RunLoopLives, WhatEndsASourceInItsCallbackMayUseTheLoop)
{
    // The last reference goes after the callback; what it releases calls the loop again.
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    bool isReleased = false;
    struct Info {
        CFRunLoopSourceRef source;
        bool& isReleased;
    } info{nullptr, isReleased};
    context.info = &info;
    context.perform = [](void*, CFIndex, CFAllocatorRef, void* it) -> void* {
        CFRunLoopSourceInvalidate(static_cast<Info*>(it)->source);
        CFRelease(static_cast<Info*>(it)->source);
        return nullptr;
    };
    context.release = [](const void* it) {
        CFRunLoopWakeUp(CFRunLoopGetCurrent());
        static_cast<const Info*>(it)->isReleased = true;
    };
    info.source = CFRunLoopSourceCreate(nullptr, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), info.source, kCFRunLoopDefaultMode);
    CFRunLoopSourceSignal(info.source);
    EXPECT_EQ(passesWithWork(), 1);
    EXPECT_TRUE(isReleased);
}

TEST_F(RunLoopLives, ManySourcesKeepTheirPlacesWhileOthersLeave)
{
    std::vector<std::unique_ptr<Pipe>> pipes;
    std::vector<std::unique_ptr<DescriptorSource>> sources;
    std::string fired;
    const auto make = [&](char name) {
        const Pipe& pipe = *pipes.emplace_back(std::make_unique<Pipe>());
        sources.push_back(std::make_unique<DescriptorSource>(pipe.reader(), [&fired, &pipe, name] {
            pipe.take();
            fired += name;
        }));
        sources.back()->add();
    };
    for (const char name : {'a', 'b', 'c', 'd'}) {
        make(name);
    }
    sources[1]->remove();
    sources[2]->remove();
    for (const char name : {'e', 'f', 'g'}) {
        make(name);
    }
    for (const auto& pipe : pipes) {
        pipe->put('x');
    }
    EXPECT_EQ(passesWithWork(), 5);
    std::sort(fired.begin(), fired.end());
    EXPECT_EQ(fired, "adefg");
}

TEST_F(RunLoopLives, ASignalledSourceWithoutAWakeIsServedInTheNextPass)
{
    const Pipe never;
    int fired = 0;
    SignalSource signalled([&] { ++fired; });
    DescriptorSource other(never.reader(), [] {});
    signalled.add();
    other.add();
    signalled.signal();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(pass(true), kCFRunLoopRunTimedOut);
    EXPECT_EQ(fired, 1);
}

TEST_F(RunLoopLives, ASourceInTwoModesThatLeavesOneIsServedInTheOther)
{
    const Pipe pipe;
    int read = 0;
    DescriptorSource source(pipe.reader(), [&] {
        pipe.take();
        ++read;
    });
    source.add();
    source.add(CFSTR("another"));
    source.remove();
    pipe.put('x');
    EXPECT_EQ(pass(true), kCFRunLoopRunFinished) << "the mode is empty";
    EXPECT_EQ(pass(true, CFSTR("another")), kCFRunLoopRunHandledSource);
    source.signal();
    EXPECT_EQ(pass(true, CFSTR("another")), kCFRunLoopRunHandledSource);
    EXPECT_EQ(read, 2);
}

TEST_F(RunLoopLives, ASignalInACallbackIsServedInTheSameRunThoughALaterSourceWasTakenOut)
{
    const Pipe never;
    DescriptorSource waited(never.reader(), [] {});
    SignalSource stopper([] { CFRunLoopStop(CFRunLoopGetCurrent()); }, 3);
    SignalSource second([] { ADD_FAILURE() << "it was taken out"; }, 2);
    SignalSource first(
        [&] {
            second.remove();
            stopper.signal();
        },
        1);
    waited.add();
    for (SignalSource* source : {&first, &second, &stopper}) {
        source->add();
    }
    first.signal();
    second.signal();
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), kCFRunLoopRunStopped);
}

TEST_F(RunLoopLives, AfterAnExceptionTheOtherSignalledSourcesAreStillDueOnce)
{
    std::string fired;
    SignalSource first([&] { fired += 'a'; }, 1);
    SignalSource thrower([&] { throw std::runtime_error("from a source"); }, 2);
    SignalSource last([&] { fired += 'c'; }, 3);
    for (SignalSource* source : {&last, &thrower, &first}) {
        source->add();
        source->signal();
    }
    EXPECT_THROW(pass(), std::runtime_error);
    EXPECT_EQ(fired, "a");
    EXPECT_EQ(passesWithWork(), 1);
    EXPECT_EQ(fired, "ac");
}

TEST_F(RunLoopLives, ALoopThatWasStoppedRunsAgain)
{
    const Pipe never;
    DescriptorSource source(never.reader(), [] { CFRunLoopStop(CFRunLoopGetCurrent()); });
    source.add();
    for (int life = 0; life < 2; ++life) {
        source.signal();
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), kCFRunLoopRunStopped);
        EXPECT_EQ(pass(), kCFRunLoopRunTimedOut) << "the stop is used up";
    }
}

} // namespace
