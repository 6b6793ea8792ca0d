// The published operations on dictionaries, which come in two forms behind one type. A shaped dictionary is what the
// registry publishes: its keys are those of a shape that hundreds of dictionaries share, so an element of a report
// descriptor costs one allocation. A pair dictionary is what callers make and change. The functions of the first part
// hide the difference from the operations below.
//
// A dictionary of objects counts its keys and values and compares them by content; one made without callbacks stores
// raw pointers.

#include "CFDictionary.h"

#include "PairDictionary.h"
#include "Reference.h"

using namespace qrx::cf;

namespace {

const __CFDictionary& dictionaryOf(CFTypeRef dictionary, const char* function)
{
    return checked<__CFDictionary>(dictionary, function);
}

const ShapedDictionary& shaped(const __CFDictionary& dictionary)
{
    return static_cast<const ShapedDictionary&>(dictionary);
}

const PairDictionary& paired(const __CFDictionary& dictionary)
{
    return static_cast<const PairDictionary&>(dictionary);
}

/// Ends the process if a dictionary of objects is asked for, or given, something that is no object: comparing it by
/// content would read foreign memory.
void requireKey(const PairDictionary& dictionary, const void* key, const char* function)
{
    if (dictionary._keyCallBacks.holdsObjects()) {
        typeOf(key, function);
    }
}

PairDictionary& changing(CFMutableDictionaryRef dictionary, const void* key, const char* function)
{
    auto& target = checkedMutable<__CFDictionary>(dictionary, function);
    if (!target.has(__CFDictionary::kMutable)) {
        fail(function, "the dictionary is immutable");
    }
    // Only pair dictionaries are mutable, so this is one.
    auto& pairs = static_cast<PairDictionary&>(target);
    requireKey(pairs, key, function);
    return pairs;
}

void requireValue(const PairDictionary& dictionary, const void* value, const char* function)
{
    if (dictionary._valueCallBacks.holdsObjects()) {
        typeOf(value, function);
    }
}

/// The result of a lookup. The value may be null in a dictionary of raw pointers, so presence is a field of its own.
struct Found {
    bool present;
    const void* value;
};

Found find(const __CFDictionary& dictionary, const void* key, const char* function)
{
    if (dictionary.has(__CFDictionary::kShaped)) {
        const void* value = shaped(dictionary).value(key);
        return {value != nullptr, value};
    }
    requireKey(paired(dictionary), key, function);
    const auto* pair = paired(dictionary).find(key);
    return pair != nullptr ? Found{true, pair->value} : Found{false, nullptr};
}

/// Calls visit(key, value) for every pair, until it returns false.
template <class Visit>
bool forEach(const __CFDictionary& dictionary, Visit visit)
{
    if (!dictionary.has(__CFDictionary::kShaped)) {
        for (const auto& pair : paired(dictionary)._pairs) {
            if (!visit(pair.key, pair.value)) {
                return false;
            }
        }
        return true;
    }
    const auto keys = shaped(dictionary).keys();
    const auto values = shaped(dictionary).values();
    for (std::size_t index = 0; index < keys.size(); ++index) {
        // A null value in a shaped dictionary means that the key is absent.
        if (values[index] != nullptr && !visit(keys[index], values[index])) {
            return false;
        }
    }
    return true;
}

std::size_t countOf(const __CFDictionary& dictionary)
{
    return dictionary.has(__CFDictionary::kShaped) ? shaped(dictionary)._count : paired(dictionary)._pairs.size();
}

bool holdsObjectValues(const __CFDictionary& dictionary)
{
    return dictionary.has(__CFDictionary::kShaped) || paired(dictionary)._valueCallBacks.holdsObjects();
}

bool holdsObjectKeys(const __CFDictionary& dictionary)
{
    return dictionary.has(__CFDictionary::kShaped) || paired(dictionary)._keyCallBacks.holdsObjects();
}

bool equalValues(const __CFDictionary& dictionary, const void* first, const void* second)
{
    return dictionary.has(__CFDictionary::kShaped) ? CFEqual(first, second) != 0
                                                   : paired(dictionary)._valueCallBacks.equal(first, second);
}

bool equalDictionaries(CFTypeRef first, CFTypeRef second)
{
    const auto& a = dictionaryOf(first, "CFEqual");
    const auto& b = dictionaryOf(second, "CFEqual");
    if (countOf(a) != countOf(b) || holdsObjectKeys(a) != holdsObjectKeys(b) ||
        holdsObjectValues(a) != holdsObjectValues(b)) {
        return false;
    }
    return forEach(a, [&](const void* key, const void* value) {
        // The counts are equal, so it is enough that every pair of one is in the other.
        const Found found = find(b, key, "CFEqual");
        return found.present && equalValues(a, value, found.value);
    });
}

CFHashCode hashDictionary(CFTypeRef dictionary)
{
    // Equal dictionaries may list their pairs in different orders and have different forms; their counts agree in any
    // case.
    return countOf(dictionaryOf(dictionary, "CFHash"));
}

void destroyDictionary(Object* object)
{
    if (object->has(__CFDictionary::kShaped)) {
        dispose<ShapedDictionary>(object);
    } else {
        dispose<PairDictionary>(object);
    }
}

} // namespace

const TypeOperations qrx::cf::kDictionaryOperations{"a dictionary", destroyDictionary, equalDictionaries,
                                                    hashDictionary};

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{0, retainValue, releaseValue, nullptr, CFEqual, CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{0, retainValue, releaseValue, nullptr, CFEqual};

CFTypeID CFDictionaryGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::dictionary);
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values, CFIndex count,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks)
{
    if (count < 0 || (count > 0 && (keys == nullptr || values == nullptr))) {
        fail("CFDictionaryCreate", "null instead of keys or values, or a negative count");
    }
    auto dictionary =
        Reference<PairDictionary*>::adopt(create<PairDictionary>(0, kMortal, keyCallBacks, valueCallBacks));
    dictionary->_pairs.reserve(static_cast<std::size_t>(count));
    for (CFIndex index = 0; index < count; ++index) {
        requireKey(*dictionary.get(), keys[index], "CFDictionaryCreate");
        requireValue(*dictionary.get(), values[index], "CFDictionaryCreate");
        // The first of two equal keys wins.
        if (dictionary->find(keys[index]) == nullptr) {
            dictionary->append(keys[index], values[index]);
        }
    }
    return dictionary.leave();
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks)
{
    return create<PairDictionary>(0, __CFDictionary::kMutable, keyCallBacks, valueCallBacks);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex, CFDictionaryRef dictionary)
{
    const auto& original = dictionaryOf(dictionary, "CFDictionaryCreateMutableCopy");
    // The copy is always a pair dictionary: the caller will add keys that no shape has.
    const bool isShaped = original.has(__CFDictionary::kShaped);
    auto copy = Reference<PairDictionary*>::adopt(create<PairDictionary>(
        0, __CFDictionary::kMutable,
        isShaped ? &kCFTypeDictionaryKeyCallBacks : paired(original)._keyCallBacks.callBacks(),
        isShaped ? &kCFTypeDictionaryValueCallBacks : paired(original)._valueCallBacks.callBacks()));
    copy->_pairs.reserve(countOf(original));
    forEach(original, [&copy](const void* key, const void* value) {
        copy->append(key, value);
        return true;
    });
    return copy.leave();
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value)
{
    auto& pairs = changing(dictionary, key, "CFDictionarySetValue");
    requireValue(pairs, value, "CFDictionarySetValue");
    pairs.set(key, value);
}

void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key, const void* value)
{
    auto& pairs = changing(dictionary, key, "CFDictionaryAddValue");
    requireValue(pairs, value, "CFDictionaryAddValue");
    if (pairs.find(key) == nullptr) {
        pairs.append(key, value);
    }
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key)
{
    // Removing may release the last reference on a value, whose end may run a callback of the caller. The pair is out
    // of the list by then, so the callback may use the dictionary; but it must not release the last reference on it.
    changing(dictionary, key, "CFDictionaryRemoveValue").remove(key);
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key)
{
    return find(dictionaryOf(dictionary, "CFDictionaryGetValue"), key, "CFDictionaryGetValue").value;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key)
{
    return find(dictionaryOf(dictionary, "CFDictionaryContainsKey"), key, "CFDictionaryContainsKey").present;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary)
{
    return static_cast<CFIndex>(countOf(dictionaryOf(dictionary, "CFDictionaryGetCount")));
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values)
{
    std::size_t index = 0;
    forEach(dictionaryOf(dictionary, "CFDictionaryGetKeysAndValues"), [&](const void* key, const void* value) {
        if (keys != nullptr) {
            keys[index] = key;
        }
        if (values != nullptr) {
            values[index] = value;
        }
        ++index;
        return true;
    });
}
