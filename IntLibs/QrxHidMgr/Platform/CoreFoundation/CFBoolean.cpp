#include "Object.h"

using namespace qrx::cf;

struct __CFBoolean : Object {
    static constexpr Type kType = Type::boolean;

    explicit constexpr __CFBoolean(bool value) : Object(kType, kImmortal), _value(value) {}

    const bool _value;
};

namespace {

// The two values of the process, made by the compiler: they can be used before and after all static objects. Equality
// is identity.
constinit const __CFBoolean sm_True(true);
constinit const __CFBoolean sm_False(false);

} // namespace

constinit const CFBooleanRef kCFBooleanTrue = &sm_True;
constinit const CFBooleanRef kCFBooleanFalse = &sm_False;

const TypeOperations qrx::cf::kBooleanOperations{"a boolean", nullptr, nullptr, nullptr};

CFTypeID CFBooleanGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::boolean);
}

Boolean CFBooleanGetValue(CFBooleanRef boolean)
{
    return checked<__CFBoolean>(boolean, "CFBooleanGetValue")._value;
}
