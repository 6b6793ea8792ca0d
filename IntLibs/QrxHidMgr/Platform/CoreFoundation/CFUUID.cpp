#include "Base/ShortMutex.h"
#include "Object.h"

#include <cstring>
#include <mutex>

using namespace qrx::cf;

struct __CFUUID : Object {
    static constexpr Type kType = Type::uuid;

    __CFUUID(const CFUUIDBytes& bytes, CFUUIDRef next) : Object(kType, kImmortal), _bytes(bytes), _next(next) {}

    const CFUUIDBytes _bytes;
    const CFUUIDRef _next; ///< of all that were made
};

namespace {

/// Guards sm_Last.
constinit qrx::platform::ShortMutex sm_Mutex;
/// One object for each value, so that comparing UUIDs is comparing addresses. There are as many as the program's
/// headers name, so they are looked for one by one. Never destroyed: constants outlive every static object.
constinit CFUUIDRef sm_Last = nullptr;

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
    const CFUUIDBytes bytes{byte0, byte1, byte2,  byte3,  byte4,  byte5,  byte6,  byte7,
                            byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15};
    const std::lock_guard lock(sm_Mutex);
    for (CFUUIDRef known = sm_Last; known != nullptr; known = known->_next) {
        if (std::memcmp(&known->_bytes, &bytes, sizeof bytes) == 0) {
            return known;
        }
    }
    sm_Last = create<__CFUUID>(0, bytes, sm_Last);
    return sm_Last;
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid)
{
    return checked<__CFUUID>(uuid, "CFUUIDGetUUIDBytes")._bytes;
}
