#include "QrxHIDCollection.h"

#include "ModelDoubles.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using CollectionPtr = mis::swizzler<FakeCollection>;

const char* const kPlainText = "{ object id = # VCollectable.referenceCount = 2 "
                               "HIDElement.interfaceNumber = 0 HIDElement.reportID = 0 }";

std::string messageOfAccess(const QrxHIDCollection& collection, unsigned int index)
{
    try {
        collection.getElementAtIndex(index);
    } catch (const std::out_of_range& error) {
        return error.what();
    }
    return "no exception";
}

} // namespace

TEST(QrxHIDCollection, CountsItsDirectChildrenByKind)
{
    const CollectionPtr collection(new FakeCollection);
    const CollectionPtr inner(new FakeCollection);
    inner->_addElements({new FakeCapability});
    collection->_addElements({inner, new FakeCapability, new FakeCapability, new FakeCollection, new FakeCapability});
    EXPECT_EQ(collection->getCollectionCount(), 2U);
    EXPECT_EQ(collection->getCapabilityCount(), 3U);
    EXPECT_EQ(collection->getElementCount(), 5U);
}

TEST(QrxHIDCollection, ACollectionIsACollectionAndNoCapability)
{
    const CollectionPtr collection(new FakeCollection);
    EXPECT_TRUE(collection->isCollection());
    EXPECT_FALSE(collection->isCapability());
}

TEST(QrxHIDCollection, AReportInItIsCountedAsAnElementOnly)
{
    const CollectionPtr collection(new FakeCollection);
    collection->_addElement(QrxHIDElementPtr(new FakeReport));
    EXPECT_EQ(collection->getElementCount(), 1U);
    EXPECT_EQ(collection->getCollectionCount(), 0U);
    EXPECT_EQ(collection->getCapabilityCount(), 0U);
}

TEST(QrxHIDCollection, AnAccessPastTheEndThrows)
{
    const CollectionPtr collection(new FakeCollection);
    EXPECT_EQ(messageOfAccess(*collection, 0), "vector [] access out of range");
    EXPECT_EQ(messageOfAccess(*collection, 0xFFFFFFFF), "vector [] access out of range");
    collection->_addElement(QrxHIDElementPtr(new FakeCapability));
    EXPECT_EQ(messageOfAccess(*collection, 0), "no exception");
    EXPECT_EQ(messageOfAccess(*collection, 1), "vector [] access out of range");
}

TEST(QrxHIDCollection, TheListFormAdoptsTheChildren)
{
    const CollectionPtr collection(new FakeCollection);
    const mis::swizzler<FakeCapability> capability(new FakeCapability);
    const CollectionPtr inner(new FakeCollection);
    collection->_addElements({capability, inner});
    EXPECT_TRUE(capability->getParentCollection() == collection);
    EXPECT_TRUE(inner->getParentCollection() == collection);
    EXPECT_EQ(capability->getReferenceCount(), 2U);
    EXPECT_EQ(collection->getReferenceCount(), 1U);
}

TEST(QrxHIDCollection, TheSingleFormDoesNotAdopt)
{
    const CollectionPtr collection(new FakeCollection);
    const mis::swizzler<FakeCapability> capability(new FakeCapability);
    const CollectionPtr inner(new FakeCollection);
    collection->_addElement(capability);
    collection->_addElement(inner);
    EXPECT_TRUE(capability->getParentCollection() == nullptr);
    EXPECT_TRUE(inner->getParentCollection() == nullptr);
    EXPECT_TRUE(capability->getDevice() == nullptr);
    EXPECT_TRUE(collection->getElementAtIndex(0) == capability);
}

TEST(QrxHIDCollection, EmptyHandlesAreSkipped)
{
    const CollectionPtr collection(new FakeCollection);
    collection->_addElement(QrxHIDElementPtr());
    collection->_addElements({QrxHIDElementPtr(), QrxHIDElementPtr(new FakeCapability), QrxHIDElementPtr()});
    EXPECT_EQ(collection->getElementCount(), 1U);
}

TEST(QrxHIDCollection, AParentThatIsNoCollectionIsNoParentCollection)
{
    const CollectionPtr outer(new FakeCollection);
    const mis::swizzler<QrxDeviceTreeNode> interface(new PlainNode);
    const CollectionPtr collection(new FakeCollection);
    EXPECT_TRUE(collection->getParentCollection() == nullptr);
    interface->_setParent(outer);
    collection->_setParent(interface);
    EXPECT_TRUE(collection->getParentCollection() == nullptr);
}

TEST(QrxHIDCollection, ACapabilityThreeCollectionsDeepFindsItsDevice)
{
    const mis::swizzler<QrxHIDDevice> device(new FakeDevice);
    const mis::swizzler<QrxDeviceTreeNode> interface(new PlainNode);
    const CollectionPtr top(new FakeCollection);
    const CollectionPtr middle(new FakeCollection);
    const CollectionPtr bottom(new FakeCollection);
    const mis::swizzler<FakeCapability> capability(new FakeCapability);
    interface->_setParent(device);
    top->_setParent(interface);
    top->_addElements({middle});
    middle->_addElements({bottom});
    bottom->_addElements({capability});
    EXPECT_TRUE(capability->getDevice() == device);
}

TEST(QrxHIDCollection, ACollectionThatNobodyHoldsSurvivesAdoption)
{
    FakeCollection collection;
    const mis::swizzler<FakeCapability> capability(new FakeCapability);
    collection._addElements({capability});
    EXPECT_EQ(collection.getReferenceCount(), 0U);
    EXPECT_EQ(collection.getElementCount(), 1U);
}

TEST(QrxHIDCollection, AtItsEndEveryChildForgetsItAndIsReleasedFirstToLast)
{
    Events events;
    const mis::swizzler<FakeCapability> kept(new FakeCapability);
    {
        const CollectionPtr collection(new FakeCollection);
        collection->obituary.write(events, "collection");
        mis::swizzler<FakeCapability> first(new FakeCapability);
        mis::swizzler<FakeCapability> last(new FakeCapability);
        first->obituary.write(events, "first");
        last->obituary.write(events, "last");
        collection->_addElements({first, kept, last});
    }
    EXPECT_EQ(events, (Events{"collection ends", "first ends", "last ends"}));
    EXPECT_FALSE(kept->_hasParent());
    EXPECT_EQ(kept->getReferenceCount(), 1U);
}

TEST(QrxHIDCollection, AtItsEndAnEmptyHandleIsPassedOver)
{
    class Gappy : public FakeCollection {
    public:
        Gappy() { _elements.push_back(QrxHIDElementPtr()); }
    };
    mis::swizzler<Gappy> collection(new Gappy);
    const QrxHIDElementPtr child(new FakeCapability);
    collection->_addElements({child});
    collection.release();
    EXPECT_FALSE(child->_hasParent());
    EXPECT_EQ(child->getReferenceCount(), 1U);
}

TEST(QrxHIDCollection, AChildThatWasNotAdoptedKeepsItsParent)
{
    const CollectionPtr parent(new FakeCollection);
    const mis::swizzler<FakeCapability> child(new FakeCapability);
    parent->_addElements({child});
    {
        const CollectionPtr other(new FakeCollection);
        other->_addElement(child);
    }
    EXPECT_TRUE(child->getParentCollection() == parent);
}

TEST(QrxHIDCollection, WithoutChildrenPrintsAsAnElementWithoutAnEndOfLine)
{
    const CollectionPtr collection(new FakeCollection);
    const QrxHIDElementPtr second(collection);
    EXPECT_EQ(printed(*collection), kPlainText);
}

TEST(QrxHIDCollection, PrintsEveryChildInOrder)
{
    class NamedCapability : public FakeCapability {
    public:
        explicit NamedCapability(char name) : _name(name) {}
        void print(std::ostream& os, int, int) const override { os << _name; }

    private:
        char _name;
    };
    const CollectionPtr collection(new FakeCollection);
    collection->_addElements({QrxHIDElementPtr(new NamedCapability('x')), QrxHIDElementPtr(new NamedCapability('y')),
                              QrxHIDElementPtr(new NamedCapability('z'))});
    EXPECT_EQ(
        printed(*collection, 0, 0),
        "{ object id = # VCollectable.referenceCount = 1 HIDElement.interfaceNumber = 0 HIDElement.reportID = 0 \n"
        "\tElement: x\n\tElement: y\n\tElement: z}");
}

TEST(QrxHIDCollection, PrintsItsChildrenWhateverTheDepthEachAfterAnEndOfLine)
{
    const CollectionPtr collection(new FakeCollection);
    const CollectionPtr inner(new FakeCollection);
    const mis::swizzler<FakeCapability> capability(new FakeCapability(1, 2));
    inner->_addElements({capability});
    collection->_addElements({inner});
    EXPECT_EQ(
        printed(*collection, 0, 2),
        "{ object id = # VCollectable.referenceCount = 1 HIDElement.interfaceNumber = 0 HIDElement.reportID = 0 \n"
        "\t\t\tElement: { object id = # VCollectable.referenceCount = 3 HIDElement.interfaceNumber = 0 "
        "HIDElement.reportID = 0 \n"
        "\tElement: { object id = # VCollectable.referenceCount = 3 HIDElement.interfaceNumber = 1 "
        "HIDElement.reportID = 2 HIDCapability.minValue = 0 HIDCapability.maxValue = 0 }}}");
}

TEST(QrxHIDCollection, ChildrenGetOneMoreThanTheIndentAsDepthAndNoIndent)
{
    class ArgumentPrinter : public FakeCapability {
    public:
        void print(std::ostream& os, int depth, int indent) const override { os << depth << "," << indent; }
    };
    const CollectionPtr collection(new FakeCollection);
    collection->_addElements({QrxHIDElementPtr(new ArgumentPrinter)});
    EXPECT_EQ(
        printed(*collection, 9, 3),
        "{ object id = # VCollectable.referenceCount = 1 HIDElement.interfaceNumber = 0 HIDElement.reportID = 0 \n"
        "\t\t\t\tElement: 4,0}");
}

TEST(QrxHIDCollection, AnEmptyHandleMetWhilePrintingIsSkipped)
{
    class Gappy : public FakeCollection {
    public:
        size_t getElementCount() const override { return 2; }
        QrxHIDElementPtr getElementAtIndex(unsigned int) const override { return QrxHIDElementPtr(); }
    };
    const mis::swizzler<Gappy> collection(new Gappy);
    const QrxHIDElementPtr second(collection);
    EXPECT_EQ(printed(*collection), kPlainText);
}
