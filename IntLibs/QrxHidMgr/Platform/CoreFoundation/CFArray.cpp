#include "CallBacks.h"

#include <algorithm>
#include <span>

using namespace qrx::cf;

/// The values of an immutable array lie behind the object, in the same allocation, because most arrays are made once
/// from a known list. A mutable one keeps them in a block of its own that grows.
struct __CFArray : Object {
    static constexpr Type kType = Type::array;
    static constexpr std::uint8_t kMutable = kTypeFlag;

    __CFArray(std::uint8_t flags, const CFArrayCallBacks* callBacks)
        : Object(kType, flags), _callBacks(callBacks, kCFTypeArrayCallBacks)
    {
    }
    ~__CFArray() { releaseValues(); }

    const void** inlineValues() { return reinterpret_cast<const void**>(this + 1); }
    std::span<const void* const> values() const { return {_values, _count}; }
    void append(const void* value);
    void removeAll();
    void releaseValues() const
    {
        for (const void* value : values()) {
            _callBacks.release(value);
        }
    }
    /// Ends the process if an array of objects is given something else.
    void requireValue(const void* value, const char* function) const
    {
        if (_callBacks.holdsObjects()) {
            typeOf(value, function);
        }
    }

    const CallBacks<CFArrayCallBacks> _callBacks;
    const void** _values = nullptr;
    std::size_t _count = 0;
    std::size_t _capacity = 0;
    std::unique_ptr<const void*[]> _grown;
};

void __CFArray::append(const void* value)
{
    if (_count == _capacity) {
        constexpr std::size_t kFirstCapacity = 8;
        const std::size_t capacity = std::max(kFirstCapacity, 2 * _capacity);
        auto grown = std::make_unique<const void*[]>(capacity);
        std::copy_n(_values, _count, grown.get());
        _grown = std::move(grown);
        _values = _grown.get();
        _capacity = capacity;
    }
    // Retained after the memory is there: a failing allocation leaves the array and the value as they were.
    _values[_count] = _callBacks.retain(value);
    ++_count;
}

void __CFArray::removeAll()
{
    // The callback may be the caller's own. It must not touch this array: until the loop has ended, the array still
    // counts values that are released already.
    releaseValues();
    _values = nullptr;
    _count = 0;
    _capacity = 0;
    _grown.reset();
}

namespace {

const __CFArray& arrayOf(CFArrayRef array, const char* function)
{
    return checked<__CFArray>(array, function);
}

bool equalArrays(CFTypeRef first, CFTypeRef second)
{
    const auto& a = checked<__CFArray>(first, "CFEqual");
    const auto& b = checked<__CFArray>(second, "CFEqual");
    // Raw pointers are compared by address and objects by content, so arrays of different kinds cannot be compared.
    if (a._callBacks.holdsObjects() != b._callBacks.holdsObjects()) {
        return false;
    }
    return std::equal(a.values().begin(), a.values().end(), b.values().begin(), b.values().end(),
                      [&a](const void* left, const void* right) { return a._callBacks.equal(left, right); });
}

CFHashCode hashArray(CFTypeRef array)
{
    // Equal arrays have equal counts; a hash of the values would cost a walk for arrays that are rarely keys.
    return checked<__CFArray>(array, "CFHash")._count;
}

} // namespace

const TypeOperations qrx::cf::kArrayOperations{"an array", dispose<__CFArray>, equalArrays, hashArray};

const void* qrx::cf::retainValue(CFAllocatorRef, const void* value)
{
    return CFRetain(value);
}

void qrx::cf::releaseValue(CFAllocatorRef, const void* value)
{
    CFRelease(value);
}

const CFArrayCallBacks kCFTypeArrayCallBacks{0, retainValue, releaseValue, nullptr, CFEqual};

CFTypeID CFArrayGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::array);
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count, const CFArrayCallBacks* callBacks)
{
    if (count < 0 || (values == nullptr && count > 0)) {
        fail("CFArrayCreate", "null instead of values, or a negative count");
    }
    const auto size = static_cast<std::size_t>(count);
    auto* array = create<__CFArray>(size * sizeof(const void*), kMortal, callBacks);
    array->_values = array->inlineValues();
    for (std::size_t index = 0; index < size; ++index) {
        array->requireValue(values[index], "CFArrayCreate");
        array->_values[index] = array->_callBacks.retain(values[index]);
    }
    // Set last: `_count` is what the destructor releases.
    array->_count = size;
    return array;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callBacks)
{
    return create<__CFArray>(0, __CFArray::kMutable, callBacks);
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value)
{
    auto& target = checkedMutable<__CFArray>(array, "CFArrayAppendValue");
    if (!target.has(__CFArray::kMutable)) {
        fail("CFArrayAppendValue", "the array is immutable");
    }
    target.requireValue(value, "CFArrayAppendValue");
    target.append(value);
}

void CFArrayRemoveAllValues(CFMutableArrayRef array)
{
    auto& target = checkedMutable<__CFArray>(array, "CFArrayRemoveAllValues");
    if (!target.has(__CFArray::kMutable)) {
        fail("CFArrayRemoveAllValues", "the array is immutable");
    }
    target.removeAll();
}

CFIndex CFArrayGetCount(CFArrayRef array)
{
    return static_cast<CFIndex>(arrayOf(array, "CFArrayGetCount")._count);
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index)
{
    const auto values = arrayOf(array, "CFArrayGetValueAtIndex").values();
    if (index < 0 || static_cast<std::size_t>(index) >= values.size()) {
        fail("CFArrayGetValueAtIndex", "the index is outside the array");
    }
    return values[static_cast<std::size_t>(index)];
}
