// Strings in two forms. Text that is all ASCII is kept as bytes and serves every encoding as it is; names of keys and
// most names of devices are of this kind. All other text is kept as UTF-16, whose units are what lengths count,
// followed by the same text as UTF-8, which is what callers mostly ask for.
//
// Constants (CFSTR) are unique by their text and live for ever, so comparing two of them is comparing addresses. A
// table finds the constant of a text.

#include "CFString.h"

#include "Base/ShortMutex.h"
#include "StringEncoding.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

using namespace qrx::cf;

namespace {

// A literal that is ASCII is laid out by the compiler and used as the object itself, so its members must lie where
// those of a narrow string do.
constexpr __CFLiteral kAnyLiteral;
static_assert(sizeof(__CFLiteral) - offsetof(__CFLiteral, mark) == sizeof(__CFString) &&
              offsetof(__CFLiteral, length) - offsetof(__CFLiteral, mark) == sizeof(Object));
static_assert(kAnyLiteral.mark == Object::kMark && kAnyLiteral.type == std::uint8_t(Type::string) &&
              kAnyLiteral.flags == kImmortal);

CFStringRef makeNarrow(std::string_view text, std::uint8_t flags)
{
    auto* string = create<__CFString>(text.size() + 1, flags, text.size());
    char* bytes = reinterpret_cast<char*>(string + 1);
    // A narrow string ends with a zero, so that its bytes can be handed out as a C string without a copy.
    text.copy(bytes, text.size()); // an empty text may have no address
    bytes[text.size()] = '\0';
    return string;
}

/// A string of UTF-16 units, followed in memory by the same text as UTF-8 for CFStringGetCStringPtr.
CFStringRef makeWide(std::u16string_view text, std::uint8_t flags)
{
    const std::size_t size = text.size() * sizeof(char16_t);
    const std::string utf8 = encode(text, kCFStringEncodingUTF8).value_or("");
    auto* string =
        create<__CFString>(size + utf8.size() + 1, static_cast<std::uint8_t>(flags | __CFString::kWide), text.size());
    char* storage = reinterpret_cast<char*>(string + 1);
    std::memcpy(storage, text.data(), size);
    std::memcpy(storage + size, utf8.c_str(), utf8.size() + 1);
    return string;
}

/// Null if the bytes are not valid in the encoding.
CFStringRef makeString(std::string_view bytes, CFStringEncoding encoding, std::uint8_t flags)
{
    if (!isKnownEncoding(encoding)) {
        return nullptr;
    }
    if (encoding == kCFStringEncodingUTF8) {
        bytes = withoutByteOrderMark(bytes);
    }
    // All known encodings agree on ASCII, so nothing has to be decoded.
    if (isAscii(bytes)) {
        return makeNarrow(bytes, flags);
    }
    const auto text = decode(bytes, encoding);
    return text ? makeWide(*text, flags) : nullptr;
}

bool equalStrings(CFTypeRef first, CFTypeRef second)
{
    const auto& a = checked<__CFString>(first, "CFEqual");
    const auto& b = checked<__CFString>(second, "CFEqual");
    // Two constants, or texts of different forms, are equal only if they are one object.
    if ((a.has(kImmortal) && b.has(kImmortal)) || a.wide() != b.wide()) {
        return &a == &b;
    }
    return a.wide() ? a.wideText() == b.wideText() : a.narrowText() == b.narrowText();
}

CFHashCode hashString(CFTypeRef reference)
{
    const auto& string = checked<__CFString>(reference, "CFHash");
    // The form is decided by the text, so equal texts have the same form and the same hash.
    return string.wide() ? std::hash<std::u16string_view>{}(string.wideText())
                         : std::hash<std::string_view>{}(string.narrowText());
}

Boolean copyNarrow(std::string_view text, char* buffer, std::size_t bufferSize, CFStringEncoding encoding)
{
    if (!isKnownEncoding(encoding) || text.size() >= bufferSize) {
        return false;
    }
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = '\0';
    return true;
}

Boolean copyWide(std::u16string_view text, char* buffer, std::size_t bufferSize, CFStringEncoding encoding)
{
    const auto bytes = encode(text, encoding);
    if (!bytes || bytes->size() >= bufferSize) {
        // Deliberate: as on the platform, a text held as UTF-16 that does not fit leaves an empty text in the buffer,
        // while one held as bytes leaves the buffer as it was.
        buffer[0] = '\0';
        return false;
    }
    return copyNarrow(*bytes, buffer, bufferSize, encoding);
}

/// The constants of the process, by their UTF-8 text: an open hash table that stays at most half full. Never destroyed,
/// as constants outlive every static object.
class Constants {
public:
    constexpr Constants() = default;

    /// The constant of that text. Where there is none yet, `object` becomes it, or if that is null, one that is made.
    CFStringRef find(const char* text, CFStringRef object)
    {
        // Searched without the byte order mark, because a string is made without it: both spellings are one constant.
        const std::string_view key = withoutByteOrderMark(text);
        const std::lock_guard lock(_mutex);
        CFStringRef* slot = slotOf(key);
        if (*slot != nullptr) {
            return *slot;
        }
        if (2 * (_count + 1) > _slots.size()) {
            grow();
            slot = slotOf(key);
        }
        *slot = object != nullptr ? object : makeString(text, kCFStringEncodingUTF8, kImmortal);
        if (*slot == nullptr) {
            fail("CFSTR", "the text of a constant is not valid UTF-8");
        }
        ++_count;
        return *slot;
    }

private:
    /// Room for more constants than the library has of its own.
    static constexpr std::size_t kUsualSlots = 512;
    /// Not a member, as the object is not all zeros and would bring these into the library's file.
    static constinit inline std::array<CFStringRef, kUsualSlots> sm_UsualSlots{};

    static std::string_view textOf(CFStringRef constant)
    {
        return constant->wide() ? constant->wideTextAsUtf8() : constant->narrowText();
    }
    CFStringRef* slotOf(std::string_view text)
    {
        std::size_t at = std::hash<std::string_view>{}(text) & (_slots.size() - 1);
        while (_slots[at] != nullptr && textOf(_slots[at]) != text) {
            at = (at + 1) & (_slots.size() - 1);
        }
        return &_slots[at];
    }
    void grow()
    {
        const std::span before = _slots;
        _slots = {new CFStringRef[2 * before.size()](), 2 * before.size()};
        for (CFStringRef constant : before) {
            if (constant != nullptr) {
                *slotOf(textOf(constant)) = constant;
            }
        }
        if (before.data() != sm_UsualSlots.data()) {
            delete[] before.data();
        }
    }

    qrx::platform::ShortMutex _mutex;
    std::span<CFStringRef> _slots = sm_UsualSlots;
    std::size_t _count = 0;
};

constinit Constants sm_Constants;

} // namespace

const TypeOperations qrx::cf::kStringOperations{"a string", dispose<__CFString>, equalStrings, hashString};

CFTypeID CFStringGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::string);
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding encoding)
{
    if (text == nullptr) {
        fail("CFStringCreateWithCString", "null instead of text");
    }
    return makeString(text, encoding, kMortal);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex length, CFStringEncoding encoding,
                                    Boolean)
{
    if (length < 0 || (bytes == nullptr && length > 0)) {
        fail("CFStringCreateWithBytes", "null instead of bytes, or a negative length");
    }
    if (length == 0) {
        return makeString({}, encoding, kMortal);
    }
    return makeString({reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)}, encoding, kMortal);
}

CFIndex CFStringGetLength(CFStringRef string)
{
    return static_cast<CFIndex>(checked<__CFString>(string, "CFStringGetLength")._length);
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding)
{
    const auto& text = checked<__CFString>(string, "CFStringGetCStringPtr");
    // A wide text as UTF-8 is ready; other encodings would need memory that nobody could release.
    if (text.wide()) {
        return encoding == kCFStringEncodingUTF8 ? text.wideTextAsUtf8() : nullptr;
    }
    return isKnownEncoding(encoding) ? text.bytes() : nullptr;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding)
{
    const auto& text = checked<__CFString>(string, "CFStringGetCString");
    if (bufferSize < 1) {
        return false;
    }
    if (buffer == nullptr) {
        fail("CFStringGetCString", "null instead of a buffer");
    }
    const auto size = static_cast<std::size_t>(bufferSize);
    return text.wide() ? copyWide(text.wideText(), buffer, size, encoding)
                       : copyNarrow(text.narrowText(), buffer, size, encoding);
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding)
{
    // A character outside the Basic Multilingual Plane counts two units and takes four bytes: never more than 3 each.
    const CFIndex unitSize = encoding == kCFStringEncodingUTF8 ? 3 : 1;
    if (!isKnownEncoding(encoding) || length < 0 || length > std::numeric_limits<CFIndex>::max() / unitSize) {
        return kCFNotFound;
    }
    return length * unitSize;
}

CFStringRef __CFStringMakeConstantString(const char* text)
{
    if (text == nullptr) {
        fail("CFSTR", "null instead of text");
    }
    return sm_Constants.find(text, nullptr);
}

CFStringRef __CFStringUseLiteral(__CFLiteral* literal)
{
    const CFStringRef object = isAscii(literal->text()) ? reinterpret_cast<CFStringRef>(&literal->mark) : nullptr;
    const CFStringRef constant = sm_Constants.find(literal->text(), object);
    literal->known.store(constant, std::memory_order_release);
    return constant;
}
