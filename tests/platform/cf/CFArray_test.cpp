#include "LeakCheck.h"

namespace {

using CFArray = LeakCheck;

TEST_F(CFArray, AnImmutableArrayRetainsItsValues)
{
    CFNumberRef number = makeCountedNumber();
    const void* values[] = {number, CFSTR("x"), kCFBooleanTrue};
    CFArrayRef array = CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks);
    EXPECT_EQ(CFGetRetainCount(number), 2);
    CFRelease(number);
    EXPECT_EQ(CFArrayGetCount(array), 3);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), number);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 2), kCFBooleanTrue);
    CFRelease(array);
}

TEST_F(CFArray, AnImmutableArrayIsOneAllocation)
{
    const long before = qrx::cf::liveObjects();
    const void* values[] = {kCFBooleanTrue, kCFBooleanFalse};
    CFArrayRef array = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
    EXPECT_EQ(qrx::cf::liveObjects(), before + 1);
    CFRelease(array);
}

TEST_F(CFArray, AppendedValuesAreRetainedAndInOrder)
{
    constexpr CFIndex kMany = 1000;
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (CFIndex index = 0; index < kMany; ++index) {
        CFNumberRef number = makeNumber(INT64_MAX - index);
        CFArrayAppendValue(array, number);
        EXPECT_EQ(CFGetRetainCount(number), 2);
        CFRelease(number);
    }
    ASSERT_EQ(CFArrayGetCount(array), kMany);
    for (CFIndex index = 0; index < kMany; ++index) {
        SInt64 value = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(CFArrayGetValueAtIndex(array, index)), kCFNumberSInt64Type, &value);
        EXPECT_EQ(value, INT64_MAX - index);
    }
    CFRelease(array);
}

TEST_F(CFArray, ACapacityIsNoLimit)
{
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 1, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(array, CFSTR("a"));
    CFArrayAppendValue(array, CFSTR("b"));
    EXPECT_EQ(CFArrayGetCount(array), 2);
    CFRelease(array);
}

TEST_F(CFArray, RawPointersAreKeptAsTheyAre)
{
    int local = 0;
    const void* values[] = {nullptr, &local};
    CFArrayRef fixed = CFArrayCreate(nullptr, values, 2, nullptr);
    CFMutableArrayRef growing = CFArrayCreateMutable(nullptr, 0, nullptr);
    CFArrayAppendValue(growing, nullptr);
    CFArrayAppendValue(growing, &local);
    for (CFArrayRef array : {fixed, CFArrayRef{growing}}) {
        EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), nullptr);
        EXPECT_EQ(CFArrayGetValueAtIndex(array, 1), &local);
    }
    EXPECT_TRUE(CFEqual(fixed, growing));
    CFRelease(fixed);
    CFRelease(growing);
}

int sm_Retained = 0;

TEST_F(CFArray, OwnCallbacksAreCopiedAndUsed)
{
    sm_Retained = 0;
    CFArrayCallBacks callBacks{};
    callBacks.retain = [](CFAllocatorRef, const void* value) {
        ++sm_Retained;
        return value;
    };
    callBacks.release = [](CFAllocatorRef, const void*) { --sm_Retained; };
    int local = 0;
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &callBacks);
    callBacks = {};
    CFArrayAppendValue(array, &local);
    CFArrayAppendValue(array, &local);
    EXPECT_EQ(sm_Retained, 2);
    CFRelease(array);
    EXPECT_EQ(sm_Retained, 0);
}

TEST_F(CFArray, AnEmptiedArrayHasReleasedItsValuesAndGrowsAgain)
{
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayRemoveAllValues(array);
    CFStringRef text = makeString("text");
    for (int i = 0; i < 20; ++i) {
        CFArrayAppendValue(array, text);
    }
    EXPECT_EQ(CFGetRetainCount(text), 21);
    CFArrayRemoveAllValues(array);
    EXPECT_EQ(CFGetRetainCount(text), 1);
    EXPECT_EQ(CFArrayGetCount(array), 0);
    CFArrayAppendValue(array, text);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), text);
    CFRelease(text);
    CFRelease(array);
}

TEST_F(CFArray, EqualityIsByContentAndOrder)
{
    CFStringRef text = makeString("x");
    const void* first[] = {CFSTR("x"), kCFBooleanTrue};
    const void* same[] = {text, kCFBooleanTrue};
    const void* swapped[] = {kCFBooleanTrue, text};
    CFArrayRef a = CFArrayCreate(nullptr, first, 2, &kCFTypeArrayCallBacks);
    CFArrayRef b = CFArrayCreate(nullptr, same, 2, &kCFTypeArrayCallBacks);
    CFArrayRef c = CFArrayCreate(nullptr, swapped, 2, &kCFTypeArrayCallBacks);
    CFArrayRef shorter = CFArrayCreate(nullptr, first, 1, &kCFTypeArrayCallBacks);
    CFArrayRef raw = CFArrayCreate(nullptr, first, 2, nullptr);
    EXPECT_TRUE(CFEqual(a, b));
    EXPECT_EQ(CFHash(a), CFHash(b));
    EXPECT_FALSE(CFEqual(a, c));
    EXPECT_FALSE(CFEqual(a, shorter));
    EXPECT_FALSE(CFEqual(a, raw));
    for (CFTypeRef object :
         {CFTypeRef{text}, CFTypeRef{a}, CFTypeRef{b}, CFTypeRef{c}, CFTypeRef{shorter}, CFTypeRef{raw}}) {
        CFRelease(object);
    }
}

using CFArrayDeathTest = CFArray;

TEST_F(CFArrayDeathTest, MisuseEndsTheProcess)
{
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayRef fixed = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
    EXPECT_DEATH(CFArrayGetValueAtIndex(array, 0), "CFArrayGetValueAtIndex: the index is outside the array");
    EXPECT_DEATH(CFArrayGetValueAtIndex(array, -1), "outside the array");
    EXPECT_DEATH(CFArrayAppendValue(array, nullptr), "CFArrayAppendValue: null instead of an object");
    EXPECT_DEATH(CFArrayAppendValue(const_cast<CFMutableArrayRef>(fixed), CFSTR("x")), "the array is immutable");
    EXPECT_DEATH(CFArrayRemoveAllValues(const_cast<CFMutableArrayRef>(fixed)), "the array is immutable");
    EXPECT_DEATH(CFArrayGetCount(nullptr), "CFArrayGetCount: null instead of an array");
    CFRelease(array);
    CFRelease(fixed);
}

} // namespace
