/// @file
/// Elements that group elements.

#ifndef QRX_HID_COLLECTION_H
#define QRX_HID_COLLECTION_H

#include "QrxExport.h"
#include "QrxHIDCapability.h"
#include "QrxHIDElement.h"
#include "swizzler"

#include <cstddef>
#include <vector>

/// An inner node of an interface's element tree. It holds one reference on each child, in the order of addition, and
/// never an empty handle.
///
/// Counts and indexes speak of the direct children only. The tree is built before the application sees the device and
/// read afterwards, on the device's thread.
class QRX_EXPORT QrxHIDCollection : public QrxHIDElement {
public:
    QrxHIDCollection();

    /// The elements below a collection know one parent: it has no copies.
    QrxHIDCollection(const QrxHIDCollection&) = delete;
    QrxHIDCollection& operator=(const QrxHIDCollection&) = delete;

    /// Tells every child to forget its parent, then releases them, first to last. A child that somebody else holds
    /// lives on without a parent.
    ~QrxHIDCollection() override;

    /// Adds each child's whole description to the element's, whatever the depth: an end of line, `indent` + 1 tabs,
    /// "Element: ", and the child printed with depth `indent` + 1 and indent 0.
    void _printBody(std::ostream& os, int depth, int indent) const override;

    /// Always true.
    bool isCollection() const override;

    /// The collection directly around this one, or an empty handle for one at the top of its interface.
    virtual mis::swizzler<QrxHIDCollection> getParentCollection() const;

    /// The number of children that are collections.
    virtual size_t getCollectionCount() const;

    /// The number of children that are capabilities.
    virtual size_t getCapabilityCount() const;

    /// The number of children.
    virtual size_t getElementCount() const;

    /// The child at `index`, counted from 0. Throws `std::out_of_range` with the text "vector [] access out of range"
    /// when `index` is not below `getElementCount()`.
    virtual QrxHIDElementPtr getElementAtIndex(unsigned int index) const;

    /// The report IDs of all capabilities below this collection, at any depth: each once, ascending.
    virtual std::vector<unsigned int> _findReportIDs();

    /// The capabilities of report `reportID` below this collection, at any depth, in the order of the tree. One that
    /// stands in two places is listed twice.
    virtual std::vector<QrxHIDCapabilityPtr> _findCapabilitiesByReportID(unsigned int reportID);

    /// Appends a child; an empty handle is ignored. The child's parent stays as it was. Called by backends.
    virtual void _addElement(QrxHIDElementPtr element);

    /// Appends children, first to last, and becomes the parent of each; empty handles are skipped. Called by backends.
    virtual void _addElements(const std::vector<QrxHIDElementPtr>& elements);

protected:
    /// The children, in the order of addition.
    std::vector<QrxHIDElementPtr> _elements;
};

#endif
