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
    bool const _provides;
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
    ManagerPtr const first = QrxHIDDeviceManager::Instance();
    ManagerPtr const second = QrxHIDDeviceManager::Instance();
    EXPECT_TRUE(first == second);
    EXPECT_EQ(first->getReferenceCount(), 3U);
}

TEST_F(QrxHIDDeviceManagerTest, OutlivesTheProcessesHandleWhileTheApplicationHoldsIt)
{
    ManagerPtr const manager = QrxHIDDeviceManager::Instance();
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
    mis::swizzler<CountingManager> const manager(new CountingManager(false));
    EXPECT_TRUE(manager->getDeviceTree() == nullptr);
    EXPECT_TRUE(manager->getDeviceTree() == nullptr);
    EXPECT_EQ(manager->calls, 2);
}

TEST_F(QrxHIDDeviceManagerTest, ATreeThatADerivedClassProvidesIsKept)
{
    mis::swizzler<CountingManager> const manager(new CountingManager(true));
    mis::swizzler<QrxDeviceTree> const tree = manager->getDeviceTree();
    EXPECT_TRUE(tree != nullptr);
    EXPECT_TRUE(manager->getDeviceTree() == tree);
    EXPECT_EQ(manager->calls, 1);
    EXPECT_EQ(tree->getReferenceCount(), 2U);
}

TEST_F(QrxHIDDeviceManagerTest, ReleasesItsTreeAtItsEnd)
{
    mis::swizzler<CountingManager> manager(new CountingManager(true));
    mis::swizzler<QrxDeviceTree> const tree = manager->getDeviceTree();
    manager.release();
    EXPECT_EQ(tree->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceManagerTest, PrintsAsAPlainCollectable)
{
    ManagerPtr const manager = QrxHIDDeviceManager::Instance();
    EXPECT_EQ(printed(*manager), "{ object id = # VCollectable.referenceCount = 2 }");
}
