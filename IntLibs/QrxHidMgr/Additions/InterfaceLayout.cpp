#include "InterfaceLayout.h"

#include "DriverProperties.h"
#include "InterfaceAccess.h"
#include "QrxHIDCollection.h"

#include <cstddef>
#include <unordered_map>

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
    bool walk(const std::vector<std::uint32_t>& cookies, const ModelElements& elements)
    {
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
        if (!theirs || theirs->getUsage() != ours.usage || theirs->getUsagePage() != ours.usagePage) {
            return false;
        }
        if (ours.role == hid::ElementRole::collection) {
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
    return element.role == hid::ElementRole::field || element.role == hid::ElementRole::arraySelector;
}

} // namespace

std::shared_ptr<const InterfaceLayout> InterfaceLayout::of(const QrxHIDDevice& device, int interfaceNumber)
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = interfaceOf(device, interfaceNumber);
    if (!interface) {
        return nullptr;
    }
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
    hid::Descriptor descriptor = hid::parseReportDescriptor(reportDescriptor);
    _reports = std::make_shared<const hid::ReportLayout>(descriptor);
    const std::span<const hid::LayoutField> fields = _reports->fields();
    _elements.resize(fields.size());

    const hid::ElementTree tree = hid::buildElementTree(descriptor);
    ElementMatch match(tree);
    match.walk(tree.elements.front().children, topElementsOf(device, interfaceNumber));
    std::unordered_map<std::size_t, std::size_t> fieldByItem;
    for (std::size_t index = 0; index < fields.size(); ++index) {
        fieldByItem[fields[index].itemOffset] = index;
    }
    for (const hid::Element& element : tree.elements) {
        const auto field = namesUsage(element) ? fieldByItem.find(element.itemOffset) : fieldByItem.end();
        if (field != fieldByItem.end()) {
            // In the order of the usages, so the position is that of the usage.
            _elements[field->second].push_back(match.at(element.cookie));
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
