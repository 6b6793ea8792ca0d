#include "CoreFoundation/RunLoopSourceDescriptor.h"
#include "LeakCheck.h"
#include "RunLoopSources.h"

#include <chrono>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using CFRunLoop = LeakCheck;

double secondsOf(const std::function<void()>& action)
{
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

TEST_F(CFRunLoop, AThreadHasOneLoop)
{
    EXPECT_EQ(CFRunLoopGetCurrent(), CFRunLoopGetCurrent());
    EXPECT_FALSE(CFEqual(CFRunLoopGetCurrent(), CFSTR("x")));
}

TEST_F(CFRunLoop, AModeWithoutSourcesIsFinishedAtOnce)
{
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), kCFRunLoopRunFinished);
    EXPECT_EQ(CFRunLoopRunInMode(CFSTR("a mode nobody made"), kDeadlineSeconds, false), kCFRunLoopRunFinished);
    EXPECT_EQ(pass(), kCFRunLoopRunFinished);
    CFRunLoopRun();
}

TEST_F(CFRunLoop, RunsUntilTheTimeIsOver)
{
    const Pipe pipe;
    DescriptorSource idle(pipe.reader(), [] { ADD_FAILURE() << "nothing was readable"; });
    idle.add();
    SInt32 result = 0;
    const double took = secondsOf([&] { result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.005, false); });
    EXPECT_EQ(result, kCFRunLoopRunTimedOut);
    EXPECT_GE(took, 0.005);
    EXPECT_LT(took, kDeadlineSeconds);
}

TEST_F(CFRunLoop, NoSecondsAreOnePass)
{
    SignalSource source([] {});
    source.add();
    for (const double seconds : {0.0, -1.0, -1e300, std::nan("")}) {
        int fired = 0;
        source.onPerform = [&] {
            ++fired;
            source.signal();
        };
        source.signal();
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false), kCFRunLoopRunTimedOut) << seconds;
        EXPECT_EQ(fired, 1) << seconds;
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, true), kCFRunLoopRunHandledSource) << seconds;
        EXPECT_EQ(fired, 2) << seconds;
    }
}

TEST_F(CFRunLoop, AVeryLongTimeIsForEver)
{
    Pipe pipe;
    DescriptorSource source(pipe.reader(), [] { CFRunLoopStop(CFRunLoopGetCurrent()); });
    source.add();
    pipe.put('x');
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 1e300, false), kCFRunLoopRunStopped);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 504911232.0, true), kCFRunLoopRunHandledSource);
}

TEST_F(CFRunLoop, SignalledSourcesFireInAscendingOrder)
{
    std::string fired;
    SignalSource last([&] { fired += 'c'; }, 10);
    SignalSource first([&] { fired += 'a'; }, -10);
    SignalSource middle([&] { fired += 'b'; });
    SignalSource quiet([&] { fired += 'q'; });
    for (SignalSource* source : {&last, &first, &middle, &quiet}) {
        source->add();
    }
    for (SignalSource* source : {&middle, &last, &first}) {
        source->signal();
    }
    EXPECT_EQ(pass(), kCFRunLoopRunTimedOut);
    EXPECT_EQ(fired, "abc");
    EXPECT_EQ(pass(), kCFRunLoopRunTimedOut);
    EXPECT_EQ(fired, "abc") << "a signal is used up";
}

TEST_F(CFRunLoop, OnlyTheFirstSignalledSourceFiresIfAskedToReturn)
{
    std::string fired;
    SignalSource second([&] { fired += 'b'; }, 2);
    SignalSource first([&] { fired += 'a'; }, 1);
    first.add();
    second.add();
    first.signal();
    second.signal();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, "a");
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, "ab");
    EXPECT_EQ(pass(true), kCFRunLoopRunTimedOut);
}

TEST_F(CFRunLoop, ASignalledSourceAndOneDescriptorAreServedInOnePass)
{
    const Pipe pipe;
    std::string fired;
    SignalSource signalled([&] { fired += '0'; });
    DescriptorSource readable(pipe.reader(), [&] { fired += pipe.take(); });
    signalled.add();
    readable.add();
    pipe.put('1');
    pipe.put('2');
    signalled.signal();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, "01");
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, "012");
}

TEST_F(CFRunLoop, AtMostOneDescriptorIsServedInAPass)
{
    const Pipe pipes[2];
    int fired = 0;
    DescriptorSource a(pipes[0].reader(), [&] { fired += pipes[0].take() != 0; });
    DescriptorSource b(pipes[1].reader(), [&] { fired += pipes[1].take() != 0; });
    a.add();
    b.add();
    pipes[0].put('x');
    pipes[1].put('x');
    EXPECT_EQ(pass(), kCFRunLoopRunTimedOut);
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(pass(), kCFRunLoopRunTimedOut);
    EXPECT_EQ(fired, 2);
    EXPECT_EQ(passesWithWork(), 0);
}

TEST_F(CFRunLoop, ADescriptorFiresAsLongAsItIsReadable)
{
    const Pipe pipe;
    std::string fired;
    DescriptorSource source(pipe.reader(), [&] { fired += pipe.take(); });
    source.add();
    for (const char byte : {'a', 'b', 'c'}) {
        pipe.put(byte);
    }
    EXPECT_EQ(passesWithWork(), 3);
    EXPECT_EQ(fired, "abc");
}

TEST_F(CFRunLoop, SourcesThatAreAlwaysReadyTakeTurns)
{
    constexpr int kRounds = 50;
    const Pipe pipes[5];
    int counts[5] = {};
    std::vector<std::unique_ptr<DescriptorSource>> sources;
    for (std::size_t index = 0; index < 5; ++index) {
        pipes[index].put('x');
        sources.push_back(std::make_unique<DescriptorSource>(pipes[index].reader(), [&, index] { ++counts[index]; }));
        sources.back()->add();
    }
    EXPECT_EQ(passesWithWork(5 * kRounds), 5 * kRounds);
    for (const int count : counts) {
        EXPECT_EQ(count, kRounds) << testing::PrintToString(counts);
    }
}

TEST_F(CFRunLoop, SourcesThatAreAlwaysReadyTakeTurnsAlsoIfEachEndsTheRun)
{
    for (const bool byException : {false, true}) {
        std::string order;
        const Pipe pipes[3];
        const auto end = [&](char name) {
            order += name;
            if (byException) {
                throw 1;
            }
            CFRunLoopStop(CFRunLoopGetCurrent());
        };
        DescriptorSource first(pipes[0].reader(), [&] { end('a'); });
        DescriptorSource second(pipes[1].reader(), [&] { end('b'); });
        DescriptorSource third(pipes[2].reader(), [&] { end('c'); });
        for (const Pipe& pipe : pipes) {
            pipe.put('x');
        }
        first.add();
        second.add();
        third.add();
        for (int runs = 0; runs < 7; ++runs) {
            try {
                CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false);
            } catch (int) {
            }
        }
        EXPECT_EQ(order, "abcabca") << byException;
    }
}

/// Two sources are ready together; the first to be served does something to the other.
void expectServedAlone(const std::function<void(TestSource& other)>& act)
{
    int served = 0;
    const Pipe pipes[2];
    TestSource* others[2] = {};
    const auto serve = [&](int own) {
        pipes[own].take();
        ++served;
        act(*others[1 - own]);
        CFRunLoopWakeUp(CFRunLoopGetCurrent());
    };
    DescriptorSource first(pipes[0].reader(), [&] { serve(0); });
    DescriptorSource second(pipes[1].reader(), [&] { serve(1); });
    const Pipe never;
    DescriptorSource keeper(never.reader(), [] {});
    others[0] = &first;
    others[1] = &second;
    pipes[0].put('x');
    pipes[1].put('x');
    first.add();
    second.add();
    keeper.add();
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01, false);
    EXPECT_EQ(served, 1);
}

TEST_F(CFRunLoop, ASourceThatLeavesAfterItWasFoundReadyIsNotServed)
{
    expectServedAlone([](TestSource& other) { other.remove(); });
    expectServedAlone([](TestSource& other) { other.invalidate(); });
    expectServedAlone([](TestSource& other) { qrx::cf::setRunLoopSourceDescriptor(other.get(), -1); });
}

TEST_F(CFRunLoop, WhatANestedRunServesTheOuterOneDoesNotServeAgain)
{
    std::string order;
    const Pipe pipes[3];
    DescriptorSource first(pipes[0].reader(), [&] {
        order += "a(";
        pipes[0].take();
        EXPECT_EQ(passesWithWork(), 1);
        order += ')';
        pipes[2].put('x');
    });
    DescriptorSource second(pipes[1].reader(), [&] {
        pipes[1].take();
        order += 'b';
    });
    DescriptorSource last(pipes[2].reader(), [&] {
        order += 'c';
        CFRunLoopStop(CFRunLoopGetCurrent());
    });
    pipes[0].put('x');
    pipes[1].put('x');
    first.add();
    second.add();
    last.add();
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), kCFRunLoopRunStopped);
    EXPECT_EQ(order, "a(b)c");
}

TEST_F(CFRunLoop, ASignalIsServedBetweenSourcesThatWereFoundTogether)
{
    std::string order;
    const Pipe pipes[3];
    const Pipe never;
    DescriptorSource signalled(never.reader(), [&] { order += 's'; });
    std::vector<std::unique_ptr<DescriptorSource>> sources;
    for (const Pipe& pipe : pipes) {
        pipe.put('x');
        sources.push_back(std::make_unique<DescriptorSource>(pipe.reader(), [&] {
            pipe.take();
            order += 'd';
            signalled.signal();
            if (order.size() > 4) {
                CFRunLoopStop(CFRunLoopGetCurrent());
            }
        }));
        sources.back()->add();
    }
    signalled.add();
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false);
    EXPECT_EQ(order, "dsdsd");
}

TEST_F(CFRunLoop, ASourceThatSignalsItselfDoesNotStarveADescriptor)
{
    const Pipe full;
    const Pipe never;
    int bulk = 0;
    int other = 0;
    DescriptorSource greedy(never.reader(), [] {});
    greedy.onPerform = [&] {
        ++bulk;
        greedy.signal();
    };
    DescriptorSource readable(full.reader(), [&] { ++other; });
    greedy.add();
    readable.add();
    full.put('x');
    greedy.signal();
    EXPECT_EQ(passesWithWork(100), 100);
    EXPECT_EQ(bulk, 50);
    EXPECT_EQ(other, 50);
}

TEST_F(CFRunLoop, ASignalledSourceAndAnEmptySetAreServedEveryPass)
{
    const Pipe never;
    int bulk = 0;
    DescriptorSource greedy(never.reader(), [] {});
    greedy.onPerform = [&] {
        if (++bulk < 20) {
            greedy.signal();
        }
    };
    greedy.add();
    greedy.signal();
    EXPECT_EQ(passesWithWork(), 20);
}

TEST_F(CFRunLoop, ADescriptorInAStateOfErrorFires)
{
    Pipe pipe;
    int fired = 0;
    DescriptorSource source(pipe.reader(), [&] { ++fired; });
    source.add();
    pipe.closeWriter();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 1);
}

TEST_F(CFRunLoop, ADescriptorThatCannotBeWatchedNeverFires)
{
    const int file = ::open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    const int closed = ::dup(file);
    ::close(closed);
    for (const int descriptor : {file, closed, -1}) {
        int fired = 0;
        DescriptorSource source(descriptor, [&] { ++fired; });
        source.add();
        EXPECT_TRUE(source.isIn());
        EXPECT_EQ(pass(), kCFRunLoopRunTimedOut) << "the mode has a source all the same";
        EXPECT_EQ(fired, 0);
        source.signal();
        EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(fired, 1);
    }
    ::close(file);
}

TEST_F(CFRunLoop, TwoSourcesMayShareADescriptor)
{
    const Pipe pipe;
    int first = 0;
    int second = 0;
    auto a = std::make_unique<DescriptorSource>(pipe.reader(), [&] { ++first; });
    DescriptorSource b(pipe.reader(), [&] { ++second; });
    a->add();
    b.add();
    pipe.put('x');
    EXPECT_EQ(passesWithWork(4), 4);
    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 2);
    a.reset();
    EXPECT_EQ(passesWithWork(3), 3);
    EXPECT_EQ(second, 5);
}

TEST_F(CFRunLoop, StopEndsTheRun)
{
    SignalSource source([] { CFRunLoopStop(CFRunLoopGetCurrent()); });
    source.add();
    source.signal();
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), kCFRunLoopRunStopped);
    source.signal();
    CFRunLoopRun();
}

TEST_F(CFRunLoop, AStopOfAnIdleLoopIsForgotten)
{
    const Pipe pipe;
    DescriptorSource source(pipe.reader(), [&] { pipe.take(); });
    source.add();
    CFRunLoopStop(CFRunLoopGetCurrent());
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut);
}

TEST_F(CFRunLoop, AStopEndsOnlyTheInnermostRun)
{
    std::string log;
    SignalSource inner([&] {
        log += "inner ";
        CFRunLoopStop(CFRunLoopGetCurrent());
    });
    SignalSource outer([&] {
        inner.signal();
        log += std::to_string(CFRunLoopRunInMode(CFSTR("inner mode"), kDeadlineSeconds, false)) + " ";
    });
    inner.add(CFSTR("inner mode"));
    outer.add();
    outer.signal();
    log += std::to_string(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false));
    EXPECT_EQ(log, "inner 2 3");
}

TEST_F(CFRunLoop, ARunMayNestInItsOwnMode)
{
    const Pipe pipe;
    std::string log;
    DescriptorSource source(pipe.reader(), [&] {
        const char byte = pipe.take();
        log += byte;
        if (byte == '(') {
            log += std::to_string(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, true));
            log += ')';
        }
    });
    source.add();
    for (const char byte : {'(', '(', 'x', 'y'}) {
        pipe.put(byte);
    }
    EXPECT_EQ(passesWithWork(), 2);
    EXPECT_EQ(log, "((x4)4)y");
}

TEST_F(CFRunLoop, AWakeUpDoesNotEndTheRun)
{
    const Pipe pipe;
    DescriptorSource source(pipe.reader(), [] {});
    source.add();
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.005, true), kCFRunLoopRunTimedOut);
}

TEST_F(CFRunLoop, AnEmptiedModeEndsTheRun)
{
    SignalSource source([] {});
    source.onPerform = [&] { source.remove(); };
    source.add();
    source.signal();
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), kCFRunLoopRunFinished);
    const Pipe pipe;
    pipe.put('x');
    DescriptorSource readable(pipe.reader(), [] {});
    readable.onPerform = [&] { readable.invalidate(); };
    readable.add();
    CFRunLoopRun();
    EXPECT_FALSE(readable.isIn());
}

TEST_F(CFRunLoop, ModesAreComparedByText)
{
    int fired = 0;
    SignalSource source([&] { ++fired; });
    CFStringRef text = makeString("kCFRunLoopDefaultMode");
    source.add(text);
    EXPECT_TRUE(source.isIn(kCFRunLoopDefaultMode));
    CFRelease(text);
    source.signal();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 1);
}

TEST_F(CFRunLoop, OnlyTheSourcesOfTheModeAreServed)
{
    const Pipe pipe;
    std::string fired;
    SignalSource here([&] { fired += 'h'; });
    SignalSource elsewhere([&] { fired += 'e'; });
    DescriptorSource readable(pipe.reader(), [&] { fired += pipe.take(); });
    here.add();
    elsewhere.add(CFSTR("elsewhere"));
    readable.add(CFSTR("elsewhere"));
    here.signal();
    elsewhere.signal();
    pipe.put('r');
    pass();
    EXPECT_EQ(fired, "h");
    pass(false, CFSTR("elsewhere"));
    EXPECT_EQ(fired, "her");
}

TEST_F(CFRunLoop, ASourceInTwoModesFiresOnceForASignal)
{
    const Pipe never;
    int fired = 0;
    DescriptorSource source(never.reader(), [&] { ++fired; });
    source.add();
    source.add(CFSTR("second"));
    source.signal();
    EXPECT_EQ(pass(true, CFSTR("second")), kCFRunLoopRunHandledSource);
    EXPECT_EQ(pass(true), kCFRunLoopRunTimedOut);
    EXPECT_EQ(fired, 1);
}

TEST_F(CFRunLoop, ARemovedSourceIsNotFiredLaterInThePass)
{
    std::string fired;
    SignalSource victim([&] { fired += 'v'; }, 2);
    SignalSource invalid([&] { fired += 'i'; }, 3);
    SignalSource remover(
        [&] {
            fired += 'r';
            victim.remove();
            invalid.invalidate();
        },
        1);
    for (SignalSource* source : {&victim, &invalid, &remover}) {
        source->add();
        source->signal();
    }
    pass();
    EXPECT_EQ(fired, "r");
    victim.add();
    pass();
    EXPECT_EQ(fired, "rv") << "the signal of a source that was removed stays";
}

TEST_F(CFRunLoop, ASourceAddedInACallbackIsServedInTheSameRun)
{
    const Pipe pipe;
    std::string fired;
    DescriptorSource added(pipe.reader(), [&] {
        fired += pipe.take();
        CFRunLoopStop(CFRunLoopGetCurrent());
    });
    SignalSource adder([&] {
        fired += 'a';
        added.add();
        pipe.put('x');
    });
    adder.add();
    adder.signal();
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), kCFRunLoopRunStopped);
    EXPECT_EQ(fired, "ax");
}

TEST_F(CFRunLoop, TheReportOfASourceThatLeftReachesNoOther)
{
    const Pipe pipe;
    pipe.put('x');
    auto first = std::make_unique<DescriptorSource>(pipe.reader(), [] { ADD_FAILURE() << "it has left"; });
    first->add();
    first.reset();
    int fired = 0;
    DescriptorSource second(pipe.reader(), [&] { ++fired; });
    second.add();
    EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(fired, 1);
}

TEST_F(CFRunLoop, AnExceptionLeavesThroughTheRunAndTheLoopStaysUsable)
{
    const Pipe pipe;
    std::string fired;
    SignalSource thrower([] { throw std::runtime_error("from a signalled source"); }, 1);
    SignalSource next([&] { fired += 'n'; }, 2);
    DescriptorSource readable(pipe.reader(), [&] { throw std::runtime_error(std::string(1, pipe.take())); });
    for (TestSource* source : {static_cast<TestSource*>(&thrower), static_cast<TestSource*>(&next)}) {
        source->add();
        source->signal();
    }
    readable.add();
    pipe.put('d');
    EXPECT_THROW(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false), std::runtime_error);
    EXPECT_EQ(thrower.references(), 2) << "the case's and the mode's";
    try {
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false);
        ADD_FAILURE() << "the descriptor's callback throws";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "d");
    }
    EXPECT_EQ(fired, "n") << "what had not fired is not lost";
    EXPECT_EQ(readable.references(), 2);
    CFRunLoopStop(CFRunLoopGetCurrent());
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.001, false), kCFRunLoopRunTimedOut)
        << "the loop is idle, so the stop is forgotten";
}

TEST_F(CFRunLoop, AnExceptionLeavesThroughNestedRuns)
{
    SignalSource inner([] { throw std::runtime_error("inner"); });
    SignalSource outer([&] {
        inner.signal();
        CFRunLoopRunInMode(CFSTR("inner mode"), kDeadlineSeconds, false);
    });
    inner.add(CFSTR("inner mode"));
    outer.add();
    outer.signal();
    EXPECT_THROW(pass(), std::runtime_error);
    EXPECT_EQ(pass(), kCFRunLoopRunTimedOut);
    CFRunLoopStop(CFRunLoopGetCurrent());
    EXPECT_EQ(pass(), kCFRunLoopRunTimedOut);
}

using CFRunLoopDeathTest = CFRunLoop;

TEST_F(CFRunLoopDeathTest, WhatIsNoLoopOrModeEndsTheProcess)
{
    SignalSource source([] {});
    EXPECT_DEATH(CFRunLoopStop(nullptr), "CFRunLoopStop: null instead of a run loop");
    EXPECT_DEATH(CFRunLoopWakeUp(nullptr), "CFRunLoopWakeUp: null instead of a run loop");
    EXPECT_DEATH(CFRunLoopRunInMode(nullptr, 0, false), "CFRunLoopRunInMode: null instead of a string");
    EXPECT_DEATH(CFRunLoopAddSource(CFRunLoopGetCurrent(), nullptr, kCFRunLoopDefaultMode),
                 "CFRunLoopAddSource: null instead of a run loop source");
    EXPECT_DEATH(CFRunLoopAddSource(nullptr, source.get(), kCFRunLoopDefaultMode), "null instead of a run loop");
    EXPECT_DEATH(CFRunLoopRemoveSource(CFRunLoopGetCurrent(), source.get(), nullptr), "null instead of a string");
}

} // namespace
