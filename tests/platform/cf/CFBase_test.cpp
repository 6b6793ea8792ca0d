#include "LeakCheck.h"

#include <limits>
#include <set>

namespace {

using CFBase = LeakCheck;

TEST_F(CFBase, RetainReturnsItsArgumentAndCounts)
{
    CFStringRef string = makeString("text");
    EXPECT_EQ(CFGetRetainCount(string), 1);
    EXPECT_EQ(CFRetain(string), string);
    EXPECT_EQ(CFGetRetainCount(string), 2);
    CFRelease(string);
    EXPECT_EQ(CFGetRetainCount(string), 1);
    CFRelease(string);
}

TEST_F(CFBase, TheLastReleaseDestroysTheObject)
{
    const long before = qrx::cf::liveObjects();
    CFStringRef string = makeString("text");
    EXPECT_EQ(qrx::cf::liveObjects(), before + 1);
    CFRelease(string);
    EXPECT_EQ(qrx::cf::liveObjects(), before);
}

TEST_F(CFBase, ConstantsAreNotCounted)
{
    const CFTypeRef constants[] = {
        kCFBooleanTrue, kCFBooleanFalse, CFSTR("constant"), makeNumber(7),
        CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16)};
    for (CFTypeRef constant : constants) {
        const CFIndex before = CFGetRetainCount(constant);
        CFRelease(constant);
        CFRelease(constant);
        EXPECT_EQ(CFRetain(constant), constant);
        EXPECT_EQ(CFGetRetainCount(constant), before);
        EXPECT_EQ(before, std::numeric_limits<CFIndex>::max());
    }
}

TEST_F(CFBase, TypeIdsDifferAndNoneIsZero)
{
    const std::set<CFTypeID> ids = {CFBooleanGetTypeID(), CFNumberGetTypeID(),     CFStringGetTypeID(),
                                    CFArrayGetTypeID(),   CFDictionaryGetTypeID(), CFDataGetTypeID(),
                                    CFUUIDGetTypeID(),    CFRunLoopGetTypeID(),    CFRunLoopSourceGetTypeID()};
    EXPECT_EQ(ids.size(), 9u);
    EXPECT_EQ(ids.count(0), 0u);
    EXPECT_EQ(CFStringGetTypeID(), 7u);
}

TEST_F(CFBase, EveryObjectTellsItsType)
{
    CFNumberRef counted = makeCountedNumber();
    CFArrayRef array = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
    CFDictionaryRef dictionary = CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr);
    CFDataRef data = CFDataCreate(nullptr, nullptr, 0);
    CFRunLoopSourceContext context{};
    CFRunLoopSourceRef source = CFRunLoopSourceCreate(nullptr, 0, &context);
    EXPECT_EQ(CFGetTypeID(kCFBooleanFalse), CFBooleanGetTypeID());
    EXPECT_EQ(CFGetTypeID(makeNumber(-1)), CFNumberGetTypeID());
    EXPECT_EQ(CFGetTypeID(counted), CFNumberGetTypeID());
    EXPECT_EQ(CFGetTypeID(CFSTR("x")), CFStringGetTypeID());
    EXPECT_EQ(CFGetTypeID(array), CFArrayGetTypeID());
    EXPECT_EQ(CFGetTypeID(dictionary), CFDictionaryGetTypeID());
    EXPECT_EQ(CFGetTypeID(data), CFDataGetTypeID());
    EXPECT_EQ(CFGetTypeID(source), CFRunLoopSourceGetTypeID());
    EXPECT_EQ(CFGetTypeID(CFRunLoopGetCurrent()), CFRunLoopGetTypeID());
    for (CFTypeRef object :
         {CFTypeRef{counted}, CFTypeRef{array}, CFTypeRef{dictionary}, CFTypeRef{data}, CFTypeRef{source}}) {
        CFRelease(object);
    }
}

TEST_F(CFBase, ABooleanIsNotANumber)
{
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, makeNumber(1)));
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_TRUE(CFEqual(kCFBooleanTrue, kCFBooleanTrue));
}

using CFBaseDeathTest = CFBase;

TEST_F(CFBaseDeathTest, NullEndsTheProcessNamingTheFunction)
{
    EXPECT_DEATH(CFRetain(nullptr), "QrxHIDManager: CFRetain: null instead of an object");
    EXPECT_DEATH(CFRelease(nullptr), "CFRelease: null");
    EXPECT_DEATH(CFGetTypeID(nullptr), "CFGetTypeID: null");
    EXPECT_DEATH(CFGetRetainCount(nullptr), "CFGetRetainCount: null");
    EXPECT_DEATH(CFHash(nullptr), "CFHash: null");
    EXPECT_DEATH(CFEqual(nullptr, CFSTR("x")), "CFEqual: null");
    EXPECT_DEATH(CFEqual(CFSTR("x"), nullptr), "CFEqual: null");
    EXPECT_DEATH(CFBooleanGetValue(nullptr), "CFBooleanGetValue: null instead of a boolean");
}

TEST_F(CFBaseDeathTest, AForeignPointerEndsTheProcess)
{
    alignas(16) static const char kForeign[32] = "not an object at all";
    EXPECT_DEATH(CFRetain(kForeign), "CFRetain: 0x[0-9a-f]+ is not an object");
    EXPECT_DEATH(CFStringGetLength(reinterpret_cast<CFStringRef>(kForeign)),
                 "CFStringGetLength: 0x[0-9a-f]+ is not an object; a string is needed");
}

TEST_F(CFBaseDeathTest, AnObjectOfAnotherTypeEndsTheProcess)
{
    EXPECT_DEATH(CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(CFSTR("x"))), "a string instead of a boolean");
    EXPECT_DEATH(CFStringGetLength(reinterpret_cast<CFStringRef>(makeNumber(3))), "a number instead of a string");
    EXPECT_DEATH(CFArrayGetCount(reinterpret_cast<CFArrayRef>(kCFBooleanTrue)), "a boolean instead of an array");
}

} // namespace
