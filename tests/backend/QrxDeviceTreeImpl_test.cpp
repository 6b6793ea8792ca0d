#include "BackendTest.h"

#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

using world::Sample;

namespace {

using QrxDeviceTreeImplTest = BackendTest;

/// More devices than are compared one by one.
class ManyDevices : public BackendTest {
protected:
    static constexpr unsigned int kMany = 70;

    ManyDevices()
    {
        for (unsigned int number = 0; number < kMany; ++number) {
            entries.push_back(&addDevice("usb" + std::to_string(number), {Sample::kPedal}));
        }
        tree->setDelegate(&told);
        tree->populate(kAnything);
    }
    void TearDown() override
    {
        tree = nullptr;
        BackendTest::TearDown();
    }
    void expectListedAgainAfter(const std::function<void()>& removal)
    {
        testing::internal::CaptureStdout();
        removal();
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(tree->getHIDDeviceCount(), kMany - 1);
        for (int times = 0; times < 2; ++times) {
            tree->populate(kAnything);
            EXPECT_EQ(tree->getHIDDeviceCount(), kMany);
        }
        EXPECT_EQ(told.lines.size(), kMany + 1);
    }

    std::vector<fake::FakeEntry*> entries;
    RecordingTreeDelegate told;
    mis::swizzler<_QrxDeviceTreeImpl> tree = newTree();
};

/// A device of an application's class, which decides by itself what it equals.
class OwnComparison : public _QrxHIDDeviceImpl {
public:
    using _QrxHIDDeviceImpl::operator==;
    bool operator==(const QrxHIDDevice&) const override
    {
        ++asked;
        return isEqual;
    }
    bool isHID() const override { return true; }

    mutable unsigned int asked = 0;
    bool isEqual = false;
};

} // namespace

TEST_F(QrxDeviceTreeImplTest, PopulateCallsThePlatformInThisOrder)
{
    platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName, {{"idVendor", 1}, {"idProduct", 2}});
    const auto tree = newTree();
    tree->populate({{9, 9}});
    EXPECT_EQ(platform.log.text(), "IOMasterPort\n"
                                   "IOServiceMatching(" kIOUSBDeviceClassName ")\n"
                                   "CFRetain(matching)\n"
                                   "IOServiceGetMatchingServices(master, matching)\n"
                                   "IOIteratorNext(present) -> usb1\n"
                                   "IORegistryEntryCreateCFProperty(usb1, idVendor)\n"
                                   "CFRelease(usb1.idVendor)\n"
                                   "IORegistryEntryCreateCFProperty(usb1, idProduct)\n"
                                   "CFRelease(usb1.idProduct)\n"
                                   "IOObjectRelease(usb1)\n"
                                   "IOIteratorNext(present) -> 0\n"
                                   "CFRelease(matching)\n"
                                   "IOObjectRelease(present)\n"
                                   "IOObjectRelease(master)\n");
}

TEST_F(QrxDeviceTreeImplTest, ADeviceThatIsRefusedIsReleasedBeforeItsEntry)
{
    platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName, {});
    const auto tree = newTree();
    RecordingTreeDelegate told;
    tree->setDelegate(&told);
    tree->populate(kAnything);
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U);
    EXPECT_TRUE(told.lines.empty());
    EXPECT_EQ(platform.log.text(), "IOMasterPort\n"
                                   "IOServiceMatching(" kIOUSBDeviceClassName ")\n"
                                   "CFRetain(matching)\n"
                                   "IOServiceGetMatchingServices(master, matching)\n"
                                   "IOIteratorNext(present) -> usb1\n"
                                   "IORegistryEntryCreateCFProperty(usb1, idVendor) -> 0\n"
                                   "IORegistryEntryCreateCFProperty(usb1, idProduct) -> 0\n"
                                   "IOObjectConformsTo(usb1, " kIOUSBDeviceClassName ") -> yes\n"
                                   "IOObjectRetain(usb1)\n"
                                   "IORegistryEntryCreateCFProperties(usb1)\n"
                                   "IORegistryEntryGetChildIterator(usb1)\n"
                                   "IOIteratorNext(children(usb1)) -> 0\n"
                                   "IOObjectRelease(children(usb1))\n"
                                   "IOObjectRelease(usb1)\n"
                                   "CFRelease(usb1 properties)\n"
                                   "IOObjectRelease(usb1)\n"
                                   "IOIteratorNext(present) -> 0\n"
                                   "CFRelease(matching)\n"
                                   "IOObjectRelease(present)\n"
                                   "IOObjectRelease(master)\n");
}

TEST_F(QrxDeviceTreeImplTest, ObserveCallsThePlatformInThisOrder)
{
    platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName, {});
    const auto tree = newTree();
    tree->observe(IDs{});
    EXPECT_EQ(platform.log.text(), "IOMasterPort\n"
                                   "IONotificationPortCreate(master)\n"
                                   "IONotificationPortGetRunLoopSource\n"
                                   "CFRunLoopGetCurrent\n"
                                   "CFRunLoopAddSource(loop, port-source, kCFRunLoopDefaultMode)\n"
                                   "IOServiceMatching(" kIOUSBDeviceClassName ")\n"
                                   "CFRetain(matching)\n"
                                   "IOServiceAddMatchingNotification(IOServiceFirstMatch, matching)\n"
                                   "IOIteratorNext(arrivals) -> usb1\n"
                                   "IORegistryEntryCreateCFProperty(usb1, idVendor) -> 0\n"
                                   "IORegistryEntryCreateCFProperty(usb1, idProduct) -> 0\n"
                                   "IOObjectRelease(usb1)\n"
                                   "IOIteratorNext(arrivals) -> 0\n"
                                   "CFRetain(matching)\n"
                                   "IOServiceAddMatchingNotification(IOServiceTerminate, matching)\n"
                                   "IOIteratorNext(terminations) -> 0\n"
                                   "CFRelease(matching)\n"
                                   "IOObjectRelease(master)\n");
}

TEST_F(QrxDeviceTreeImplTest, ASecondObserveCallsNothing)
{
    const auto tree = newTree();
    tree->observe(IDs{});
    platform.log.clear();
    tree->observe(IDs{{3, 4}});
    EXPECT_EQ(platform.log.text(), "");
    EXPECT_EQ(tree->getVendorAndProductIDs(), (IDs{{3, 4}}));
}

TEST_F(QrxDeviceTreeImplTest, TheEndOfTheTreeSilencesItsSourceAndGivesItsIteratorsBack)
{
    auto tree = newTree();
    tree->observe(IDs{});
    platform.log.clear();
    tree.release();
    EXPECT_EQ(platform.log.text(), "CFRunLoopSourceInvalidate(port-source)\n"
                                   "CFRelease(port-source)\n"
                                   "IOObjectRelease(arrivals)\n"
                                   "IOObjectRelease(terminations)\n");
    EXPECT_TRUE(platform.runLoop.sourceNames().empty());
}

TEST_F(QrxDeviceTreeImplTest, TheEndOfATreeThatNeverObservedCallsNothing)
{
    auto tree = newTree();
    tree.release();
    EXPECT_EQ(platform.log.text(), "");
}

TEST_F(QrxDeviceTreeImplTest, APairAcceptsByBothHalvesAndZeroMatchesAnything)
{
    const auto& entry =
        platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName, {{"idVendor", 5}, {"idProduct", 6}});
    const auto tree = newTree();
    const auto accepts = [&](const IDs& ids) {
        tree->getVendorAndProductIDs() = ids;
        return tree->_probeDevice(entry.handle);
    };
    EXPECT_TRUE(accepts({{5, 6}}));
    EXPECT_TRUE(accepts({{5, 0}}));
    EXPECT_TRUE(accepts({{0, 6}}));
    EXPECT_TRUE(accepts({{0, 0}}));
    EXPECT_TRUE(accepts({{1, 1}, {5, 6}}));
    EXPECT_FALSE(accepts({{5, 7}}));
    EXPECT_FALSE(accepts({{6, 6}}));
    EXPECT_FALSE(accepts({{5, 1}, {1, 6}}));
    EXPECT_FALSE(accepts({}));
    EXPECT_FALSE(tree->_probeDevice(0));
}

TEST_F(QrxDeviceTreeImplTest, AnIdThatIsMissingOrNoNumberIsAcceptedByAWildcardOnly)
{
    const auto& entry = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName, {{"idVendor", "5"}});
    const auto tree = newTree();
    tree->getVendorAndProductIDs() = {{5, 0}};
    EXPECT_FALSE(tree->_probeDevice(entry.handle));
    tree->getVendorAndProductIDs() = {{0, 0}};
    EXPECT_TRUE(tree->_probeDevice(entry.handle));
}

TEST_F(QrxDeviceTreeImplTest, HighIdsAreComparedUnsigned)
{
    const auto& entry =
        platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName, {{"idVendor", 0xFFFF}, {"idProduct", 0x8000}});
    const auto tree = newTree();
    tree->getVendorAndProductIDs() = {{0xFFFF, 0x8000}};
    EXPECT_TRUE(tree->_probeDevice(entry.handle));
}

TEST_F(QrxDeviceTreeImplTest, TheWalksTakeNoIteratorAsNothing)
{
    const auto tree = newTree();
    tree->_devicesAddedNotification(0);
    tree->_devicesRemovedNotification(0);
    tree->_removeDevice(0U);
    EXPECT_EQ(platform.log.text(), "");
}

TEST_F(QrxDeviceTreeImplTest, CallbacksWithoutIteratorOrTreeDoNothing)
{
    const auto tree = newTree();
    tree->observe(kAnything);
    addDevice("usb1", {Sample::kMouse});
    platform.log.clear();
    for (const std::string name : {"arrivals", "terminations"}) {
        // The callback as the platform knows it.
        for (io_object_t number = 0x1000; number < 0x1040; ++number) {
            const auto* handle = platform.registry.find(number);
            if (handle != nullptr && handle->name == name) {
                handle->iterator->callback(tree.get(), 0);
                handle->iterator->callback(nullptr, number);
            }
        }
    }
    EXPECT_EQ(platform.log.text(), "");
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U);
}

TEST_F(QrxDeviceTreeImplTest, ARemovalOfADeviceThatIsNotListedDoesNothing)
{
    auto& refused = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName, {});
    const auto tree = newTree();
    tree->observe(kAnything);
    platform.registry.terminate(refused);
    testing::internal::CaptureStdout();
    platform.runLoop.run();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(QrxDeviceTreeImplTest, ARemovalTakesTheDeviceOfTheSameEntryAndWritesItsLine)
{
    addDevice("usb1", {Sample::kPedal});
    auto& second = addDevice("usb2", {Sample::kPedal}, 2, 2);
    addDevice("usb3", {Sample::kPedal}, 3, 3);
    const auto tree = newTree();
    RecordingTreeDelegate told;
    tree->setDelegate(&told);
    tree->observe(kAnything);
    platform.registry.terminate(second);
    platform.log.clear();
    testing::internal::CaptureStdout();
    platform.runLoop.run();
    std::cout.flush();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "device notification: id 2\n");
    ASSERT_EQ(tree->getHIDDeviceCount(), 2U);
    EXPECT_EQ(tree->getDeviceAtIndex(1)->getVendorID(), 3U);
    EXPECT_EQ(told.lines.size(), 3U) << "the delegate is not told of a removal";
    EXPECT_EQ(platform.log.linesWith({"IsEqualTo", "(terminations)"}), "IOIteratorNext(terminations) -> usb2\n"
                                                                       "IOObjectIsEqualTo(usb1, usb2)\n"
                                                                       "IOObjectIsEqualTo(usb2, usb2)\n"
                                                                       "IOIteratorNext(terminations) -> 0\n");
}

TEST_F(QrxDeviceTreeImplTest, ARemovedDeviceThatIsKeptIsNotClosed)
{
    auto& entry = addDevice("usb1", {Sample::kPedal});
    const auto tree = newTree();
    tree->observe(kAnything);
    const mis::swizzler<QrxHIDDevice> kept = tree->getDeviceAtIndex(0);
    kept->open();
    platform.log.clear();
    platform.registry.terminate(entry);
    testing::internal::CaptureStdout();
    platform.runLoop.run();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(platform.log.linesWith({"usb1-hid0."}), "");
    EXPECT_EQ(kept->getDeviceTree(), tree) << "a removed device keeps its link to the tree";
    kept->close();
}

TEST_F(QrxDeviceTreeImplTest, AnExceptionLeavesNoHandleAndNoDictionaryBehind)
{
    addDevice("usb1", {Sample::kPedal});
    addDevice("usb2", {Sample::kPedal}, 2, 2);
    RecordingTreeDelegate told;
    told.onAdded = [](const mis::swizzler<QrxHIDDevice>&) { throw std::runtime_error("no"); };
    const auto tree = newTree();
    tree->setDelegate(&told);
    EXPECT_THROW(tree->populate(kAnything), std::runtime_error);
    EXPECT_EQ(told.lines.size(), 2U);
    platform.log.clear();
    EXPECT_NO_THROW(tree->observe(kAnything)) << "both are listed already";
}

TEST_F(QrxDeviceTreeImplTest, NoEntryIsNoDeviceWhateverIsWanted)
{
    const auto tree = newTree();
    tree->populate(kAnything);
    EXPECT_FALSE(tree->_probeDevice(0));
}

TEST_F(QrxDeviceTreeImplTest, ATreeOnAStackMayPopulateAndObserve)
{
    addDevice("usb1", {Sample::kPedal});
    addDevice("usb2", {Sample::kPedal}, 2, 2);
    RecordingTreeDelegate told;
    _QrxDeviceTreeImpl tree;
    tree.setDelegate(&told);
    tree.observe(kAnything);
    EXPECT_EQ(told.lines.size(), 2U);
    tree.populate(kAnything);
    EXPECT_EQ(told.lines.size(), 2U);
    EXPECT_EQ(tree.getReferenceCount(), 0U);
}

TEST_F(QrxDeviceTreeImplTest, WhoDropsTheTreeInsideACallbackHearsOfNoOtherDevice)
{
    addDevice("usb1", {Sample::kPedal});
    addDevice("usb2", {Sample::kPedal}, 2, 2);
    auto tree = newTree();
    RecordingTreeDelegate told;
    told.onAdded = [&](const mis::swizzler<QrxHIDDevice>&) {
        // A walk inside the walk counts for nobody either.
        told.onAdded = [&](const mis::swizzler<QrxHIDDevice>&) { tree.release(); };
        tree->populate(kAnything);
    };
    tree->setDelegate(&told);
    _QrxDeviceTreeImpl* raw = tree.get();
    raw->observe(kAnything);
    EXPECT_EQ(told.lines.size(), 2U);
    EXPECT_EQ(platform.log.countOf("IOServiceAddMatchingNotification(IOServiceTerminate"), 0);
    EXPECT_TRUE(platform.runLoop.sourceNames().empty());
}

TEST_F(QrxDeviceTreeImplTest, ADelegateOfARemovedDeviceMayDropTheTreeInItsDestructor)
{
    struct LastWord : RecordingDeviceDelegate {
        LastWord(DeviceRecord& record, std::function<void()> word) : RecordingDeviceDelegate(record), onEnd(word) {}
        ~LastWord() override { onEnd(); }
        std::function<void()> onEnd;
    };
    auto& first = addDevice("usb1", {Sample::kPedal});
    auto& second = addDevice("usb2", {Sample::kPedal}, 2, 2);
    DeviceRecord record;
    auto tree = newTree();
    tree->observe(kAnything);
    tree->getDeviceAtIndex(0)->setDelegate(new LastWord(record, [&] { tree.release(); }));
    platform.registry.terminate(first);
    platform.registry.terminate(second);
    testing::internal::CaptureStdout();
    platform.runLoop.run();
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(tree);
}

TEST_F(QrxDeviceTreeImplTest, WithoutANotificationPortALaterObserveTriesAgain)
{
    platform.log.failCall("IONotificationPortCreate");
    const auto tree = newTree();
    tree->observe(kAnything);
    EXPECT_EQ(platform.log.countOf("IOServiceAddMatchingNotification"), 0);
    tree->observe(kAnything);
    EXPECT_EQ(platform.log.countOf("IOServiceAddMatchingNotification"), 2);
}

TEST_F(QrxDeviceTreeImplTest, AFailedMatchingIsAnEmptySet)
{
    addDevice("usb1", {Sample::kPedal});
    platform.log.failAll("IOServiceGetMatchingServices");
    platform.log.failAll("IOServiceAddMatchingNotification");
    const auto tree = newTree();
    tree->populate(kAnything);
    tree->observe(kAnything);
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U);
}

TEST_F(ManyDevices, EachIsListedOnce)
{
    EXPECT_EQ(tree->getHIDDeviceCount(), kMany);
    tree->populate(kAnything);
    EXPECT_EQ(tree->getHIDDeviceCount(), kMany);
    EXPECT_EQ(told.lines.size(), kMany);
}

TEST_F(ManyDevices, OneThatWasRemovedByItsHandleIsListedAgain)
{
    expectListedAgainAfter([&] { tree->QrxDeviceTree::_removeDevice(tree->getDeviceAtIndex(50)); });
}

TEST_F(ManyDevices, OneThatWasRemovedByItsEntryIsListedAgain)
{
    expectListedAgainAfter([&] { tree->_removeDevice(entries[50]->handle); });
}

TEST_F(ManyDevices, OneOfAnotherClassIsAskedForEachNewOne)
{
    const mis::swizzler<OwnComparison> own(new OwnComparison);
    tree->_addDevice(own);
    ASSERT_EQ(tree->getHIDDeviceCount(), kMany + 1);
    addDevice("new1", {Sample::kPedal});
    addDevice("new2", {Sample::kPedal});
    tree->populate(kAnything);
    EXPECT_EQ(tree->getHIDDeviceCount(), kMany + 3);
    EXPECT_EQ(own->asked, 2U) << "those before it in the list say that they are equal";
    own->isEqual = true;
    addDevice("new3", {Sample::kPedal});
    tree->populate(kAnything);
    EXPECT_EQ(tree->getHIDDeviceCount(), kMany + 3);
}

TEST_F(ManyDevices, OneOfAnotherClassIsComparedWithEachListedOne)
{
    const mis::swizzler<OwnComparison> own(new OwnComparison);
    platform.log.clear();
    tree->_addDevice(own);
    tree->_addDevice(own);
    EXPECT_EQ(tree->getHIDDeviceCount(), kMany + 2) << "which does not say that it equals itself";
    EXPECT_EQ(own->asked, 1U);
}
