#include "QrxHIDDeviceManager.h"

#include "ModelDoubles.h"

#include <gtest/gtest.h>

namespace {

using ManagerPtr = mis::swizzler<QrxHIDDeviceManager>;

/// Counts how often it is asked for a tree, and provides one if told to.
class CountingManager : public QrxHIDDeviceManager {
public:
    explicit CountingManager(bool provides) : _provides(provides) {}
    void initDeviceTree() override
    {
        ++calls;
        if (_provides)
            _deviceTree = new FakeTree;
    }
    int calls = 0;

private:
    const bool _provides;
};

/// Reaches the process's manager, to begin a test without one.
class ManagerAccess : public QrxHIDDeviceManager {
public:
    static void dropInstance() { sm_Instance.release(); }
    static bool hasInstance() { return static_cast<bool>(sm_Instance); }
};

} // namespace

class QrxHIDDeviceManagerTest : public testing::Test {
protected:
    QrxHIDDeviceManagerTest() { ManagerAccess::dropInstance(); }
    ~QrxHIDDeviceManagerTest() override { ManagerAccess::dropInstance(); }
};

TEST_F(QrxHIDDeviceManagerTest, IsMadeAtTheFirstCallAndIsTheSameEverAfter)
{
    EXPECT_FALSE(ManagerAccess::hasInstance());
    const ManagerPtr first = QrxHIDDeviceManager::Instance();
    const ManagerPtr second = QrxHIDDeviceManager::Instance();
    EXPECT_TRUE(first == second);
    EXPECT_EQ(first->getReferenceCount(), 3U);
}

TEST_F(QrxHIDDeviceManagerTest, OutlivesTheProcessesHandleWhileTheApplicationHoldsIt)
{
    const ManagerPtr manager = QrxHIDDeviceManager::Instance();
    ManagerAccess::dropInstance();
    EXPECT_EQ(manager->getReferenceCount(), 1U);
    EXPECT_TRUE(QrxHIDDeviceManager::Instance() != manager);
}

TEST_F(QrxHIDDeviceManagerTest, TheLibrarysOwnHasNoTree)
{
    EXPECT_TRUE(QrxHIDDeviceManager::Instance()->getDeviceTree() == nullptr);
}

TEST_F(QrxHIDDeviceManagerTest, IsAskedForATreeEachTimeThereIsNone)
{
    const mis::swizzler<CountingManager> manager(new CountingManager(false));
    EXPECT_TRUE(manager->getDeviceTree() == nullptr);
    EXPECT_TRUE(manager->getDeviceTree() == nullptr);
    EXPECT_EQ(manager->calls, 2);
}

TEST_F(QrxHIDDeviceManagerTest, ATreeThatADerivedClassProvidesIsKept)
{
    const mis::swizzler<CountingManager> manager(new CountingManager(true));
    const mis::swizzler<QrxDeviceTree> tree = manager->getDeviceTree();
    EXPECT_TRUE(tree != nullptr);
    EXPECT_TRUE(manager->getDeviceTree() == tree);
    EXPECT_EQ(manager->calls, 1);
    EXPECT_EQ(tree->getReferenceCount(), 2U);
}

TEST_F(QrxHIDDeviceManagerTest, ReleasesItsTreeAtItsEnd)
{
    mis::swizzler<CountingManager> manager(new CountingManager(true));
    const mis::swizzler<QrxDeviceTree> tree = manager->getDeviceTree();
    manager.release();
    EXPECT_EQ(tree->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceManagerTest, PrintsAsAPlainCollectable)
{
    const ManagerPtr manager = QrxHIDDeviceManager::Instance();
    EXPECT_EQ(printed(*manager), "{ object id = # VCollectable.referenceCount = 2 }");
}
