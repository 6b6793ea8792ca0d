// Elements as property dictionaries. The keys of each kind are a shape that all dictionaries share, and the values are
// numbers that are held in their references, so an element costs one allocation. All devices with the same report
// descriptor share the dictionaries (SharedElements), which never change.

#include "ElementProperties.h"

#include "CoreFoundation/CFDictionaryShape.h"
#include "CoreFoundation/TaggedNumber.h"
#include "PropertyList.h"

#include <IOKit/hid/IOHIDKeys.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace qrx::iokit {

namespace {

// Reading descriptors knows no published header, so the element types are numbered there; both must say the same.
template <hid::ElementType type, IOHIDElementType published>
constexpr bool kIsSame = static_cast<std::uint32_t>(type) == static_cast<std::uint32_t>(published);
static_assert(kIsSame<hid::ElementType::inputMisc, kIOHIDElementTypeInput_Misc> &&
              kIsSame<hid::ElementType::inputButton, kIOHIDElementTypeInput_Button> &&
              kIsSame<hid::ElementType::output, kIOHIDElementTypeOutput> &&
              kIsSame<hid::ElementType::feature, kIOHIDElementTypeFeature> &&
              kIsSame<hid::ElementType::collection, kIOHIDElementTypeCollection>);

/// Numbers of 32 bits are held in the reference itself, and booleans are constants: nothing here needs to be given back
/// if the dictionary cannot be made.
CFTypeRef number(std::int32_t value)
{
    return cf::taggedNumber(kCFNumberSInt32Type, value);
}

CFTypeRef number(std::uint32_t value)
{
    return number(static_cast<std::int32_t>(value));
}

CFTypeRef boolean(bool value)
{
    return value ? kCFBooleanTrue : kCFBooleanFalse;
}

/// One entry of a dictionary. A null value leaves the key out.
struct Property {
    CFStringRef key;
    CFTypeRef value;
};

/// A dictionary of the pairs that `List` makes of `source`. The keys are the same each time, so they are a shape that
/// is made once.
template <auto List, typename Source>
CFRef<CFTypeRef> makeListed(const Source& source)
{
    const auto properties = List(source);
    std::array<CFTypeRef, properties.size()> values;
    std::transform(properties.begin(), properties.end(), values.begin(), [](const Property& one) { return one.value; });
    static const cf::DictionaryShape* const sm_Shape = [&properties] {
        std::array<CFStringRef, properties.size()> keys;
        std::transform(properties.begin(), properties.end(), keys.begin(), [](const Property& one) { return one.key; });
        return cf::makeShape(keys);
    }();
    return CFRef<CFTypeRef>::adopt(cf::createShapedDictionary(sm_Shape, values));
}

auto fieldProperties(const hid::Element& element)
{
    const std::uint32_t flags = element.flags;
    return std::to_array<Property>({
        {CFSTR(kIOHIDElementCookieKey), number(element.cookie)},
        {CFSTR(kIOHIDElementTypeKey), number(static_cast<std::uint32_t>(element.type))},
        {CFSTR(kIOHIDElementUsageKey), number(element.usage)},
        {CFSTR(kIOHIDElementUsagePageKey), number(element.usagePage)},
        {CFSTR(kIOHIDElementReportIDKey), number(element.reportID)},
        {CFSTR(kIOHIDElementSizeKey), number(element.sizeBits())},
        {CFSTR(kIOHIDElementReportSizeKey), number(element.reportSize)},
        {CFSTR(kIOHIDElementReportCountKey), number(element.reportCount)},
        {CFSTR(kIOHIDElementFlagsKey), number(flags)},
        {CFSTR(kIOHIDElementMinKey), number(element.min)},
        {CFSTR(kIOHIDElementMaxKey), number(element.max)},
        {CFSTR(kIOHIDElementScaledMinKey), number(element.scaledMin)},
        {CFSTR(kIOHIDElementScaledMaxKey), number(element.scaledMax)},
        {CFSTR(kIOHIDElementUnitKey), number(element.unit)},
        {CFSTR(kIOHIDElementUnitExponentKey), number(element.unitExponent)},
        {CFSTR(kIOHIDElementHasNullStateKey), boolean((flags & hid::kFieldNullState) != 0)},
        // The flag in the descriptor says the opposite, "no preferred state".
        {CFSTR(kIOHIDElementHasPreferredStateKey), boolean((flags & hid::kFieldNoPreferred) == 0)},
        {CFSTR(kIOHIDElementIsNonLinearKey), boolean((flags & hid::kFieldNonLinear) != 0)},
        {CFSTR(kIOHIDElementIsRelativeKey), boolean((flags & hid::kFieldRelative) != 0)},
        {CFSTR(kIOHIDElementIsWrappingKey), boolean((flags & hid::kFieldWrap) != 0)},
        {CFSTR(kIOHIDElementIsArrayKey), boolean((flags & hid::kFieldVariable) == 0)},
        // Only duplicates and slots have an index.
        {CFSTR(kIOHIDElementDuplicateIndexKey), element.duplicateIndex ? number(*element.duplicateIndex) : nullptr},
    });
}

auto reportHandlerProperties(const hid::Element& element)
{
    return std::to_array<Property>({
        {CFSTR(kIOHIDElementCookieKey), number(element.cookie)},
        {CFSTR(kIOHIDElementTypeKey), number(static_cast<std::uint32_t>(element.type))},
        {CFSTR(kIOHIDElementUsageKey), number(element.usage)},
        {CFSTR(kIOHIDElementUsagePageKey), number(element.usagePage)},
        {CFSTR(kIOHIDElementReportIDKey), number(element.reportID)},
        {CFSTR(kIOHIDElementSizeKey), number(element.sizeBits())},
        {CFSTR(kIOHIDElementReportSizeKey), number(element.reportSize)},
        {CFSTR(kIOHIDElementReportCountKey), number(element.reportCount)},
    });
}

/// A collection, and the array of what it holds; null if that is nothing.
struct FilledCollection {
    const hid::Element& element;
    CFArrayRef children;
};

auto collectionProperties(const FilledCollection& collection)
{
    const hid::Element& element = collection.element;
    return std::to_array<Property>({
        {CFSTR(kIOHIDElementCookieKey), number(element.cookie)},
        {CFSTR(kIOHIDElementTypeKey), number(static_cast<std::uint32_t>(element.type))},
        {CFSTR(kIOHIDElementUsageKey), number(element.usage)},
        {CFSTR(kIOHIDElementUsagePageKey), number(element.usagePage)},
        {CFSTR(kIOHIDElementReportIDKey), number(element.reportID)},
        {CFSTR(kIOHIDElementCollectionTypeKey), number(element.collectionType)},
        {CFSTR(kIOHIDElementKey), collection.children},
    });
}

CFRef<CFArrayRef> makeChildren(const hid::ElementTree& tree, std::span<const std::uint32_t> cookies);

/// Depth is bounded: the descriptor's reader limits the nesting of collections.
CFRef<CFTypeRef> makeCollection(const hid::ElementTree& tree, const hid::Element& element)
{
    auto children = element.children.empty() ? CFRef<CFArrayRef>() : makeChildren(tree, element.children);
    CFRef<CFTypeRef> collection = makeListed<collectionProperties>(FilledCollection{element, children.get()});
    // Not before the dictionary exists: if making it fails, the handle releases the children.
    children.leave(); // now the collection's
    return collection;
}

CFRef<CFArrayRef> makeChildren(const hid::ElementTree& tree, std::span<const std::uint32_t> cookies)
{
    std::vector<CFRef<CFTypeRef>> children;
    children.reserve(cookies.size());
    for (const std::uint32_t cookie : cookies) {
        const hid::Element& element = tree.elements[cookie];
        children.push_back(element.role == hid::ElementRole::collection ? makeCollection(tree, element)
                                                                        : makeListed<fieldProperties>(element));
    }
    return makeArray(children);
}

} // namespace

CFRef<CFArrayRef> makeElements(const hid::ElementTree& tree)
{
    return makeChildren(tree, tree.elements.front().children);
}

CFRef<CFArrayRef> makeReportHandlers(const hid::ElementTree& tree)
{
    std::vector<CFRef<CFTypeRef>> handlers;
    handlers.reserve(tree.reportHandlers.size());
    for (const std::uint32_t cookie : tree.reportHandlers) {
        handlers.push_back(makeListed<reportHandlerProperties>(tree.elements[cookie]));
    }
    return makeArray(handlers);
}

} // namespace qrx::iokit
