// Counting and checking, common to all property objects. Callers hand over untyped references, so every operation first
// makes sure that what it got is one of our objects, of the right type. A wrong reference is an error of the program,
// not of a device; the published interface has no way to report it, so the process ends with a line that names the
// call.
//
// Numbers that are held in the reference itself and constants are not counted. For everything else the count is atomic:
// property objects are immutable after they were published and are read on any thread.

#include "LiveObjects.h"
#include "Object.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

#include <unistd.h>

namespace qrx::cf {

namespace {

// Counters for the tests: what is left at the end of a case is a leak. Run loops live as long as their threads and are
// counted apart.
std::atomic<long> sm_LiveObjects{0};
std::atomic<long> sm_LiveRunLoops{0};

const TypeOperations& operationsOf(Type type)
{
    switch (type) {
    case Type::string:
        return kStringOperations;
    case Type::dictionary:
        return kDictionaryOperations;
    case Type::array:
        return kArrayOperations;
    case Type::data:
        return kDataOperations;
    case Type::boolean:
        return kBooleanOperations;
    case Type::number:
        return kNumberOperations;
    case Type::uuid:
        return kUUIDOperations;
    case Type::runLoop:
        return kRunLoopOperations;
    case Type::runLoopSource:
        return kRunLoopSourceOperations;
    }
    // Reached by a foreign pointer whose bytes happen to hold the mark.
    fail("CFBase", "an object of a type that does not exist");
}

/// The counted object behind a reference; null for one that is not counted.
const Object* countedObject(CFTypeRef reference, const char* function)
{
    if (isTagged(reference)) {
        return nullptr;
    }
    typeOf(reference, function);
    const auto* object = static_cast<const Object*>(reference);
    return object->has(kImmortal) ? nullptr : object;
}

} // namespace

void fail(const char* function, const char* text)
{
    // No allocation and no stream: the heap may be what is broken.
    char line[256];
    const int length = std::snprintf(line, sizeof line, "QrxHIDManager: %s: %s\n", function, text);
    if (length > 0) {
        const auto size =
            static_cast<std::size_t>(length) < sizeof line ? static_cast<std::size_t>(length) : sizeof line;
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line, size);
    }
    std::abort();
}

void failForeign(const char* function, CFTypeRef reference, Type needed)
{
    char text[160];
    const char* name = operationsOf(needed).name;
    if (reference == nullptr) {
        std::snprintf(text, sizeof text, "null instead of %s", name);
    } else if (isTagged(reference)) {
        std::snprintf(text, sizeof text, "a number instead of %s", name);
    } else if (isObject(reference)) {
        const char* given = operationsOf(static_cast<const Object*>(reference)->_type).name;
        std::snprintf(text, sizeof text, "%s instead of %s", given, name);
    } else {
        std::snprintf(text, sizeof text, "%p is not an object; %s is needed", reference, name);
    }
    fail(function, text);
}

Type typeOf(CFTypeRef reference, const char* function)
{
    if (isTagged(reference)) {
        return Type::number;
    }
    if (!isObject(reference)) [[unlikely]] {
        char text[80];
        std::snprintf(text, sizeof text, reference == nullptr ? "null instead of an object" : "%p is not an object",
                      reference);
        fail(function, text);
    }
    return static_cast<const Object*>(reference)->_type;
}

void endLastReference(const Object& object, std::int32_t before)
{
    // The count of an object that was deleted by its last release may still read 0: releasing it once more is noticed
    // for as long as its memory is not used again.
    if (before < 1) {
        fail("CFRelease", "the object has been released more often than retained");
    }
    operationsOf(object._type).destroy(const_cast<Object*>(&object));
}

void countLiveObject(Type type, long change)
{
    auto& counter = type == Type::runLoop ? sm_LiveRunLoops : sm_LiveObjects;
    counter.fetch_add(change, std::memory_order_relaxed);
}

long liveObjects()
{
    return sm_LiveObjects.load(std::memory_order_relaxed);
}

long liveRunLoops()
{
    return sm_LiveRunLoops.load(std::memory_order_relaxed);
}

} // namespace qrx::cf

using namespace qrx::cf;

CFTypeRef CFRetain(CFTypeRef object)
{
    if (const Object* counted = countedObject(object, "CFRetain")) {
        retainObject(*counted);
    }
    return object;
}

void CFRelease(CFTypeRef object)
{
    if (const Object* counted = countedObject(object, "CFRelease")) {
        releaseObject(*counted);
    }
}

CFIndex CFGetRetainCount(CFTypeRef object)
{
    const Object* counted = countedObject(object, "CFGetRetainCount");
    // Uncounted references live for ever; the platform answers with the largest number.
    return counted == nullptr ? std::numeric_limits<CFIndex>::max() : counted->_count.load(std::memory_order_relaxed);
}

CFTypeID CFGetTypeID(CFTypeRef object)
{
    return static_cast<CFTypeID>(typeOf(object, "CFGetTypeID"));
}

Boolean CFEqual(CFTypeRef first, CFTypeRef second)
{
    const Type type = typeOf(first, "CFEqual");
    // Both references are checked before they are compared, so that a wrong one is noticed also when both are the same.
    if (type != typeOf(second, "CFEqual")) {
        return false;
    }
    if (first == second) {
        return true;
    }
    const auto equal = operationsOf(type).equal;
    return equal != nullptr && equal(first, second);
}

CFHashCode CFHash(CFTypeRef object)
{
    const auto hash = operationsOf(typeOf(object, "CFHash")).hash;
    return hash != nullptr ? hash(object) : reinterpret_cast<CFHashCode>(object) >> 4;
}
