#include "LeakCheck.h"

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 2000;

void onThreads(const std::function<void(int)>& work)
{
    std::vector<std::thread> threads;
    for (int index = 0; index < kThreads; ++index) {
        threads.emplace_back(work, index);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

using CFObjectThreads = LeakCheck;

TEST_F(CFObjectThreads, ReferencesAreCountedAcrossThreads)
{
    CFNumberRef number = makeCountedNumber();
    onThreads([number](int) {
        for (int round = 0; round < kRounds; ++round) {
            CFRetain(number);
            CFRelease(number);
        }
    });
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRelease(number);
}

TEST_F(CFObjectThreads, TheLastReferenceMayBeDroppedAnywhere)
{
    for (int round = 0; round < 50; ++round) {
        CFStringRef string = makeString("shared");
        for (int index = 1; index < kThreads; ++index) {
            CFRetain(string);
        }
        onThreads([string](int) {
            EXPECT_EQ(CFStringGetLength(string), 6);
            CFRelease(string);
        });
    }
}

TEST_F(CFObjectThreads, AllThreadsGetTheSameConstant)
{
    std::vector<std::vector<CFStringRef>> made(kThreads);
    onThreads([&made](int index) {
        for (int number = 0; number < 200; ++number) {
            const std::string text = "constant " + std::to_string(number);
            made[static_cast<std::size_t>(index)].push_back(__CFStringMakeConstantString(text.c_str()));
        }
    });
    for (const auto& constants : made) {
        EXPECT_EQ(constants, made.front());
    }
}

TEST_F(CFObjectThreads, AllThreadsGetTheSameUuid)
{
    std::vector<CFUUIDRef> made(kThreads);
    onThreads([&made](int index) {
        made[static_cast<std::size_t>(index)] =
            CFUUIDGetConstantUUIDWithBytes(nullptr, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9);
    });
    EXPECT_EQ(made, std::vector<CFUUIDRef>(kThreads, made.front()));
}

} // namespace
