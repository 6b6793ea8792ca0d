#pragma once

/// What every counted object begins with, and how one is made, checked and destroyed. Private to this folder.
///
/// A reference is a pointer to an Object, or (see isTagged) a whole number held in the pointer itself. Nothing here is
/// virtual: the first eight bytes are all that an object costs, and the mark in them lets most foreign pointers be
/// noticed before they do harm.

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace qrx::cf {

enum class Type : std::uint8_t {
    string = 7,
    dictionary = 18,
    array = 19,
    data = 20,
    boolean = 21,
    number = 22,
    uuid = 23,
    runLoop = 24,
    runLoopSource = 25
};

/// Flags of an object. The upper four belong to its type.
enum : std::uint8_t { kMortal = 0, kImmortal = 0x01, kTypeFlag = 0x10, kSecondTypeFlag = 0x20 };

struct Object {
    static constexpr std::uint16_t kMark = 0xC0F5;

    constexpr Object(Type type, std::uint8_t flags) : _type(type), _flags(flags) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    bool has(std::uint8_t flag) const { return (_flags & flag) != 0; }

    const std::uint16_t _mark = kMark;
    const Type _type;
    const std::uint8_t _flags;
    mutable std::atomic<std::int32_t> _count{1};
};
static_assert(sizeof(Object) == 8);

/// What differs from type to type.
struct TypeOperations {
    const char* name; ///< with its article, for diagnoses
    void (*destroy)(Object* object);
    bool (*equal)(CFTypeRef first, CFTypeRef second); ///< null: an object equals only itself
    CFHashCode (*hash)(CFTypeRef object);             ///< null: by address
};
extern const TypeOperations kStringOperations;
extern const TypeOperations kDictionaryOperations;
extern const TypeOperations kArrayOperations;
extern const TypeOperations kDataOperations;
extern const TypeOperations kBooleanOperations;
extern const TypeOperations kNumberOperations;
extern const TypeOperations kUUIDOperations;
extern const TypeOperations kRunLoopOperations;
extern const TypeOperations kRunLoopSourceOperations;

/// Ends the process with the line "QrxHIDManager: function: text" on standard error.
[[noreturn]] void fail(const char* function, const char* text);

/// Ends the process: `reference` is not an object of the type that `function` needs.
[[noreturn]] void failForeign(const char* function, CFTypeRef reference, Type needed);

/// Bit 0 marks a number held in the pointer; objects are aligned and never have it set. Bit 3 is clear in our numbers,
/// so that half of the odd pointers that are not ours are recognised as foreign.
constexpr std::uintptr_t kTagMask = 0x9;
constexpr std::uintptr_t kTag = 0x1;

/// True for a number held in the pointer.
inline bool isTagged(CFTypeRef reference)
{
    return (reinterpret_cast<std::uintptr_t>(reference) & kTagMask) == kTag;
}

/// True if `reference` points to one of our objects, as far as its bits show.
inline bool isObject(CFTypeRef reference)
{
    return reference != nullptr && reinterpret_cast<std::uintptr_t>(reference) % alignof(Object) == 0 &&
           static_cast<const Object*>(reference)->_mark == Object::kMark;
}

/// The object behind a reference that must be a T (T has a kType). Ends the process if it is not.
template <class T>
const T& checked(CFTypeRef reference, const char* function)
{
    if (!isObject(reference) || static_cast<const Object*>(reference)->_type != T::kType) [[unlikely]] {
        failForeign(function, reference, T::kType);
    }
    return *static_cast<const T*>(reference);
}

template <class T>
T& checkedMutable(CFTypeRef reference, const char* function)
{
    return const_cast<T&>(checked<T>(reference, function));
}

/// The type of any reference. Ends the process if it is none of ours.
Type typeOf(CFTypeRef reference, const char* function);

void countLiveObject(Type type, long change);

/// Destroys an object whose count fell from `before` to 0. Ends the process if there was no reference to give back.
void endLastReference(const Object& object, std::int32_t before);

/// CFRetain of an object that is surely one of ours.
inline void retainObject(const Object& object)
{
    if (!object.has(kImmortal)) {
        object._count.fetch_add(1, std::memory_order_relaxed);
    }
}

/// CFRelease of an object that is surely one of ours.
inline void releaseObject(const Object& object)
{
    if (object.has(kImmortal)) {
        return;
    }
    // The last release must see what every other holder did with the object.
    const std::int32_t before = object._count.fetch_sub(1, std::memory_order_acq_rel);
    if (before <= 1) [[unlikely]] {
        endLastReference(object, before);
    }
}

/// Makes a T with `trailingBytes` behind it, in one allocation. The caller owns one reference.
template <class T, class... Arguments>
T* create(std::size_t trailingBytes, Arguments&&... arguments)
{
    void* memory = ::operator new(sizeof(T) + trailingBytes);
    T* object = nullptr;
    try {
        object = new (memory) T(std::forward<Arguments>(arguments)...);
    } catch (...) {
        ::operator delete(memory);
        throw;
    }
    if (!object->has(kImmortal)) {
        countLiveObject(T::kType, 1);
    }
    return object;
}

/// The other end of create, for TypeOperations::destroy. An immortal object never comes here.
template <class T>
void dispose(Object* object)
{
    T* self = static_cast<T*>(object);
    self->~T();
    ::operator delete(self);
    countLiveObject(T::kType, -1);
}

} // namespace qrx::cf
