#include "CoreFoundation/CFDictionaryShape.h"
#include "LeakCheck.h"

#include <map>
#include <string>
#include <vector>

namespace {

using CFDictionary = LeakCheck;

CFMutableDictionaryRef makeDictionary()
{
    return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

/// The key is made anew, so it is found by its content.
SInt64 valueAt(CFDictionaryRef dictionary, const std::string& key)
{
    CFStringRef asked = makeString(key.c_str());
    const void* number = CFDictionaryGetValue(dictionary, asked);
    SInt64 value = -1;
    EXPECT_EQ(CFDictionaryContainsKey(dictionary, asked) != 0, number != nullptr) << key;
    if (number != nullptr) {
        CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
    }
    CFRelease(asked);
    return value;
}

TEST_F(CFDictionary, RetainsKeysAndValues)
{
    CFStringRef key = makeString("key");
    CFNumberRef value = makeCountedNumber();
    CFMutableDictionaryRef dictionary = makeDictionary();
    CFDictionarySetValue(dictionary, key, value);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    CFDictionaryRemoveValue(dictionary, CFSTR("key"));
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);
    CFDictionarySetValue(dictionary, key, value);
    CFRelease(key);
    CFRelease(value);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("key")), value);
    CFRelease(dictionary);
}

TEST_F(CFDictionary, SetReplacesAndAddDoesNot)
{
    CFMutableDictionaryRef dictionary = makeDictionary();
    CFNumberRef first = makeCountedNumber();
    CFDictionarySetValue(dictionary, CFSTR("key"), first);
    CFDictionaryAddValue(dictionary, CFSTR("key"), makeNumber(2));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("key")), first);
    CFDictionarySetValue(dictionary, CFSTR("key"), makeNumber(3));
    EXPECT_EQ(CFGetRetainCount(first), 1) << "the replaced value is released";
    EXPECT_EQ(valueAt(dictionary, "key"), 3);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    CFDictionarySetValue(dictionary, CFSTR("key"), CFDictionaryGetValue(dictionary, CFSTR("key")));
    EXPECT_EQ(valueAt(dictionary, "key"), 3);
    CFRelease(first);
    CFRelease(dictionary);
}

TEST_F(CFDictionary, AnAbsentKeyHasNoValue)
{
    CFMutableDictionaryRef dictionary = makeDictionary();
    CFDictionarySetValue(dictionary, CFSTR("key"), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("other")), nullptr);
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, CFSTR("other")));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, makeNumber(3)), nullptr) << "a key of another type";
    CFDictionaryRemoveValue(dictionary, CFSTR("other"));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    CFRelease(dictionary);
}

/// Compares with a std::map after the same changes, on both sides of the size from which an index is kept.
TEST_F(CFDictionary, ManyKeysAreFoundAfterAddingAndRemoving)
{
    constexpr int kMany = 300;
    CFMutableDictionaryRef dictionary = makeDictionary();
    std::map<std::string, SInt64> expected;
    const auto compare = [&] {
        ASSERT_EQ(CFDictionaryGetCount(dictionary), static_cast<CFIndex>(expected.size()));
        for (int number = 0; number < kMany; ++number) {
            const std::string key = "key" + std::to_string(number);
            const auto found = expected.find(key);
            ASSERT_EQ(valueAt(dictionary, key), found != expected.end() ? found->second : -1) << key;
        }
    };
    for (int number = 0; number < kMany; ++number) {
        const std::string key = "key" + std::to_string(number);
        CFStringRef made = makeString(key.c_str());
        CFDictionarySetValue(dictionary, made, makeNumber(number));
        CFRelease(made);
        expected[key] = number;
    }
    compare();
    for (int number = 0; number < kMany; number += 3) {
        const std::string key = "key" + std::to_string(number);
        CFDictionaryRemoveValue(dictionary, __CFStringMakeConstantString(key.c_str()));
        expected.erase(key);
    }
    compare();
    for (int number = 1; number < kMany; number += 2) {
        const std::string key = "key" + std::to_string(number);
        CFDictionarySetValue(dictionary, __CFStringMakeConstantString(key.c_str()), makeNumber(1000 + number));
        expected[key] = 1000 + number;
    }
    compare();
    for (int number = 0; number < kMany; ++number) {
        const std::string key = "key" + std::to_string(number);
        CFDictionaryRemoveValue(dictionary, __CFStringMakeConstantString(key.c_str()));
    }
    expected.clear();
    compare();
    CFRelease(dictionary);
}

TEST_F(CFDictionary, KeysAndValuesComeInPairs)
{
    CFMutableDictionaryRef dictionary = makeDictionary();
    CFDictionarySetValue(dictionary, CFSTR("a"), makeNumber(1));
    CFDictionarySetValue(dictionary, CFSTR("b"), makeNumber(2));
    const void* keys[2];
    const void* values[2];
    CFDictionaryGetKeysAndValues(dictionary, keys, values);
    const std::map<const void*, const void*> pairs = {{keys[0], values[0]}, {keys[1], values[1]}};
    const std::map<const void*, const void*> expected = {{CFSTR("a"), makeNumber(1)}, {CFSTR("b"), makeNumber(2)}};
    EXPECT_EQ(pairs, expected);
    CFDictionaryGetKeysAndValues(dictionary, nullptr, nullptr);
    CFRelease(dictionary);
}

TEST_F(CFDictionary, AnImmutableOneKeepsTheFirstOfEqualKeys)
{
    const void* keys[] = {CFSTR("a"), CFSTR("b"), CFSTR("a")};
    const void* values[] = {makeNumber(1), makeNumber(2), makeNumber(3)};
    CFDictionaryRef dictionary =
        CFDictionaryCreate(nullptr, keys, values, 3, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 2);
    EXPECT_EQ(valueAt(dictionary, "a"), 1);
    EXPECT_EQ(valueAt(dictionary, "b"), 2);
    CFRelease(dictionary);
}

TEST_F(CFDictionary, RawPointersAreKeptAsTheyAre)
{
    int local = 0;
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
    CFDictionarySetValue(dictionary, nullptr, &local);
    CFDictionarySetValue(dictionary, &local, nullptr);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, nullptr), &local);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, &local), nullptr);
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary, &local));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 2);
    CFRelease(dictionary);
}

TEST_F(CFDictionary, ManyRawPointersAreFound)
{
    std::vector<int> places(200);
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
    for (const int& place : places) {
        CFDictionarySetValue(dictionary, &place, &place);
    }
    for (const int& place : places) {
        EXPECT_EQ(CFDictionaryGetValue(dictionary, &place), &place);
    }
    CFRelease(dictionary);
}

TEST_F(CFDictionary, OwnKeyComparisonWithoutAHashFindsManyKeys)
{
    CFDictionaryKeyCallBacks callBacks{};
    callBacks.equal = [](const void* first, const void* second) -> Boolean {
        return *static_cast<const int*>(first) == *static_cast<const int*>(second);
    };
    std::vector<int> numbers(100);
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(nullptr, 0, &callBacks, nullptr);
    for (std::size_t index = 0; index < numbers.size(); ++index) {
        numbers[index] = static_cast<int>(index);
        CFDictionarySetValue(dictionary, &numbers[index], &numbers[index]);
    }
    const int asked = 73;
    EXPECT_EQ(CFDictionaryGetValue(dictionary, &asked), &numbers[73]);
    CFRelease(dictionary);
}

TEST_F(CFDictionary, EqualityIsByContentNotByOrder)
{
    CFMutableDictionaryRef first = makeDictionary();
    CFMutableDictionaryRef second = makeDictionary();
    CFDictionarySetValue(first, CFSTR("a"), makeNumber(1));
    CFDictionarySetValue(first, CFSTR("b"), makeNumber(2));
    CFDictionarySetValue(second, CFSTR("b"), makeNumber(2));
    EXPECT_FALSE(CFEqual(first, second));
    CFDictionarySetValue(second, CFSTR("a"), makeNumber(1));
    EXPECT_TRUE(CFEqual(first, second));
    EXPECT_EQ(CFHash(first), CFHash(second));
    CFDictionarySetValue(second, CFSTR("a"), makeNumber(5));
    EXPECT_FALSE(CFEqual(first, second));
    CFRelease(first);
    CFRelease(second);
}

TEST_F(CFDictionary, AMutableCopyIsIndependent)
{
    CFMutableDictionaryRef original = makeDictionary();
    CFNumberRef value = makeCountedNumber();
    CFDictionarySetValue(original, CFSTR("a"), value);
    CFMutableDictionaryRef copy = CFDictionaryCreateMutableCopy(nullptr, 0, original);
    EXPECT_EQ(CFGetRetainCount(value), 3) << "shared, not copied";
    CFDictionarySetValue(copy, CFSTR("b"), makeNumber(2));
    CFDictionaryRemoveValue(original, CFSTR("a"));
    EXPECT_EQ(CFDictionaryGetValue(copy, CFSTR("a")), value);
    EXPECT_EQ(CFDictionaryGetCount(copy), 2);
    EXPECT_EQ(CFDictionaryGetCount(original), 0);
    for (CFTypeRef object : {CFTypeRef{original}, CFTypeRef{value}, CFTypeRef{copy}}) {
        CFRelease(object);
    }
}

using CFDictionaryDeathTest = CFDictionary;

TEST_F(CFDictionaryDeathTest, MisuseEndsTheProcess)
{
    CFMutableDictionaryRef dictionary = makeDictionary();
    CFDictionaryRef fixed = CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr);
    EXPECT_DEATH(CFDictionaryGetValue(nullptr, CFSTR("x")), "CFDictionaryGetValue: null instead of a dictionary");
    EXPECT_DEATH(CFDictionaryGetValue(dictionary, nullptr), "CFDictionaryGetValue: null instead of an object");
    EXPECT_DEATH(CFDictionarySetValue(dictionary, CFSTR("x"), nullptr), "CFDictionarySetValue: null");
    EXPECT_DEATH(CFDictionarySetValue(dictionary, nullptr, CFSTR("x")), "CFDictionarySetValue: null");
    EXPECT_DEATH(CFDictionaryAddValue(const_cast<CFMutableDictionaryRef>(fixed), CFSTR("x"), CFSTR("y")),
                 "CFDictionaryAddValue: the dictionary is immutable");
    CFRelease(dictionary);
    CFRelease(fixed);
}

} // namespace
