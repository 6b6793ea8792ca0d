#include "VCollectable"
#include "swizzler"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Events = std::vector<std::string>;

/// Writes every retain and release with the count that it leaves.
class Logged : public mis::VCollectable<unsigned int> {
public:
    Logged(std::string name, Events& events) : _name(std::move(name)), _events(events) {}
    ~Logged() override { _events.push_back(_name + " ends"); }

    void retain() const override
    {
        VCollectable::retain();
        _events.push_back(_name + " retain " + std::to_string(getReferenceCount()));
    }
    bool release() override
    {
        _events.push_back(_name + " release " + std::to_string(getReferenceCount()));
        return VCollectable::release();
    }
    int answer() const { return 42; }

private:
    const std::string _name;
    Events& _events;
};

class LoggedDerived : public Logged {
public:
    using Logged::Logged;
};

/// At its end looks at the handle that held it.
class Nosy : public mis::VCollectable<unsigned int> {
public:
    ~Nosy() override { sawEmptyHandle = watched == nullptr || !*watched; }

    mis::swizzler<Nosy>* watched = nullptr;
    static inline bool sawEmptyHandle = false;
};

class Incomplete;

/// A handle on a class that is only declared can be a member, an argument and a result of declarations.
struct HolderOfIncomplete {
    HolderOfIncomplete();
    ~HolderOfIncomplete();
    mis::swizzler<Incomplete> exchange(mis::swizzler<Incomplete> other);
    mis::swizzler<Incomplete> handle;
    std::vector<mis::swizzler<Incomplete>> handles;
};

class Incomplete : public mis::VCollectable<unsigned int> {};

HolderOfIncomplete::HolderOfIncomplete() = default;
HolderOfIncomplete::~HolderOfIncomplete() = default;
mis::swizzler<Incomplete> HolderOfIncomplete::exchange(mis::swizzler<Incomplete> other)
{
    std::swap(handle, other);
    return other;
}

std::string assertionLine(unsigned int line)
{
    return "IntLibs/QrxHidMgr/Headers/swizzler:" + std::to_string(line) + ": failed assertion `_pointer != NULL'\n";
}

static_assert(sizeof(mis::swizzler<Logged>) == sizeof(Logged*), "a handle is one pointer wide");
static_assert(std::is_nothrow_move_constructible<mis::swizzler<Logged>>::value, "vectors move handles when they grow");
static_assert(std::is_convertible<LoggedDerived*, mis::swizzler<Logged>>::value, "from a pointer");
static_assert(std::is_convertible<mis::swizzler<LoggedDerived>, mis::swizzler<Logged>>::value, "to a base class");

/// Does not compile unless a static handle is empty before any code runs.
[[maybe_unused]] constinit const mis::swizzler<Logged> kStaticHandle;
static_assert(!std::is_convertible<mis::swizzler<Logged>, mis::swizzler<LoggedDerived>>::value, "not to a derived one");
static_assert(!std::is_convertible<mis::swizzler<Logged>, bool>::value, "to bool only where asked");

} // namespace

class Swizzler : public testing::Test {
protected:
    Events events;
    Logged* const object = new Logged("object", events);
    mis::swizzler<Logged> keeper = keep(object);

    /// Takes the object without a trace in the record.
    mis::swizzler<Logged> keep(Logged* pointer)
    {
        mis::swizzler<Logged> handle(pointer);
        events.clear();
        return handle;
    }
};

TEST(SwizzlerOnce, OneHandleHoldsOneReferenceAndDeletesAtItsEnd)
{
    Events events;
    {
        const mis::swizzler<Logged> handle(new Logged("object", events));
        EXPECT_EQ(handle->getReferenceCount(), 1U);
    }
    EXPECT_EQ(events, (Events{"object retain 1", "object release 1", "object ends"}));
}

TEST_F(Swizzler, OfTwoHandlesTheFirstToGoDeletesNothing)
{
    {
        const mis::swizzler<Logged> second(keeper);
        EXPECT_EQ(object->getReferenceCount(), 2U);
    }
    EXPECT_EQ(object->getReferenceCount(), 1U);
    EXPECT_EQ(events, (Events{"object retain 2", "object release 2"}));
}

TEST_F(Swizzler, SettingWhatItHoldsTouchesNothing)
{
    keeper.set(object);
    keeper = object;
    const mis::swizzler<Logged>& same = keeper;
    keeper = same;
    EXPECT_EQ(events, Events());
    EXPECT_EQ(object->getReferenceCount(), 1U);
}

TEST_F(Swizzler, SettingReleasesTheOldObjectBeforeItRetainsTheNewOne)
{
    keeper.set(new Logged("other", events));
    EXPECT_EQ(events, (Events{"object release 1", "object ends", "other retain 1"}));
}

TEST_F(Swizzler, AssignmentFromAHandleRetainsItsObject)
{
    mis::swizzler<Logged> other;
    other = keeper;
    EXPECT_EQ(events, (Events{"object retain 2"}));
    EXPECT_TRUE(other == keeper);
}

TEST_F(Swizzler, MovingTouchesNoCount)
{
    mis::swizzler<Logged> constructed(std::move(keeper));
    mis::swizzler<Logged> assigned;
    assigned = std::move(constructed);
    EXPECT_EQ(events, Events());
    EXPECT_TRUE(keeper == nullptr);
    EXPECT_TRUE(constructed == nullptr);
    EXPECT_EQ(assigned.get(), object);
}

TEST_F(Swizzler, MoveAssignmentOfASecondHandleOnTheSameObjectDropsOneReference)
{
    mis::swizzler<Logged> second(keeper);
    events.clear();
    keeper = std::move(second);
    EXPECT_EQ(events, (Events{"object release 2"}));
    EXPECT_EQ(object->getReferenceCount(), 1U);
    EXPECT_TRUE(!second);
}

TEST_F(Swizzler, MovedIntoItselfItStaysAsItIs)
{
    mis::swizzler<Logged>& same = keeper;
    keeper = std::move(same);
    EXPECT_EQ(keeper.get(), object);
    EXPECT_EQ(events, Events());
}

TEST_F(Swizzler, NullEmptiesIt)
{
    keeper = nullptr;
    EXPECT_TRUE(!keeper);
    EXPECT_EQ(events, (Events{"object release 1", "object ends"}));
}

TEST_F(Swizzler, RetainAndReleaseOfAnEmptyHandleDoNothing)
{
    mis::swizzler<Logged> empty;
    empty.retain();
    empty.release();
    EXPECT_EQ(empty.get(), nullptr);
}

TEST_F(Swizzler, ReleaseEmptiesTheHandle)
{
    mis::swizzler<Logged> second(keeper);
    second.release();
    EXPECT_TRUE(second == nullptr);
    EXPECT_EQ(object->getReferenceCount(), 1U);
}

TEST_F(Swizzler, AnExplicitRetainIsOwedARelease)
{
    keeper.retain();
    EXPECT_EQ(object->getReferenceCount(), 2U);
    object->release();
}

TEST(SwizzlerOnce, AHandleIsEmptyBeforeItsObjectEnds)
{
    const auto handle = std::make_unique<mis::swizzler<Nosy>>(new Nosy);
    (*handle)->watched = handle.get();
    Nosy::sawEmptyHandle = false;
    handle->release();
    EXPECT_TRUE(Nosy::sawEmptyHandle);
}

TEST(SwizzlerOnce, AHandleOnADerivedClassConvertsByCopyMoveAndAssignment)
{
    Events events;
    mis::swizzler<LoggedDerived> derived(new LoggedDerived("object", events));
    mis::swizzler<Logged> copy(derived);
    mis::swizzler<Logged> assigned;
    assigned = derived;
    EXPECT_EQ(derived->getReferenceCount(), 3U);
    events.clear();
    const mis::swizzler<Logged> moved(std::move(derived));
    EXPECT_EQ(events, Events());
    EXPECT_TRUE(derived == nullptr);
    EXPECT_TRUE(moved == copy && copy == assigned);
}

TEST_F(Swizzler, ComparesWithHandlesPointersAndNull)
{
    const mis::swizzler<Logged> same(keeper);
    const mis::swizzler<Logged> empty;
    EXPECT_TRUE(same == keeper);
    EXPECT_FALSE(same != keeper);
    EXPECT_TRUE(same == object && object == same);
    EXPECT_TRUE(empty != object && object != empty);
    EXPECT_TRUE(empty == nullptr && nullptr == empty);
    EXPECT_TRUE(same != nullptr && nullptr != same);
    EXPECT_TRUE(empty == NULL);
    EXPECT_TRUE(static_cast<bool>(same));
    EXPECT_TRUE(!empty);
}

TEST_F(Swizzler, GivesAccessToTheObject)
{
    EXPECT_EQ(keeper->answer(), 42);
    EXPECT_EQ((*keeper).answer(), 42);
    EXPECT_EQ(&*keeper, keeper.get());
}

TEST(SwizzlerOnce, VectorsAndMapsOfHandlesKeepCountWhenTheyGrow)
{
    Events events;
    const mis::swizzler<Logged> handle(new Logged("object", events));
    {
        std::vector<mis::swizzler<Logged>> handles;
        for (int index = 0; index < 20; ++index)
            handles.push_back(handle);
        std::map<int, mis::swizzler<Logged>> byNumber;
        byNumber[1] = handle;
        EXPECT_EQ(handle->getReferenceCount(), 22U);
        EXPECT_EQ(events.size(), 22U);
        handles.erase(handles.begin());
        EXPECT_EQ(handle->getReferenceCount(), 21U);
    }
    EXPECT_EQ(handle->getReferenceCount(), 1U);
}

TEST(SwizzlerOnce, HandlesOnADeclaredClassCanBeMembers)
{
    HolderOfIncomplete holder;
    auto* const object = new Incomplete;
    EXPECT_TRUE(holder.exchange(object) == nullptr);
    EXPECT_TRUE(holder.handle == object);
}

TEST(SwizzlerDeathTest, MemberAccessThroughAnEmptyHandleEndsTheProcess)
{
    EXPECT_EXIT(mis::swizzler<Logged>()->answer(), testing::KilledBySignal(SIGABRT), testing::Eq(assertionLine(249)));
}

TEST(SwizzlerDeathTest, IndirectionThroughAnEmptyHandleEndsTheProcess)
{
    EXPECT_EXIT((*mis::swizzler<Logged>()).answer(), testing::KilledBySignal(SIGABRT), testing::Eq(assertionLine(269)));
}
