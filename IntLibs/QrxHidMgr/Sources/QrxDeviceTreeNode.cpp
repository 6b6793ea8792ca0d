#include "QrxDeviceTreeNode.h"

#include "QrxDeviceTree.h"

QrxDeviceTreeNode::QrxDeviceTreeNode() : _parent(nullptr) {}

QrxDeviceTreeNode::QrxDeviceTreeNode(const QrxDeviceTreeNode& other)
    // A copy is not in the list of the original's parent, so nobody would tell it to forget that parent: it starts
    // without one.
    : mis::VCollectable<unsigned int>(other), _parent(nullptr)
{
}

QrxDeviceTreeNode& QrxDeviceTreeNode::operator=(const QrxDeviceTreeNode&)
{
    return *this;
}

QrxDeviceTreeNode::~QrxDeviceTreeNode()
{
    _parent = nullptr;
}

mis::swizzler<QrxDeviceTree> QrxDeviceTreeNode::getDeviceTree()
{
    QrxDeviceTreeNode* root = this;
    while (root->_parent != nullptr) {
        // The field itself and not the virtual `_getParent`: no handle is made on the way, so nodes that nobody holds
        // yet survive the question.
        root = root->_parent;
    }
    return mis::swizzler<QrxDeviceTree>(dynamic_cast<QrxDeviceTree*>(root));
}

bool QrxDeviceTreeNode::_hasParent() const
{
    return _parent != nullptr;
}

mis::swizzler<QrxDeviceTreeNode> QrxDeviceTreeNode::_getParent() const
{
    return mis::swizzler<QrxDeviceTreeNode>(_parent);
}

void QrxDeviceTreeNode::_setParent(mis::swizzler<QrxDeviceTreeNode> parent)
{
    // Not held: a parent holds its children, and a handle back would keep both for ever.
    _parent = parent.get();
}

void QrxDeviceTreeNode::_forgetParent(const QrxDeviceTreeNode* parent)
{
    // A node may have been given to another parent since; the earlier parent's end must not cut that link.
    if (parent == nullptr || parent == _parent) {
        _parent = nullptr;
    }
}
