#include "CoreFoundation/CFDictionaryShape.h"
#include "LeakCheck.h"

#include <set>
#include <string>
#include <vector>

namespace {

using CFDictionaryShape = LeakCheck;
using qrx::cf::createShapedDictionary;
using qrx::cf::makeShape;

const qrx::cf::DictionaryShape* abcShape()
{
    static const auto* const kShape = makeShape({CFSTR("a"), CFSTR("b"), CFSTR("c")});
    return kShape;
}

/// {"a": first, "c": third}
CFDictionaryRef makeWithoutB(CFTypeRef first, CFTypeRef third)
{
    const CFTypeRef values[] = {first, nullptr, third};
    return createShapedDictionary(abcShape(), values);
}

TEST_F(CFDictionaryShape, TheSameKeysGiveTheSameShape)
{
    EXPECT_EQ(makeShape({CFSTR("a"), CFSTR("b"), CFSTR("c")}), abcShape());
    EXPECT_NE(makeShape({CFSTR("b"), CFSTR("a"), CFSTR("c")}), abcShape());
    EXPECT_NE(makeShape({CFSTR("a"), CFSTR("b")}), abcShape());
    EXPECT_EQ(makeShape({})->keys().size(), 0u);
}

TEST_F(CFDictionaryShape, TakesOverTheReferencesOfItsValues)
{
    const long before = qrx::cf::liveObjects();
    CFNumberRef number = makeCountedNumber();
    CFDictionaryRef dictionary = makeWithoutB(number, kCFBooleanTrue);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(qrx::cf::liveObjects(), before + 2) << "the dictionary is one object";
    CFRelease(dictionary);
    EXPECT_EQ(qrx::cf::liveObjects(), before);
}

TEST_F(CFDictionaryShape, ANullValueMeansThatTheKeyIsAbsent)
{
    CFDictionaryRef dictionary = makeWithoutB(makeNumber(1), makeNumber(3));
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 2);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), makeNumber(1));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("b")), nullptr);
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, CFSTR("b")));
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary, CFSTR("c")));
    const void* keys[2];
    const void* values[2];
    CFDictionaryGetKeysAndValues(dictionary, keys, values);
    EXPECT_EQ(keys[0], CFSTR("a"));
    EXPECT_EQ(values[0], makeNumber(1));
    EXPECT_EQ(keys[1], CFSTR("c"));
    EXPECT_EQ(values[1], makeNumber(3));
    CFRelease(dictionary);
}

TEST_F(CFDictionaryShape, AKeyThatIsNoConstantIsFoundByItsContent)
{
    CFDictionaryRef dictionary = makeWithoutB(makeNumber(1), makeNumber(3));
    CFStringRef known = makeString("c");
    CFStringRef absent = makeString("b");
    CFStringRef unknown = makeString("d");
    EXPECT_EQ(CFDictionaryGetValue(dictionary, known), makeNumber(3));
    EXPECT_EQ(CFDictionaryGetValue(dictionary, absent), nullptr);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, unknown), nullptr);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("d")), nullptr);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, kCFBooleanTrue), nullptr);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, makeNumber(5)), nullptr);
    for (CFTypeRef object : {CFTypeRef{dictionary}, CFTypeRef{known}, CFTypeRef{absent}, CFTypeRef{unknown}}) {
        CFRelease(object);
    }
}

TEST_F(CFDictionaryShape, FindsEachOfManyKeysAndNoOther)
{
    std::vector<CFStringRef> keys;
    std::vector<CFTypeRef> values;
    for (int number = 0; number < 254; ++number) {
        keys.push_back(__CFStringMakeConstantString(("many keys: " + std::to_string(number)).c_str()));
        values.push_back(makeNumber(number));
    }
    CFDictionaryRef dictionary = createShapedDictionary(makeShape(keys), values);
    for (std::size_t number = 0; number < keys.size(); ++number) {
        EXPECT_EQ(CFDictionaryGetValue(dictionary, keys[number]), values[number]) << number;
    }
    EXPECT_EQ(CFDictionaryGetValue(dictionary, __CFStringMakeConstantString("many keys: 254")), nullptr);
    CFRelease(dictionary);
}

TEST_F(CFDictionaryShape, EqualsADictionaryOfAnotherForm)
{
    CFDictionaryRef shaped = makeWithoutB(makeNumber(1), makeNumber(3));
    CFMutableDictionaryRef pairs =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(pairs, CFSTR("c"), makeNumber(3));
    EXPECT_FALSE(CFEqual(shaped, pairs));
    CFDictionarySetValue(pairs, CFSTR("a"), makeNumber(1));
    EXPECT_TRUE(CFEqual(shaped, pairs));
    EXPECT_TRUE(CFEqual(pairs, shaped));
    EXPECT_EQ(CFHash(pairs), CFHash(shaped));
    CFRelease(shaped);
    CFRelease(pairs);
}

TEST_F(CFDictionaryShape, AMutableCopySharesTheValues)
{
    CFNumberRef number = makeCountedNumber();
    CFDictionaryRef shaped = makeWithoutB(number, kCFBooleanTrue);
    CFMutableDictionaryRef copy = CFDictionaryCreateMutableCopy(nullptr, 0, shaped);
    EXPECT_EQ(CFGetRetainCount(number), 2);
    EXPECT_TRUE(CFEqual(shaped, copy));
    CFDictionarySetValue(copy, CFSTR("b"), makeNumber(2));
    EXPECT_FALSE(CFDictionaryContainsKey(shaped, CFSTR("b")));
    CFRelease(shaped);
    EXPECT_EQ(CFDictionaryGetValue(copy, CFSTR("a")), number);
    CFRelease(copy);
}

using CFDictionaryShapeDeathTest = CFDictionaryShape;

TEST_F(CFDictionaryShapeDeathTest, MisuseEndsTheProcess)
{
    CFStringRef mortal = makeString("a");
    CFDictionaryRef dictionary = makeWithoutB(makeNumber(1), makeNumber(2));
    const CFTypeRef one[] = {kCFBooleanTrue};
    EXPECT_DEATH(makeShape({mortal}), "makeShape: a key is not a constant string");
    EXPECT_DEATH(makeShape({CFSTR("a"), CFSTR("a")}), "makeShape: a key stands twice");
    EXPECT_DEATH(makeShape(std::vector<CFStringRef>(255, CFSTR("a"))), "makeShape: too many keys");
    EXPECT_DEATH(createShapedDictionary(abcShape(), one), "the values do not match the shape");
    EXPECT_DEATH(createShapedDictionary(nullptr, one), "the values do not match the shape");
    EXPECT_DEATH(CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(dictionary), CFSTR("a"), CFSTR("x")),
                 "CFDictionarySetValue: the dictionary is immutable");
    EXPECT_DEATH(CFDictionaryGetValue(dictionary, nullptr), "CFDictionaryGetValue: null instead of an object");
    CFRelease(mortal);
    CFRelease(dictionary);
}

} // namespace
