#include "Object.h"

#include <cstring>
#include <functional>
#include <string_view>

using namespace qrx::cf;

/// The bytes stand behind the object.
struct __CFData : Object {
    static constexpr Type kType = Type::data;

    explicit __CFData(std::size_t length) : Object(kType, kMortal), _length(length) {}

    UInt8* bytes() { return reinterpret_cast<UInt8*>(this + 1); }
    const UInt8* bytes() const { return reinterpret_cast<const UInt8*>(this + 1); }
    std::string_view content() const { return {reinterpret_cast<const char*>(this + 1), _length}; }

    const std::size_t _length;
};

namespace {

bool equalData(CFTypeRef first, CFTypeRef second)
{
    return checked<__CFData>(first, "CFEqual").content() == checked<__CFData>(second, "CFEqual").content();
}

CFHashCode hashData(CFTypeRef data)
{
    // The whole content: report descriptors of similar devices differ in single bytes.
    return std::hash<std::string_view>{}(checked<__CFData>(data, "CFHash").content());
}

} // namespace

const TypeOperations qrx::cf::kDataOperations{"a data object", dispose<__CFData>, equalData, hashData};

CFTypeID CFDataGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::data);
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length)
{
    if (length < 0 || (bytes == nullptr && length > 0)) {
        fail("CFDataCreate", "null instead of bytes, or a negative length");
    }
    const auto size = static_cast<std::size_t>(length);
    auto* data = create<__CFData>(size, size);
    // `memcpy` must not be called with a null pointer, even for no bytes.
    if (size > 0) {
        std::memcpy(data->bytes(), bytes, size);
    }
    return data;
}

const UInt8* CFDataGetBytePtr(CFDataRef data)
{
    return checked<__CFData>(data, "CFDataGetBytePtr").bytes();
}

CFIndex CFDataGetLength(CFDataRef data)
{
    return static_cast<CFIndex>(checked<__CFData>(data, "CFDataGetLength")._length);
}
