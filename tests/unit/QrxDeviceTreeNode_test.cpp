#include "QrxDeviceTreeNode.h"

#include "ModelDoubles.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using NodePtr = mis::swizzler<QrxDeviceTreeNode>;

} // namespace

TEST(QrxDeviceTreeNode, AFreshNodeHasNeitherParentNorTree)
{
    NodePtr const node(new PlainNode);
    EXPECT_FALSE(node->_hasParent());
    EXPECT_TRUE(node->_getParent() == nullptr);
    EXPECT_TRUE(node->getDeviceTree() == nullptr);
}

TEST(QrxDeviceTreeNode, ATreeIsItsOwnTree)
{
    mis::swizzler<QrxDeviceTree> const tree(new FakeTree);
    EXPECT_TRUE(tree->getDeviceTree() == tree);
    EXPECT_EQ(tree->getReferenceCount(), 1U);
}

TEST(QrxDeviceTreeNode, ACapabilityThreeLevelsBelowADeviceFindsTheTree)
{
    mis::swizzler<QrxDeviceTree> const tree(new FakeTree);
    mis::swizzler<QrxHIDDevice> const device(new FakeDevice);
    NodePtr const interface(new PlainNode);
    mis::swizzler<QrxHIDCollection> const collection(new FakeCollection);
    QrxHIDElementPtr const capability(new FakeCapability);
    device->_setParent(tree);
    interface->_setParent(device);
    collection->_setParent(interface);
    collection->_addElements({capability});
    EXPECT_TRUE(capability->getDeviceTree() == tree);
}

TEST(QrxDeviceTreeNode, AChainThatDoesNotEndInATreeHasNone)
{
    NodePtr const root(new PlainNode);
    NodePtr const node(new PlainNode);
    node->_setParent(root);
    EXPECT_TRUE(node->getDeviceTree() == nullptr);
}

TEST(QrxDeviceTreeNode, OnlyTheNamedParentIsForgotten)
{
    NodePtr const parent(new PlainNode);
    NodePtr const other(new PlainNode);
    NodePtr const node(new PlainNode);
    node->_setParent(parent);
    node->_forgetParent(other.get());
    EXPECT_TRUE(node->_getParent() == parent);
    node->_forgetParent(parent.get());
    EXPECT_FALSE(node->_hasParent());
}

TEST(QrxDeviceTreeNode, NullForgetsAnyParent)
{
    NodePtr const parent(new PlainNode);
    NodePtr const node(new PlainNode);
    node->_setParent(parent);
    node->_forgetParent(nullptr);
    EXPECT_FALSE(node->_hasParent());
}

TEST(QrxDeviceTreeNode, ANewParentReplacesTheOldOne)
{
    NodePtr const first(new PlainNode);
    NodePtr const second(new PlainNode);
    NodePtr const node(new PlainNode);
    node->_setParent(first);
    node->_setParent(second);
    EXPECT_TRUE(node->_getParent() == second);
    node->_setParent(NodePtr());
    EXPECT_FALSE(node->_hasParent());
}

TEST(QrxDeviceTreeNode, AParentIsHeldOnlyByTheHandleThatNamesIt)
{
    NodePtr const parent(new PlainNode);
    NodePtr const node(new PlainNode);
    node->_setParent(parent);
    EXPECT_EQ(parent->getReferenceCount(), 1U);
    {
        NodePtr const named = node->_getParent();
        EXPECT_EQ(parent->getReferenceCount(), 2U);
    }
    EXPECT_EQ(parent->getReferenceCount(), 1U);
}

TEST(QrxDeviceTreeNode, TheEndOfAChildDoesNotTouchItsParent)
{
    NodePtr const parent(new PlainNode);
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
    NodePtr const parent(new PlainNode);
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
    NodePtr const node(new PlainNode);
    EXPECT_EQ(printed(*node, 2, 2), "{ object id = # VCollectable.referenceCount = 1 }");
}
