#include "QrxDeviceTreeNode.h"

#include "QrxDeviceTree.h"

QrxDeviceTreeNode::QrxDeviceTreeNode() : _parent(nullptr) {}

QrxDeviceTreeNode::QrxDeviceTreeNode(const QrxDeviceTreeNode& other)
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
    _parent = parent.get();
}

void QrxDeviceTreeNode::_forgetParent(const QrxDeviceTreeNode* parent)
{
    if (parent == nullptr || parent == _parent) {
        _parent = nullptr;
    }
}
