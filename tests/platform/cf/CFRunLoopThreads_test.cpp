#include "CoreFoundation/RunLoopDescriptor.h"
#include "CoreFoundation/RunLoopSourceDescriptor.h"
#include "LeakCheck.h"
#include "RunLoopSources.h"

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace {

using CFRunLoopThreads = LeakCheck;

/// A thread that runs its default mode until it is stopped. It has a source of its own, so that it never runs dry.
class LoopThread {
public:
    LoopThread()
    {
        std::promise<CFRunLoopRef> made;
        auto loop = made.get_future();
        _thread = std::thread([this, &made] {
            SignalSource started([&made] { made.set_value(CFRunLoopGetCurrent()); });
            started.add();
            started.signal();
            _result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false);
        });
        _loop = loop.get();
    }
    ~LoopThread()
    {
        if (_thread.joinable()) {
            stop();
        }
    }

    CFRunLoopRef loop() const { return _loop; }
    /// What the run returned.
    SInt32 stop()
    {
        CFRunLoopStop(_loop);
        return join();
    }
    SInt32 join()
    {
        _thread.join();
        return _result;
    }

private:
    std::thread _thread;
    CFRunLoopRef _loop = nullptr;
    SInt32 _result = 0;
};

TEST_F(CFRunLoopThreads, EveryThreadHasItsOwnLoop)
{
    CFRunLoopRef other = nullptr;
    const long before = (CFRunLoopGetCurrent(), qrx::cf::liveRunLoops());
    std::thread([&] { other = CFRunLoopGetCurrent(); }).join();
    EXPECT_NE(other, CFRunLoopGetCurrent());
    EXPECT_EQ(qrx::cf::liveRunLoops(), before) << "it has gone with its thread";
}

TEST_F(CFRunLoopThreads, AStopFromAnotherThreadEndsAWait)
{
    LoopThread thread;
    EXPECT_EQ(thread.stop(), kCFRunLoopRunStopped);
}

TEST_F(CFRunLoopThreads, ASourceAddedFromAnotherThreadIsServedThere)
{
    const Pipe pipe;
    LoopThread thread;
    std::promise<std::thread::id> served;
    DescriptorSource source(pipe.reader(), [&] {
        pipe.take();
        served.set_value(std::this_thread::get_id());
    });
    CFRunLoopAddSource(thread.loop(), source.get(), kCFRunLoopDefaultMode);
    pipe.put('x');
    EXPECT_NE(served.get_future().get(), std::this_thread::get_id());
    EXPECT_TRUE(CFRunLoopContainsSource(thread.loop(), source.get(), kCFRunLoopDefaultMode));
    thread.stop();
    EXPECT_EQ(source.references(), 1) << "released with the thread's loop";
    EXPECT_TRUE(CFRunLoopSourceIsValid(source.get()));
}

TEST_F(CFRunLoopThreads, ASignalAndAWakeUpFromAnotherThreadFireTheSource)
{
    LoopThread thread;
    std::promise<void> served;
    SignalSource source([&] { served.set_value(); });
    CFRunLoopAddSource(thread.loop(), source.get(), kCFRunLoopDefaultMode);
    CFRunLoopSourceSignal(source.get());
    CFRunLoopWakeUp(thread.loop());
    served.get_future().get();
    thread.stop();
}

TEST_F(CFRunLoopThreads, ASignalOfADescriptorSourceWakesItsLoop)
{
    const Pipe never;
    LoopThread thread;
    std::promise<void> served;
    DescriptorSource source(never.reader(), [&] { served.set_value(); });
    CFRunLoopAddSource(thread.loop(), source.get(), kCFRunLoopDefaultMode);
    CFRunLoopSourceSignal(source.get());
    served.get_future().get();
    thread.stop();
}

TEST_F(CFRunLoopThreads, AModeEmptiedFromAnotherThreadEndsItsRun)
{
    const Pipe never;
    DescriptorSource source(never.reader(), [] {});
    std::promise<void> added;
    SInt32 result = 0;
    std::thread thread([&] {
        source.add();
        added.set_value();
        result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, kDeadlineSeconds, false);
    });
    added.get_future().get();
    source.invalidate();
    thread.join();
    EXPECT_EQ(result, kCFRunLoopRunFinished);
}

TEST_F(CFRunLoopThreads, TheLoopOfAnEndedThreadIsHarmless)
{
    const Pipe pipe;
    DescriptorSource source(pipe.reader(), [] { ADD_FAILURE() << "there is no thread to serve it"; });
    SignalSource signalled([] { ADD_FAILURE() << "there is no thread to serve it"; });
    const long before = (CFRunLoopGetCurrent(), qrx::cf::liveRunLoops());
    CFRunLoopRef dead = nullptr;
    std::thread([&] {
        dead = CFRunLoopGetCurrent();
        CFRetain(dead);
        source.add();
        signalled.add();
        signalled.signal();
    }).join();
    EXPECT_EQ(qrx::cf::liveRunLoops(), before + 1);
    EXPECT_EQ(source.references(), 1) << "its sources are released";
    EXPECT_EQ(qrx::cf::runLoopDescriptor(dead), -1);
    CFRunLoopWakeUp(dead);
    CFRunLoopStop(dead);
    CFRunLoopAddSource(dead, source.get(), kCFRunLoopDefaultMode);
    EXPECT_FALSE(CFRunLoopContainsSource(dead, source.get(), kCFRunLoopDefaultMode));
    CFRunLoopRemoveSource(dead, source.get(), kCFRunLoopDefaultMode);
    source.signal();
    CFRelease(dead);
    EXPECT_EQ(qrx::cf::liveRunLoops(), before);
}

TEST_F(CFRunLoopThreads, AnEndingThreadTellsItsSourcesToCancel)
{
    std::string log;
    SignalSource source([] {});
    source.onChange = [&](const std::string& what, CFRunLoopRef loop, CFStringRef mode) {
        log += what + (loop == CFRunLoopGetCurrent() ? " here;" : " elsewhere;");
        CFRunLoopAddSource(loop, source.get(), mode);
    };
    std::thread([&] { source.add(); }).join();
    EXPECT_EQ(log, "schedule here;cancel here;") << "and it cannot be added again";
    EXPECT_EQ(source.references(), 1);
}

TEST_F(CFRunLoopThreads, AnEndingThreadTellsSourcesInTheirOrder)
{
    std::string log;
    const auto note = [&](const char* name) {
        return [&log, name](const std::string& what, CFRunLoopRef, CFStringRef) { log += what + " " + name + ";"; };
    };
    SignalSource last([] {}, 2);
    SignalSource first([] {}, 1);
    last.onChange = note("last");
    first.onChange = note("first");
    std::thread([&] {
        last.add();
        first.add();
    }).join();
    EXPECT_EQ(log, "schedule last;schedule first;cancel first;cancel last;");
}

/// Destroyed by the ending of the thread that holds the last reference, it may call the loop once more.
TEST_F(CFRunLoopThreads, ASourceDestroyedByAnEndingThreadMayUseTheLoop)
{
    static std::atomic<int> sm_Released;
    sm_Released = 0;
    std::thread([] {
        CFRunLoopSourceContext context{};
        context.release = [](const void*) {
            CFRunLoopWakeUp(CFRunLoopGetCurrent());
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
            ++sm_Released;
        };
        CFRunLoopSourceRef source = CFRunLoopSourceCreate(nullptr, 0, &context);
        CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFRelease(source);
    }).join();
    EXPECT_EQ(sm_Released, 1);
}

TEST_F(CFRunLoopThreads, ASourceMayBeInTheLoopsOfSeveralThreads)
{
    const Pipe never;
    std::atomic<int> fired{0};
    std::promise<void> served;
    DescriptorSource source(never.reader(), [&] {
        if (++fired == 1) {
            served.set_value();
        }
    });
    {
        LoopThread first;
        LoopThread second;
        CFRunLoopAddSource(first.loop(), source.get(), kCFRunLoopDefaultMode);
        CFRunLoopAddSource(second.loop(), source.get(), kCFRunLoopDefaultMode);
        EXPECT_EQ(source.references(), 3);
        source.signal();
        served.get_future().get();
        first.stop();
        second.stop();
    }
    EXPECT_EQ(fired, 1) << "one signal, one call";
    EXPECT_EQ(source.references(), 1);
}

/// Every signal is seen: the last value set before a signal is the last one read.
TEST_F(CFRunLoopThreads, NoSignalIsLostUnderLoad)
{
    constexpr int kSignals = 5000;
    LoopThread thread;
    std::atomic<int> sent{0};
    std::promise<void> sawLast;
    int seen = 0;
    SignalSource source([&] {
        const int now = sent;
        if (now == kSignals && seen != kSignals) {
            sawLast.set_value();
        }
        seen = now;
    });
    CFRunLoopAddSource(thread.loop(), source.get(), kCFRunLoopDefaultMode);
    for (int number = 1; number <= kSignals; ++number) {
        sent = number;
        CFRunLoopSourceSignal(source.get());
        CFRunLoopWakeUp(thread.loop());
    }
    EXPECT_EQ(sawLast.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    thread.stop();
}

/// Counts its calls in an atomic that outlives it: a removed source may still be in a callback on the loop's thread.
CFRunLoopSourceRef makeCountingSource(int descriptor, std::atomic<long>& calls)
{
    struct Info {
        int descriptor;
        std::atomic<long>* calls;
    };
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    context.info = new Info{descriptor, &calls};
    context.release = [](const void* info) { delete static_cast<const Info*>(info); };
    context.getPort = [](void* info) { return static_cast<unsigned int>(static_cast<Info*>(info)->descriptor); };
    context.perform = [](void*, CFIndex, CFAllocatorRef, void* info) -> void* {
        ++*static_cast<Info*>(info)->calls;
        return nullptr;
    };
    return CFRunLoopSourceCreate(nullptr, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
}

TEST_F(CFRunLoopThreads, SourcesComeAndGoFromManyThreadsWhileTheLoopRuns)
{
    constexpr int kRounds = 300;
    std::atomic<long> calls{0};
    {
        LoopThread target;
        std::vector<std::thread> threads;
        for (int index = 0; index < 3; ++index) {
            threads.emplace_back([&target, &calls] {
                const Pipe pipe;
                pipe.put('x');
                for (int round = 0; round < kRounds; ++round) {
                    CFRunLoopSourceRef source = makeCountingSource(pipe.reader(), calls);
                    CFRunLoopAddSource(target.loop(), source, kCFRunLoopDefaultMode);
                    CFRunLoopSourceSignal(source);
                    qrx::cf::setRunLoopSourceDescriptor(source, round % 3 == 0 ? -1 : pipe.reader());
                    if (round % 2 == 0) {
                        CFRunLoopRemoveSource(target.loop(), source, kCFRunLoopDefaultMode);
                        CFRunLoopWakeUp(target.loop());
                    } else {
                        CFRunLoopSourceInvalidate(source);
                    }
                    CFRelease(source);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        // The loop is still at work: one more source is served.
        std::promise<void> served;
        SignalSource last([&] { served.set_value(); });
        CFRunLoopAddSource(target.loop(), last.get(), kCFRunLoopDefaultMode);
        CFRunLoopSourceSignal(last.get());
        CFRunLoopWakeUp(target.loop());
        EXPECT_EQ(served.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
        EXPECT_EQ(target.stop(), kCFRunLoopRunStopped);
    }
}

} // namespace
