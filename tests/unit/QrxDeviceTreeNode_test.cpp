#include "QrxDeviceTreeNode.h"

#include "ModelDoubles.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using NodePtr = mis::swizzler<QrxDeviceTreeNode>;

} // namespace

TEST(QrxDeviceTreeNode, AFreshNodeHasNeitherParentNorTree)
{
    const NodePtr node(new PlainNode);
    EXPECT_FALSE(node->_hasParent());
    EXPECT_TRUE(node->_getParent() == nullptr);
    EXPECT_TRUE(node->getDeviceTree() == nullptr);
}

TEST(QrxDeviceTreeNode, ATreeIsItsOwnTree)
{
    const mis::swizzler<QrxDeviceTree> tree(new FakeTree);
    EXPECT_TRUE(tree->getDeviceTree() == tree);
    EXPECT_EQ(tree->getReferenceCount(), 1U);
}

TEST(QrxDeviceTreeNode, ACapabilityThreeLevelsBelowADeviceFindsTheTree)
{
    const mis::swizzler<QrxDeviceTree> tree(new FakeTree);
    const mis::swizzler<QrxHIDDevice> device(new FakeDevice);
    const NodePtr interface(new PlainNode);
    const mis::swizzler<QrxHIDCollection> collection(new FakeCollection);
    const QrxHIDElementPtr capability(new FakeCapability);
    device->_setParent(tree);
    interface->_setParent(device);
    collection->_setParent(interface);
    collection->_addElements({capability});
    EXPECT_TRUE(capability->getDeviceTree() == tree);
}

TEST(QrxDeviceTreeNode, AChainThatDoesNotEndInATreeHasNone)
{
    const NodePtr root(new PlainNode);
    const NodePtr node(new PlainNode);
    node->_setParent(root);
    EXPECT_TRUE(node->getDeviceTree() == nullptr);
}

TEST(QrxDeviceTreeNode, OnlyTheNamedParentIsForgotten)
{
    const NodePtr parent(new PlainNode);
    const NodePtr other(new PlainNode);
    const NodePtr node(new PlainNode);
    node->_setParent(parent);
    node->_forgetParent(other.get());
    EXPECT_TRUE(node->_getParent() == parent);
    node->_forgetParent(parent.get());
    EXPECT_FALSE(node->_hasParent());
}

TEST(QrxDeviceTreeNode, NullForgetsAnyParent)
{
    const NodePtr parent(new PlainNode);
    const NodePtr node(new PlainNode);
    node->_setParent(parent);
    node->_forgetParent(nullptr);
    EXPECT_FALSE(node->_hasParent());
}

TEST(QrxDeviceTreeNode, ANewParentReplacesTheOldOne)
{
    const NodePtr first(new PlainNode);
    const NodePtr second(new PlainNode);
    const NodePtr node(new PlainNode);
    node->_setParent(first);
    node->_setParent(second);
    EXPECT_TRUE(node->_getParent() == second);
    node->_setParent(NodePtr());
    EXPECT_FALSE(node->_hasParent());
}

TEST(QrxDeviceTreeNode, AParentIsHeldOnlyByTheHandleThatNamesIt)
{
    const NodePtr parent(new PlainNode);
    const NodePtr node(new PlainNode);
    node->_setParent(parent);
    EXPECT_EQ(parent->getReferenceCount(), 1U);
    {
        const NodePtr named = node->_getParent();
        EXPECT_EQ(parent->getReferenceCount(), 2U);
    }
    EXPECT_EQ(parent->getReferenceCount(), 1U);
}

TEST(QrxDeviceTreeNode, TheEndOfAChildDoesNotTouchItsParent)
{
    const NodePtr parent(new PlainNode);
    NodePtr(new PlainNode)->_setParent(parent);
    EXPECT_EQ(parent->getReferenceCount(), 1U);
}

TEST(QrxDeviceTreeNode, WhatOthersHangBelowHasNoCopies)
{
    // What hangs below knows the one parent that tells it when to forget it.
    EXPECT_FALSE(std::is_copy_constructible_v<FakeTree> || std::is_copy_assignable_v<FakeTree>);
    EXPECT_FALSE(std::is_copy_constructible_v<FakeDevice> || std::is_copy_assignable_v<FakeDevice>);
    EXPECT_FALSE(std::is_copy_constructible_v<FakeCollection> || std::is_copy_assignable_v<FakeCollection>);
    EXPECT_FALSE(std::is_copy_constructible_v<FakeReport> || std::is_copy_assignable_v<FakeReport>);
}

TEST(QrxDeviceTreeNode, ACopyHangsNowhereAndAssignmentKeepsThePlace)
{
    struct CopiedNode : QrxDeviceTreeNode {};
    const NodePtr parent(new PlainNode);
    CopiedNode original;
    original._setParent(parent);
    CopiedNode copy(original);
    EXPECT_FALSE(copy._hasParent());
    copy = original;
    EXPECT_FALSE(copy._hasParent());
    EXPECT_TRUE(original._getParent() == parent);
}

TEST(QrxDeviceTreeNode, PrintsAsAPlainCollectable)
{
    const NodePtr node(new PlainNode);
    EXPECT_EQ(printed(*node, 2, 2), "{ object id = # VCollectable.referenceCount = 1 }");
}
