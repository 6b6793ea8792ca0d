#include "FakeObjects.h"

#include "FakePlatform.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace fake {

FakeObject* FakeObjects::make(FakeObject::Kind kind, std::string name)
{
    _objects.push_back(std::make_unique<FakeObject>());
    FakeObject* object = _objects.back().get();
    object->kind = kind;
    object->name = std::move(name);
    return object;
}

FakeObject* FakeObjects::make(const Value& value, const std::string& name)
{
    if (const auto* number = value.as<std::int64_t>()) {
        FakeObject* object = make(FakeObject::kNumber, name);
        object->integer = *number;
        return object;
    }
    if (const auto* real = value.as<double>()) {
        FakeObject* object = make(FakeObject::kNumber, name);
        object->isReal = true;
        object->real = *real;
        return object;
    }
    if (const auto* flag = value.as<bool>()) {
        return objectOf(*flag ? kCFBooleanTrue : kCFBooleanFalse, "boolean");
    }
    if (const auto* text = value.as<Text>()) {
        FakeObject* object = make(FakeObject::kString, name);
        object->text = *text;
        return object;
    }
    if (const auto* data = value.as<std::vector<std::uint8_t>>()) {
        FakeObject* object = make(FakeObject::kData, name);
        object->data = *data;
        return object;
    }
    if (const auto* list = value.as<List>()) {
        FakeObject* object = make(FakeObject::kArray, name);
        for (const Value& item : *list) {
            FakeObject* made = make(item, name + "[" + std::to_string(object->items.size()) + "]");
            if (made != nullptr) {
                ++made->inner;
            }
            object->items.push_back(made);
        }
        return object;
    }
    if (const auto* dict = value.as<Dict>()) {
        FakeObject* object = make(FakeObject::kDictionary, name);
        for (const auto& [key, item] : *dict) {
            FakeObject* made = make(item, name + "." + key);
            ++made->inner;
            object->entries[key] = made;
        }
        return object;
    }
    return nullptr;
}

void FakeObjects::retain(FakeObject* object)
{
    if (!object->isConstant) {
        ++object->count;
    }
}

void FakeObjects::release(FakeObject* object)
{
    if (object->isConstant) {
        return;
    }
    if (object->count <= object->inner) {
        ADD_FAILURE() << "released although nobody outside owns a reference: " << object->name;
        return;
    }
    if (--object->count == 0) {
        die(object);
    }
}

void FakeObjects::retainInside(FakeObject* object)
{
    if (object != nullptr && !object->isConstant) {
        ++object->count;
        ++object->inner;
    }
}

void FakeObjects::releaseInside(FakeObject* object)
{
    if (object != nullptr && !object->isConstant) {
        --object->inner;
        if (--object->count == 0) {
            die(object);
        }
    }
}

void FakeObjects::die(FakeObject* object)
{
    for (FakeObject* item : object->items) {
        releaseInside(item);
    }
    for (const auto& [key, item] : object->entries) {
        releaseInside(item);
    }
    object->items.clear();
    object->entries.clear();
    if (object->onDeath) {
        object->onDeath();
    }
}

std::vector<std::string> FakeObjects::leaks() const
{
    std::vector<std::string> names;
    for (const auto& object : _objects) {
        const long owed = object->count - object->inner;
        if (!object->isConstant && owed != 0) {
            names.push_back(object->name + (owed == 1 ? "" : " x" + std::to_string(owed)));
        }
    }
    return names;
}

FakeObject* objectOf(CFTypeRef object, const char* function)
{
    if (object == nullptr) {
        std::fprintf(stderr, "%s called without an object\n", function);
        std::abort();
    }
    auto* known = static_cast<FakeObject*>(const_cast<void*>(object));
    if (known->count == 0) {
        ADD_FAILURE() << function << " called with an object that died: " << known->name;
    }
    return known;
}

CFTypeRef referenceOf(const FakeObject* object)
{
    return object;
}

} // namespace fake

using namespace fake;

namespace {

FakeObject constantBoolean(bool value)
{
    FakeObject object;
    object.kind = FakeObject::kBoolean;
    object.name = value ? "true" : "false";
    object.isConstant = true;
    object.integer = value ? 1 : 0;
    return object;
}

FakeObject sm_True = constantBoolean(true);
FakeObject sm_False = constantBoolean(false);

FakeObject* looked(CFTypeRef object, FakeObject::Kind kind, const char* function)
{
    FakeObject* known = objectOf(object, function);
    if (known->kind != kind) {
        ADD_FAILURE() << function << " called with an object of another type: " << known->name;
    }
    platform().log.look(function, known->name);
    return known;
}

} // namespace

const CFBooleanRef kCFBooleanTrue = reinterpret_cast<CFBooleanRef>(&sm_True);
const CFBooleanRef kCFBooleanFalse = reinterpret_cast<CFBooleanRef>(&sm_False);

CFTypeRef CFRetain(CFTypeRef object)
{
    FakeObject* known = objectOf(object, "CFRetain");
    platform().log.call("CFRetain(" + known->name + ")");
    platform().objects.retain(known);
    return object;
}

void CFRelease(CFTypeRef object)
{
    FakeObject* known = objectOf(object, "CFRelease");
    platform().log.call("CFRelease(" + known->name + ")");
    platform().objects.release(known);
}

CFTypeID CFGetTypeID(CFTypeRef object)
{
    return objectOf(object, "CFGetTypeID")->kind;
}

CFTypeID CFBooleanGetTypeID(void)
{
    return FakeObject::kBoolean;
}

CFTypeID CFNumberGetTypeID(void)
{
    return FakeObject::kNumber;
}

CFTypeID CFStringGetTypeID(void)
{
    return FakeObject::kString;
}

CFTypeID CFArrayGetTypeID(void)
{
    return FakeObject::kArray;
}

CFTypeID CFDictionaryGetTypeID(void)
{
    return FakeObject::kDictionary;
}

CFTypeID CFDataGetTypeID(void)
{
    return FakeObject::kData;
}

const UInt8* CFDataGetBytePtr(CFDataRef data)
{
    return looked(data, FakeObject::kData, "CFDataGetBytePtr")->data.data();
}

CFIndex CFDataGetLength(CFDataRef data)
{
    return static_cast<CFIndex>(looked(data, FakeObject::kData, "CFDataGetLength")->data.size());
}

Boolean CFBooleanGetValue(CFBooleanRef boolean)
{
    return looked(boolean, FakeObject::kBoolean, "CFBooleanGetValue")->integer != 0;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value)
{
    const FakeObject* known = looked(number, FakeObject::kNumber, "CFNumberGetValue");
    EXPECT_TRUE(type == kCFNumberSInt32Type || type == kCFNumberIntType) << "number type " << type;
    const std::int64_t stored = known->isReal ? static_cast<std::int64_t>(known->real) : known->integer;
    const auto cut = static_cast<std::int32_t>(stored);
    *static_cast<std::int32_t*>(value) = cut;
    return cut == stored && !known->isReal;
}

CFStringRef __CFStringMakeConstantString(const char* text)
{
    static std::map<std::string, std::unique_ptr<FakeObject>> constants;
    std::unique_ptr<FakeObject>& constant = constants[text];
    if (!constant) {
        constant = std::make_unique<FakeObject>();
        constant->kind = FakeObject::kString;
        constant->name = text;
        constant->text.utf8 = text;
        constant->isConstant = true;
    }
    return reinterpret_cast<CFStringRef>(constant.get());
}

CFStringRef __CFStringUseLiteral(__CFLiteral* literal)
{
    return __CFStringMakeConstantString(literal->text());
}

CFIndex CFStringGetLength(CFStringRef string)
{
    CFIndex length = 0;
    for (const char character : looked(string, FakeObject::kString, "CFStringGetLength")->text.utf8) {
        const auto byte = static_cast<unsigned char>(character);
        length += (byte & 0xC0U) == 0x80U ? 0 : byte >= 0xF0U ? 2 : 1;
    }
    return length;
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding)
{
    EXPECT_EQ(encoding, kCFStringEncodingUTF8);
    const FakeObject* known = looked(string, FakeObject::kString, "CFStringGetCStringPtr");
    return known->text.held ? known->text.utf8.c_str() : nullptr;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding)
{
    EXPECT_EQ(encoding, kCFStringEncodingUTF8);
    const FakeObject* known = looked(string, FakeObject::kString, "CFStringGetCString");
    const std::string& text = known->text.utf8;
    if (platform().log.fails("CFStringGetCString") || text.size() + 1 > static_cast<std::size_t>(bufferSize)) {
        return 0;
    }
    text.copy(buffer, text.size());
    buffer[text.size()] = '\0';
    return 1;
}

CFIndex CFArrayGetCount(CFArrayRef array)
{
    return static_cast<CFIndex>(looked(array, FakeObject::kArray, "CFArrayGetCount")->items.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index)
{
    const FakeObject* known = looked(array, FakeObject::kArray, "CFArrayGetValueAtIndex");
    return known->items.at(static_cast<std::size_t>(index));
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key)
{
    const FakeObject* known = looked(dictionary, FakeObject::kDictionary, "CFDictionaryGetValue");
    const auto found = known->entries.find(objectOf(key, "CFDictionaryGetValue")->text.utf8);
    return found == known->entries.end() ? nullptr : found->second;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key)
{
    const FakeObject* known = looked(dictionary, FakeObject::kDictionary, "CFDictionaryContainsKey");
    return known->entries.count(objectOf(key, "CFDictionaryContainsKey")->text.utf8) != 0;
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                         UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15)
{
    static std::map<std::array<UInt8, 16>, std::unique_ptr<CFUUIDBytes>> constants;
    std::unique_ptr<CFUUIDBytes>& constant = constants[{byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8,
                                                        byte9, byte10, byte11, byte12, byte13, byte14, byte15}];
    if (!constant) {
        constant =
            std::make_unique<CFUUIDBytes>(CFUUIDBytes{byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8,
                                                      byte9, byte10, byte11, byte12, byte13, byte14, byte15});
    }
    return reinterpret_cast<CFUUIDRef>(constant.get());
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid)
{
    return *reinterpret_cast<const CFUUIDBytes*>(uuid);
}
