#pragma once

/// The part of Core Foundation that this library uses, with the published names, types and constants.
///
/// Ownership: a function with Create or Copy in its name gives the caller one reference, to be given back with
/// CFRelease; one with Get lends an object that lives as long as its owner. Containers made with the kCFType
/// callbacks retain what is put in. CFRetain and CFRelease may be called from any thread; nothing else is locked.
/// A null or foreign object, where an object is needed, ends the process with a diagnosis.

#include <atomic>
#include <cstddef>
#include <cstdint>

extern "C" {

// --- base types ------------------------------------------------------------------------------------------------

using Boolean = unsigned char;
using UInt8 = std::uint8_t;
using SInt8 = std::int8_t;
using UInt16 = std::uint16_t;
using SInt16 = std::int16_t;
using UInt32 = std::uint32_t;
using SInt32 = std::int32_t;
using UInt64 = std::uint64_t;
using SInt64 = std::int64_t;
using UniChar = std::uint16_t;
using OSErr = SInt16;
using OSStatus = SInt32;
using OSType = UInt32;
using HRESULT = SInt32;
using ULONG = UInt32;
using LPVOID = void*;

using CFIndex = long;
using CFTypeID = unsigned long;
using CFHashCode = unsigned long;
using CFOptionFlags = unsigned long;
/// Seconds.
using CFTimeInterval = double;
using CFAbsoluteTime = double;
using CFTypeRef = const void*;

struct __CFAllocator;
struct __CFString;
struct __CFNumber;
struct __CFBoolean;
struct __CFArray;
struct __CFDictionary;
struct __CFData;
struct __CFUUID;
struct __CFRunLoop;
struct __CFRunLoopSource;

using CFAllocatorRef = const __CFAllocator*;
using CFStringRef = const __CFString*;
using CFNumberRef = const __CFNumber*;
using CFBooleanRef = const __CFBoolean*;
using CFArrayRef = const __CFArray*;
using CFMutableArrayRef = __CFArray*;
using CFDictionaryRef = const __CFDictionary*;
using CFMutableDictionaryRef = __CFDictionary*;
using CFDataRef = const __CFData*;
using CFUUIDRef = const __CFUUID*;
using CFRunLoopRef = __CFRunLoop*;
using CFRunLoopSourceRef = __CFRunLoopSource*;

/// The only allocator; every `allocator` argument is ignored.
#define kCFAllocatorDefault (static_cast<CFAllocatorRef>(nullptr))

enum { kCFNotFound = -1 };

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFIndex CFGetRetainCount(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
Boolean CFEqual(CFTypeRef first, CFTypeRef second);
CFHashCode CFHash(CFTypeRef object);

// --- booleans and numbers --------------------------------------------------------------------------------------

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

using CFNumberType = CFIndex;
enum {
    kCFNumberSInt8Type = 1,
    kCFNumberSInt16Type = 2,
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat32Type = 5,
    kCFNumberFloat64Type = 6,
    kCFNumberCharType = 7,
    kCFNumberShortType = 8,
    kCFNumberIntType = 9,
    kCFNumberLongType = 10,
    kCFNumberLongLongType = 11,
    kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13,
    kCFNumberCFIndexType = 14,
    kCFNumberNSIntegerType = 15,
    kCFNumberCGFloatType = 16
};
CFTypeID CFNumberGetTypeID(void);
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
/// The stored type in its canonical form (SInt8..SInt64, Float32, Float64).
CFNumberType CFNumberGetType(CFNumberRef number);
/// Always stores (unless `value` is null): an integer is cut to the low bits of the type asked for. True when the
/// stored value reads back unchanged.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

// --- strings ---------------------------------------------------------------------------------------------------

using CFStringEncoding = UInt32;
enum : CFStringEncoding {
    kCFStringEncodingMacRoman = 0,
    kCFStringEncodingISOLatin1 = 0x0201,
    kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingUTF8 = 0x08000100
};
CFTypeID CFStringGetTypeID(void);
/// Null when the bytes are not valid in the encoding.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
/// As above for `length` bytes, which may hold zeros. `isExternal` is ignored.
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                    CFStringEncoding encoding, Boolean isExternal);
/// In UTF-16 code units: a character outside the Basic Multilingual Plane counts 2.
CFIndex CFStringGetLength(CFStringRef string);
/// The string's own zero-terminated bytes, or null where they are not held in that encoding: any text is held as UTF-8,
/// ASCII text in every encoding.
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);
/// `bufferSize` in bytes counts the terminator. False when the text does not fit: `buffer` then holds no text.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/// An immortal string, one object for each different text in the process. `text` is UTF-8.
CFStringRef __CFStringMakeConstantString(const char* text);

} // extern "C"

/// A text as an argument of a template.
template <std::size_t size>
struct __CFText {
    consteval __CFText(const char (&literal)[size])
    {
        for (std::size_t at = 0; at < size; ++at) {
            text[at] = literal[at];
        }
    }

    char text[size] = {};
};

/// A literal as the compiler lays it out. From `mark` on it is the string object itself where the text is ASCII
/// (__CFString).
struct __CFLiteral {
    /// The constant of the text, once somebody has asked for it.
    std::atomic<CFStringRef> known{nullptr};
    std::uint16_t mark = 0xC0F5;
    std::uint8_t type = 7;
    std::uint8_t flags = 1;
    std::int32_t count = 1;
    std::size_t length = 0;

    const char* text() const { return reinterpret_cast<const char*>(this + 1); }
};

template <std::size_t size>
struct __CFLiteralWithText : __CFLiteral {
    consteval explicit __CFLiteralWithText(const __CFText<size>& literal) : content(literal)
    {
        while (content.text[length] != '\0') {
            ++length;
        }
    }

    __CFText<size> content;
};

/// One for each text, however often it is used.
template <__CFText text>
constinit inline __CFLiteralWithText<sizeof text.text> __CFLiteralOf{text};

/// Looks up the constant of the literal's text: its own object if the text is ASCII and was not known before.
extern "C" CFStringRef __CFStringUseLiteral(__CFLiteral* literal);

inline CFStringRef __CFStringOfLiteral(__CFLiteral& literal)
{
    const CFStringRef known = literal.known.load(std::memory_order_acquire);
    return known != nullptr ? known : __CFStringUseLiteral(&literal);
}

/// A constant from a literal: looked up once, a pointer from then on.
#define CFSTR(literal) __CFStringOfLiteral(__CFLiteralOf<__CFText("" literal "")>)

extern "C" {

// --- arrays, dictionaries, data --------------------------------------------------------------------------------

struct CFArrayCallBacks {
    CFIndex version;
    const void* (*retain)(CFAllocatorRef, const void*);
    void (*release)(CFAllocatorRef, const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
};
extern const CFArrayCallBacks kCFTypeArrayCallBacks;
CFTypeID CFArrayGetTypeID(void);
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count, const CFArrayCallBacks* callBacks);
/// Null callbacks: the values are raw pointers, kept as they are (null included).
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks);
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);
void CFArrayRemoveAllValues(CFMutableArrayRef array);
CFIndex CFArrayGetCount(CFArrayRef array);
/// An index outside the array ends the process.
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

struct CFDictionaryKeyCallBacks {
    CFIndex version;
    const void* (*retain)(CFAllocatorRef, const void*);
    void (*release)(CFAllocatorRef, const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
    CFHashCode (*hash)(const void*);
};
struct CFDictionaryValueCallBacks {
    CFIndex version;
    const void* (*retain)(CFAllocatorRef, const void*);
    void (*release)(CFAllocatorRef, const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
};
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
CFTypeID CFDictionaryGetTypeID(void);
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex count,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks);
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
/// Adds only if the key is absent.
void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key);
/// Borrowed; null if absent.
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values);

CFTypeID CFDataGetTypeID(void);
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
const UInt8* CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);

// --- UUIDs -----------------------------------------------------------------------------------------------------

struct CFUUIDBytes {
    UInt8 byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7;
    UInt8 byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15;
};
using REFIID = CFUUIDBytes;
CFTypeID CFUUIDGetTypeID(void);
/// The one immortal object of these bytes.
CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef allocator, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                         UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15);
CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid);

// --- run loops -------------------------------------------------------------------------------------------------

enum {
    kCFRunLoopRunFinished = 1,
    kCFRunLoopRunStopped = 2,
    kCFRunLoopRunTimedOut = 3,
    kCFRunLoopRunHandledSource = 4
};
#define kCFRunLoopDefaultMode CFSTR("kCFRunLoopDefaultMode")

/// Version 0: fired after CFRunLoopSourceSignal.
struct CFRunLoopSourceContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
    Boolean (*equal)(const void*, const void*);
    CFHashCode (*hash)(const void*);
    void (*schedule)(void* info, CFRunLoopRef loop, CFStringRef mode);
    void (*cancel)(void* info, CFRunLoopRef loop, CFStringRef mode);
    void (*perform)(void* info);
};

/// Version 1: fired while its port has something to read. On this platform a port is a file descriptor number, and
/// `perform` is called with a null message of size 0: it reads the descriptor itself. The result of `perform` is
/// ignored. The descriptor is asked for once, when the source is created, and stays the property of `info`.
struct CFRunLoopSourceContext1 {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
    Boolean (*equal)(const void*, const void*);
    CFHashCode (*hash)(const void*);
    unsigned int (*getPort)(void* info);
    void* (*perform)(void* message, CFIndex size, CFAllocatorRef allocator, void* info);
};

CFTypeID CFRunLoopGetTypeID(void);
CFTypeID CFRunLoopSourceGetTypeID(void);
/// The calling thread's loop, made on first use, dropped when the thread ends. Borrowed.
CFRunLoopRef CFRunLoopGetCurrent(void);
/// Runs the default mode until it is stopped or has no source left.
void CFRunLoopRun(void);
SInt32 CFRunLoopRunInMode(CFStringRef mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled);
/// From any thread. Ends the innermost run of the loop; forgotten when the loop does not run.
void CFRunLoopStop(CFRunLoopRef loop);
/// From any thread.
void CFRunLoopWakeUp(CFRunLoopRef loop);
/// The mode retains the source. From any thread; nothing happens if the source is invalid or already there.
void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode);
void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode);
Boolean CFRunLoopContainsSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode);
/// `context` is a CFRunLoopSourceContext or a CFRunLoopSourceContext1, told apart by its version.
CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef allocator, CFIndex order, CFRunLoopSourceContext* context);
/// Removes the source from every mode of every loop for good; the caller's reference stays. Idempotent.
void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source);
Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef source);
/// Version 0: due in the next pass; does not wake the loop. Version 1: due in the next pass once, as if its
/// descriptor were readable, and wakes every loop that holds the source: for a source that has taken more from its
/// descriptor than it could hand out.
void CFRunLoopSourceSignal(CFRunLoopSourceRef source);
}
