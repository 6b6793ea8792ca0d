#pragma once

#include "CoreFoundation/LiveObjects.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

/// A case that must leave as many objects behind as it found.
class LeakCheck : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(qrx::cf::liveObjects(), _before) << "objects made and not released"; }

private:
    const long _before = qrx::cf::liveObjects();
};

inline CFStringRef makeString(const char* text)
{
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

inline CFNumberRef makeNumber(SInt64 value)
{
    return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value);
}

/// Too large for a pointer, so an object that is counted.
inline CFNumberRef makeCountedNumber()
{
    return makeNumber(INT64_MAX);
}
