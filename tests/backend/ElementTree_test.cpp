#include "BackendTest.h"

#include "QrxHIDCapabilityImpl.h"
#include "QrxHIDCollectionImpl.h"
#include "QrxHIDInterfaceMac.h"

using fake::Dict;
using fake::List;
using fake::Value;
using world::field;

namespace {

/// How an interface builds its elements from what its driver publishes.
class ElementTreeTest : public BackendTest {
protected:
    /// "[1 [2 3] 4]": usages, a collection's elements in brackets behind it.
    static std::string textOf(const QrxHIDElement& element)
    {
        std::string text = std::to_string(element.getUsage());
        if (const auto* collection = dynamic_cast<const QrxHIDCollection*>(&element)) {
            text += " [";
            for (unsigned int index = 0; index < collection->getElementCount(); ++index) {
                text += (index == 0 ? "" : " ") + textOf(*collection->getElementAtIndex(index));
            }
            text += "]";
        }
        return text;
    }
    static std::string textOf(_QrxHIDInterfaceMac& interface)
    {
        std::string text;
        for (unsigned int index = 0; index < interface.getElementCount(); ++index) {
            text += (index == 0 ? "" : " ") + textOf(*interface.getElementAtIndex(index));
        }
        return text;
    }
    mis::swizzler<_QrxHIDInterfaceMac> built()
    {
        mis::swizzler<_QrxHIDInterfaceMac> interface(new _QrxHIDInterfaceMac);
        interface->_initWithEntry(top.handle);
        return interface;
    }
    /// The tree of an interface whose driver publishes these elements to one client.
    std::string treeOf(Value elements)
    {
        addDriver(top, "hid", std::move(elements), 1);
        const auto interface = built();
        return textOf(*interface);
    }
    fake::FakeEntry& addDriver(fake::FakeEntry& parent, const std::string& name, Value elements, int clients)
    {
        auto& driver = platform.registry.add(&parent, name, "IOHIDDevice", {{"Elements", std::move(elements)}});
        for (int index = 0; index < clients; ++index) {
            platform.registry.add(&driver, name + "-client" + std::to_string(index), "IOHIDInterface");
        }
        return driver;
    }
    /// How often the elements of an entry were read.
    int readsOfElements(const std::string& entry)
    {
        const std::string text = platform.log.text();
        const std::string read = elementsRead(entry);
        int count = 0;
        for (std::size_t at = text.find(read); at != std::string::npos; at = text.find(read, at + read.size())) {
            ++count;
        }
        return count;
    }
    static Dict group(int usage, Value elements)
    {
        return {{"CollectionType", 1}, {"Usage", usage}, {"Elements", std::move(elements)}};
    }
    static Dict leaf(int usage) { return field(usage, 1, 0, 1, usage); }

    fake::FakeEntry& top = platform.registry.add(nullptr, "if", kIOUSBInterfaceClassName, {{"bInterfaceNumber", 2}});
};

} // namespace

TEST_F(ElementTreeTest, CollectionsHoldWhatStandsInTheirElements)
{
    EXPECT_EQ(treeOf(List{group(1, List{leaf(2), group(3, List{leaf(4)}), leaf(5)}), leaf(6)}), "1 [2 3 [4] 5] 6");
}

TEST_F(ElementTreeTest, AnEmptyArrayGivesNoElements)
{
    EXPECT_EQ(treeOf(List{}), "");
}

TEST_F(ElementTreeTest, OneDictionaryInPlaceOfAnArrayIsOneElement)
{
    EXPECT_EQ(treeOf(leaf(7)), "7");
}

TEST_F(ElementTreeTest, ACollectionWithoutElementsIsEmpty)
{
    EXPECT_EQ(treeOf(List{Dict{{"CollectionType", 0}, {"Usage", 1}}}), "1 []");
}

TEST_F(ElementTreeTest, ACollectionWhoseElementsAreOneDictionaryHasThatChild)
{
    EXPECT_EQ(treeOf(List{group(1, leaf(2))}), "1 [2]");
}

TEST_F(ElementTreeTest, ArraysInArraysAreOneLevel)
{
    EXPECT_EQ(treeOf(List{List{leaf(1), List{leaf(2)}}, leaf(3)}), "1 2 3");
}

TEST_F(ElementTreeTest, WhatIsNoArrayAndNoDictionaryIsSkippedEverywhere)
{
    EXPECT_EQ(treeOf(List{5, leaf(1), "text", true, group(2, List{1.5, leaf(3)}), Value()}), "1 2 [3]");
}

TEST_F(ElementTreeTest, ElementsThatAreANumberGiveNone)
{
    EXPECT_EQ(treeOf(5), "");
}

TEST_F(ElementTreeTest, OnlyTheKeyCollectionTypeMakesACollection)
{
    EXPECT_EQ(treeOf(List{Dict{{"Type", 513}, {"Usage", 1}, {"Elements", List{leaf(2)}}},
                          Dict{{"CollectionType", "x"}, {"Type", 1}, {"Usage", 3}}}),
              "1 3 []");
}

TEST_F(ElementTreeTest, ParentsAreTheCollectionAndTheInterface)
{
    addDriver(top, "hid", List{group(1, List{leaf(2)})}, 1);
    const auto interface = built();
    const auto collection = interface->getElementAtIndex(0);
    const auto child = dynamic_cast<QrxHIDCollection&>(*collection).getElementAtIndex(0);
    EXPECT_EQ(collection->_getParent().get(), interface.get());
    EXPECT_EQ(child->_getParent().get(), collection.get());
    EXPECT_EQ(child->getInterfaceNumber(), 2);
}

TEST_F(ElementTreeTest, ADriverWithoutAClientGivesNoElementsButAConnection)
{
    addDriver(top, "hid", List{leaf(1)}, 0);
    EXPECT_EQ(textOf(*built()), "");
    EXPECT_EQ(platform.log.countOf("IOCreatePlugInInterfaceForService(hid)"), 1);
}

TEST_F(ElementTreeTest, EachClientOfTheDriverAddsTheElementsAnewAndTheArraysAreKept)
{
    addDriver(top, "hid", List{leaf(1), leaf(2)}, 3);
    const auto interface = built();
    EXPECT_EQ(textOf(*interface), "1 2 1 2 1 2");
    EXPECT_NE(interface->getElementAtIndex(0), interface->getElementAtIndex(2));
    EXPECT_EQ(readsOfElements("hid"), 3);
    EXPECT_EQ(platform.log.countOf("CFRelease(hid.Elements)"), 0);
    EXPECT_THAT(platform.objects.leaks(), testing::Contains("hid.Elements").Times(3));
}

TEST_F(ElementTreeTest, BelowAnEntryWithElementsNothingIsLookedAt)
{
    auto& driver = addDriver(top, "hid", List{leaf(1)}, 1);
    addDriver(*driver.children[0], "deeper", List{leaf(9)}, 1);
    EXPECT_EQ(textOf(*built()), "1");
}

TEST_F(ElementTreeTest, AnEntryBetweenInterfaceAndDriverIsPassed)
{
    auto& between = platform.registry.add(&top, "between", "IOService");
    addDriver(between, "hid", List{leaf(1)}, 1);
    const auto interface = built();
    EXPECT_EQ(textOf(*interface), "1");
    EXPECT_TRUE(interface->isHID());
}

TEST_F(ElementTreeTest, ElementsAreReadAgainForEachChildAndTheFirstAnswerMayDiffer)
{
    addDriver(top, "hid", List{leaf(1)}, 2);
    // The first read of the driver's elements fails: the walk goes below that client, then takes the second.
    if (fake::kNestsOnlyInTable) {
        // The third table: those of the interface, as a snapshot and for its elements, come first.
        platform.log.failCall("IORegistryEntryCreateCFProperties", 3);
    } else {
        platform.log.failCall("IORegistryEntryCreateCFProperty", 2);
    }
    EXPECT_EQ(textOf(*built()), "1");
}

TEST_F(ElementTreeTest, TheLastDriverInDepthFirstOrderIsTheConnection)
{
    auto& left = platform.registry.add(&top, "left", "IOService");
    auto& right = platform.registry.add(&top, "right", "IOService");
    platform.registry.add(&left, "first", "IOHIDDevice", {{"PrimaryUsage", 1}});
    platform.registry.add(&right, "second", "IOHIDDevice", {{"PrimaryUsage", 2}});
    platform.registry.add(&right, "third", "IOHIDDevice", {{"PrimaryUsage", 3}});
    const auto interface = built();
    EXPECT_EQ(interface->getPrimaryUsage(), 2U) << "a level stops at its first driver, the levels above go on";
    EXPECT_EQ(platform.log.linesWith({"IOCreatePlugIn", ".Release"}), "IOCreatePlugInInterfaceForService(first)\n"
                                                                      "IOCreatePlugInInterfaceForService(second)\n"
                                                                      "first.Release()\n");
}

TEST_F(ElementTreeTest, AConnectionIsKeptWhateverItsSetUpAchieved)
{
    addDriver(top, "hid", List{leaf(1)}, 1);
    platform.log.failAll("IOCreatePlugInInterfaceForService");
    const auto interface = built();
    EXPECT_TRUE(interface->isHID());
    interface->open();
    EXPECT_EQ(platform.log.linesWith({"hid.open"}), "");
}

TEST_F(ElementTreeTest, EmptyHandlesAreNotAdded)
{
    const auto interface = built();
    interface->_addElements({mis::swizzler<QrxHIDElement>(), mis::swizzler<QrxHIDElement>(new _QrxHIDCapabilityImpl)});
    EXPECT_EQ(interface->getElementCount(), 1U);
}
