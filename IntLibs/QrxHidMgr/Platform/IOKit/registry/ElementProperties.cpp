// Elements as property dictionaries. The keys of each kind are a shape that all dictionaries share, and the values are
// numbers that are held in their references, so an element costs one allocation. A published tree is read by every
// program on a device of the same kind, and never changes.

#include "ElementProperties.h"

#include "CoreFoundation/CFDictionaryShape.h"
#include "CoreFoundation/TaggedNumber.h"
#include "PropertyList.h"

#include <IOKit/hid/IOHIDKeys.h>

#include <cstdint>
#include <span>
#include <vector>

namespace qrx::iokit {

namespace {

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

CFRef<CFTypeRef> makeShaped(const cf::DictionaryShape* shape, std::span<const CFTypeRef> values)
{
    return CFRef<CFTypeRef>::adopt(cf::createShapedDictionary(shape, values));
}

const cf::DictionaryShape* fieldShape()
{
    static const cf::DictionaryShape* const sm_Shape = cf::makeShape({
        CFSTR(kIOHIDElementCookieKey),
        CFSTR(kIOHIDElementTypeKey),
        CFSTR(kIOHIDElementUsageKey),
        CFSTR(kIOHIDElementUsagePageKey),
        CFSTR(kIOHIDElementReportIDKey),
        CFSTR(kIOHIDElementSizeKey),
        CFSTR(kIOHIDElementReportSizeKey),
        CFSTR(kIOHIDElementReportCountKey),
        CFSTR(kIOHIDElementFlagsKey),
        CFSTR(kIOHIDElementMinKey),
        CFSTR(kIOHIDElementMaxKey),
        CFSTR(kIOHIDElementScaledMinKey),
        CFSTR(kIOHIDElementScaledMaxKey),
        CFSTR(kIOHIDElementUnitKey),
        CFSTR(kIOHIDElementUnitExponentKey),
        CFSTR(kIOHIDElementHasNullStateKey),
        CFSTR(kIOHIDElementHasPreferredStateKey),
        CFSTR(kIOHIDElementIsNonLinearKey),
        CFSTR(kIOHIDElementIsRelativeKey),
        CFSTR(kIOHIDElementIsWrappingKey),
        CFSTR(kIOHIDElementIsArrayKey),
        CFSTR(kIOHIDElementDuplicateIndexKey),
    });
    return sm_Shape;
}

CFRef<CFTypeRef> makeField(const hid::Element& element)
{
    const std::uint32_t flags = element.flags;
    const CFTypeRef values[] = {
        number(element.cookie),
        number(static_cast<std::uint32_t>(element.type)),
        number(element.usage),
        number(element.usagePage),
        number(element.reportID),
        number(element.sizeBits()),
        number(element.reportSize),
        number(element.reportCount),
        number(flags),
        number(element.min),
        number(element.max),
        number(element.scaledMin),
        number(element.scaledMax),
        number(element.unit),
        number(element.unitExponent),
        boolean((flags & hid::kFieldNullState) != 0),
        // The flag in the descriptor says the opposite, "no preferred state".
        boolean((flags & hid::kFieldNoPreferred) == 0),
        boolean((flags & hid::kFieldNonLinear) != 0),
        boolean((flags & hid::kFieldRelative) != 0),
        boolean((flags & hid::kFieldWrap) != 0),
        boolean((flags & hid::kFieldVariable) == 0),
        // Null stands for an absent key: only duplicates and slots have an index.
        element.duplicateIndex ? number(*element.duplicateIndex) : nullptr,
    };
    return makeShaped(fieldShape(), values);
}

CFRef<CFTypeRef> makeReportHandler(const hid::Element& element)
{
    static const cf::DictionaryShape* const sm_Shape = cf::makeShape({
        CFSTR(kIOHIDElementCookieKey),
        CFSTR(kIOHIDElementTypeKey),
        CFSTR(kIOHIDElementUsageKey),
        CFSTR(kIOHIDElementUsagePageKey),
        CFSTR(kIOHIDElementReportIDKey),
        CFSTR(kIOHIDElementSizeKey),
        CFSTR(kIOHIDElementReportSizeKey),
        CFSTR(kIOHIDElementReportCountKey),
    });
    const CFTypeRef values[] = {
        number(element.cookie),     number(static_cast<std::uint32_t>(element.type)),
        number(element.usage),      number(element.usagePage),
        number(element.reportID),   number(element.sizeBits()),
        number(element.reportSize), number(element.reportCount),
    };
    return makeShaped(sm_Shape, values);
}

CFRef<CFArrayRef> makeChildren(const hid::ElementTree& tree, const std::vector<std::uint32_t>& cookies);

/// Depth is bounded: the descriptor's reader limits the nesting of collections.
CFRef<CFTypeRef> makeCollection(const hid::ElementTree& tree, const hid::Element& element)
{
    static const cf::DictionaryShape* const sm_Shape = cf::makeShape({
        CFSTR(kIOHIDElementCookieKey),
        CFSTR(kIOHIDElementTypeKey),
        CFSTR(kIOHIDElementUsageKey),
        CFSTR(kIOHIDElementUsagePageKey),
        CFSTR(kIOHIDElementReportIDKey),
        CFSTR(kIOHIDElementCollectionTypeKey),
        CFSTR(kIOHIDElementKey),
    });
    auto children = element.children.empty() ? CFRef<CFArrayRef>() : makeChildren(tree, element.children);
    const CFTypeRef values[] = {
        number(element.cookie),   number(static_cast<std::uint32_t>(element.type)),
        number(element.usage),    number(element.usagePage),
        number(element.reportID), number(element.collectionType),
        children.get(),
    };
    CFRef<CFTypeRef> collection = makeShaped(sm_Shape, values);
    // Not before the dictionary exists: if making it fails, the handle releases the children.
    children.leave(); // now the collection's
    return collection;
}

CFRef<CFArrayRef> makeChildren(const hid::ElementTree& tree, const std::vector<std::uint32_t>& cookies)
{
    std::vector<CFRef<CFTypeRef>> children;
    children.reserve(cookies.size());
    for (const std::uint32_t cookie : cookies) {
        const hid::Element& element = tree.elements[cookie];
        children.push_back(element.role == hid::ElementRole::collection ? makeCollection(tree, element)
                                                                        : makeField(element));
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
        handlers.push_back(makeReportHandler(tree.elements[cookie]));
    }
    return makeArray(handlers);
}

} // namespace qrx::iokit
