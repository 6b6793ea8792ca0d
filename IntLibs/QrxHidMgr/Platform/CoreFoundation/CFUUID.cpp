#include "Object.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <mutex>

using namespace qrx::cf;

struct __CFUUID : Object {
    static constexpr Type kType = Type::uuid;

    explicit __CFUUID(const CFUUIDBytes& bytes) : Object(kType, kImmortal), _bytes(bytes) {}

    const CFUUIDBytes _bytes;
};

namespace {

using Key = std::array<UInt8, sizeof(CFUUIDBytes)>;

/// Never destroyed: constants outlive every static object.
struct Constants {
    std::mutex mutex;
    // One object for each value, so that comparing UUIDs is comparing addresses. There are as many as the program's
    // headers name.
    std::map<Key, CFUUIDRef> byBytes;
};

Constants& constants()
{
    static auto& sm_Constants = *new Constants;
    return sm_Constants;
}

} // namespace

// No equality of their own: there is one object for each value.
const TypeOperations qrx::cf::kUUIDOperations{"a UUID", nullptr, nullptr, nullptr};

CFTypeID CFUUIDGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::uuid);
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                         UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15)
{
    const Key key{byte0, byte1, byte2,  byte3,  byte4,  byte5,  byte6,  byte7,
                  byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15};
    auto& all = constants();
    const std::lock_guard lock(all.mutex);
    CFUUIDRef& constant = all.byBytes[key];
    if (constant == nullptr) {
        CFUUIDBytes bytes;
        std::memcpy(&bytes, key.data(), sizeof bytes);
        constant = create<__CFUUID>(0, bytes);
    }
    return constant;
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid)
{
    return checked<__CFUUID>(uuid, "CFUUIDGetUUIDBytes")._bytes;
}
