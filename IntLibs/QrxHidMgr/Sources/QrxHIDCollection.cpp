#include "QrxHIDCollection.h"

#include "BoundsTesting.h"
#include "ReportDiscovery.h"
#include "SelfReference.h"

#include <algorithm>
#include <ostream>

QrxHIDCollection::QrxHIDCollection() = default;

QrxHIDCollection::~QrxHIDCollection()
{
    for (const QrxHIDElementPtr& element : _elements) {
        if (element) {
            // All children are told before the first is released, so that none of them can be reached with a link to a
            // parent that is half destroyed.
            element->_forgetParent(this);
        }
    }
    // One by one, since the order is promised and that of the vector's destructor is not.
    for (QrxHIDElementPtr& element : _elements) {
        element.release();
    }
}

void QrxHIDCollection::_printBody(std::ostream& os, int depth, int indent) const
{
    QrxHIDElement::_printBody(os, depth, indent);
    // Deliberate: children are printed whatever the depth, the end of line stands before each, and a child gets indent
    // + 1 as its depth and 0 as its indent. Count and children are asked through the virtual operations, since a
    // derived class may show others than the list has.
    for (unsigned int index = 0; index < getElementCount(); ++index) {
        const QrxHIDElementPtr element = getElementAtIndex(index);
        if (!element) {
            continue;
        }
        os << "\n";
        _printTabs(os, indent + 1);
        os << "Element: ";
        element->print(os, indent + 1, 0);
    }
}

bool QrxHIDCollection::isCollection() const
{
    return true;
}

mis::swizzler<QrxHIDCollection> QrxHIDCollection::getParentCollection() const
{
    const mis::swizzler<QrxDeviceTreeNode> parent = _getParent();
    return mis::swizzler<QrxHIDCollection>(dynamic_cast<QrxHIDCollection*>(parent.get()));
}

size_t QrxHIDCollection::getCollectionCount() const
{
    return static_cast<size_t>(std::count_if(_elements.begin(), _elements.end(),
                                             [](const QrxHIDElementPtr& element) { return element->isCollection(); }));
}

size_t QrxHIDCollection::getCapabilityCount() const
{
    return static_cast<size_t>(std::count_if(_elements.begin(), _elements.end(),
                                             [](const QrxHIDElementPtr& element) { return element->isCapability(); }));
}

size_t QrxHIDCollection::getElementCount() const
{
    return _elements.size();
}

QrxHIDElementPtr QrxHIDCollection::getElementAtIndex(unsigned int index) const
{
    return entryAt(_elements, index);
}

std::vector<unsigned int> QrxHIDCollection::_findReportIDs()
{
    std::vector<unsigned int> reportIDs;
    for (const QrxHIDElementPtr& element : _elements) {
        // Every level keeps its list in order: a caller may ask any collection, and each is promised an ascending list.
        insertReportIDs(element, reportIDs);
    }
    return reportIDs;
}

std::vector<QrxHIDCapabilityPtr> QrxHIDCollection::_findCapabilitiesByReportID(unsigned int reportID)
{
    std::vector<QrxHIDCapabilityPtr> capabilities;
    for (const QrxHIDElementPtr& element : _elements) {
        // Not sorted and not made unique: the order of the tree is the order of the fields in the report.
        appendCapabilities(element, reportID, capabilities);
    }
    return capabilities;
}

void QrxHIDCollection::_addElement(QrxHIDElementPtr element)
{
    // Deliberate: unlike `_addElements`, this does not make the collection the element's parent.
    if (element) {
        _elements.push_back(element);
    }
}

void QrxHIDCollection::_addElements(const std::vector<QrxHIDElementPtr>& elements)
{
    // Children get a handle on this collection while they take it as their parent. A collection that nobody holds yet
    // would be deleted when that handle goes.
    const SelfLoan loan(*this);
    _elements.reserve(_elements.size() + elements.size());
    for (const QrxHIDElementPtr& element : elements) {
        if (!element) {
            continue;
        }
        _elements.push_back(element);
        element->_setParent(mis::swizzler<QrxDeviceTreeNode>(this));
    }
}
