// Reports are decoded from the published report descriptor, while applications know a device by its tree of elements.
// This file finds the element for each value: it builds the elements of the descriptor once more, as our own ground
// would publish them, and walks both trees side by side. On our own ground they are the same, unless the interfaces of
// a hostile device share the limit of elements; on macOS the platform has built its tree from the same bytes, but by
// rules that may differ between its versions. Where the trees differ, values have no element from there on; they are
// decoded all the same.

#include "InterfaceLayout.h"

#include "DriverProperties.h"
#include "InterfaceAccess.h"
#include "QrxHIDCollection.h"

#include <cstddef>

namespace qrx {

namespace {

using ModelElements = std::vector<QrxHIDElementPtr>;

ModelElements childrenOf(const QrxHIDCollection& collection)
{
    ModelElements children;
    for (unsigned int i = 0; i < collection.getElementCount(); ++i) {
        children.push_back(collection.getElementAtIndex(i));
    }
    return children;
}

ModelElements topElementsOf(const QrxHIDDevice& device, int interfaceNumber)
{
    ModelElements elements;
    // The device lists the elements of all interfaces, one after the other.
    for (unsigned int i = 0; i < device.getElementCount(); ++i) {
        const QrxHIDElementPtr element = device.getElementAtIndex(i);
        if (element && element->getInterfaceNumber() == interfaceNumber) {
            elements.push_back(element);
        }
    }
    return elements;
}

/// Walks the elements that we make of a descriptor and those of the device's tree side by side.
class ElementMatch {
public:
    explicit ElementMatch(const hid::ElementTree& tree) : _tree(tree), _byCookie(tree.elements.size()) {}

    /// False from the first element on that is another one in the device's tree.
    bool walk(std::span<const std::uint32_t> cookies, const ModelElements& elements)
    {
        // Another number of children means other rules, so no pair of them can be trusted.
        if (cookies.size() != elements.size()) {
            return false;
        }
        for (std::size_t i = 0; i < cookies.size(); ++i) {
            if (!match(_tree.elements[cookies[i]], elements[i])) {
                return false;
            }
        }
        return true;
    }

    const QrxHIDCapabilityPtr& at(std::uint32_t cookie) const { return _byCookie[cookie]; }

private:
    bool match(const hid::Element& ours, const QrxHIDElementPtr& theirs)
    {
        // Cookies are not compared: another ground may number its elements differently.
        if (!theirs || theirs->getUsage() != ours.usage || theirs->getUsagePage() != ours.usagePage) {
            return false;
        }
        if (ours.role == hid::ElementRole::collection) {
            // The recursion ends with our own tree, whose depth the reader of descriptors limits.
            const auto* collection = dynamic_cast<const QrxHIDCollection*>(theirs.get());
            return collection != nullptr && walk(ours.children, childrenOf(*collection));
        }
        auto* field = dynamic_cast<QrxHIDCapability*>(theirs.get());
        if (field == nullptr || field->getReportID() != ours.reportID ||
            field->getType() != static_cast<std::uint32_t>(ours.type)) {
            return false;
        }
        _byCookie[ours.cookie] = field;
        return true;
    }

    const hid::ElementTree& _tree;
    std::vector<QrxHIDCapabilityPtr> _byCookie;
};

bool namesUsage(const hid::Element& element)
{
    // Heads and slots of arrays and duplicates stand for no usage of their own: a value of one of several is shown by
    // its head.
    return element.role == hid::ElementRole::field || element.role == hid::ElementRole::arraySelector;
}

} // namespace

std::shared_ptr<const InterfaceLayout> InterfaceLayout::of(const QrxHIDDevice& device, int interfaceNumber)
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = interfaceOf(device, interfaceNumber);
    if (!interface) {
        return nullptr;
    }
    // Made when it is first asked for: most devices of a tree are never decoded.
    if (!interface->_keptLayout()) {
        const std::span<const std::uint8_t> descriptor = reportDescriptorOf(*interface);
        if (descriptor.empty()) {
            return nullptr;
        }
        interface->_keepLayout(std::make_shared<const InterfaceLayout>(descriptor, device, interfaceNumber));
    }
    return interface->_keptLayout();
}

InterfaceLayout::InterfaceLayout(std::span<const std::uint8_t> reportDescriptor, const QrxHIDDevice& device,
                                 int interfaceNumber)
{
    // Faults of the descriptor are not reported here: our own ground logs them when it makes the driver's entry.
    hid::Descriptor descriptor = hid::parseReportDescriptor(reportDescriptor);
    _reports = hid::layoutOf(descriptor);
    const std::span<const hid::LayoutField> fields = _reports->fields();
    _elements = std::vector<FieldElements>(fields.size());

    const hid::ElementTree tree = hid::buildElementTree(descriptor);
    ElementMatch match(tree);
    match.walk(tree.elements.front().children, topElementsOf(device, interfaceNumber));
    const hid::LayoutField* field = nullptr;
    for (const hid::Element& element : tree.elements) {
        if (!namesUsage(element)) {
            continue;
        }
        // An element and the field that it comes from share the offset of their main item, which is unique in a
        // descriptor. The elements of an item follow each other, so there is one search for each item.
        if (field == nullptr || field->itemOffset != element.itemOffset) {
            field = _reports->fieldOfItem(element.itemOffset);
        }
        if (field != nullptr) {
            // They come in the order of the item's usages, so the position in this list is the position of the usage.
            _elements[static_cast<std::size_t>(field - fields.data())].push_back(match.at(element.cookie));
        }
    }
}

QrxHIDCapabilityPtr InterfaceLayout::elementOf(const hid::ReportValue& value) const
{
    const FieldElements& elements = _elements[value.field];
    return value.usagePosition < elements.size() ? elements[static_cast<std::size_t>(value.usagePosition)]
                                                 : QrxHIDCapabilityPtr();
}

} // namespace qrx
