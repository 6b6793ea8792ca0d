#include "VCollectable"
#include "swizzler"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <limits>
#include <memory>

namespace {

constexpr unsigned int kCollecting = std::numeric_limits<unsigned int>::max();

std::string assertionLine(unsigned int line, const std::string& expression)
{
    return "IntLibs/QrxHidMgr/Headers/VCollectable:" + std::to_string(line) + ": failed assertion `" + expression +
           "'\n";
}

class Counted : public mis::VCollectable<unsigned int> {
public:
    explicit Counted(bool* ended = nullptr) : _ended(ended) {}
    ~Counted() override
    {
        countAtEnd = getReferenceCount();
        if (_ended != nullptr)
            *_ended = true;
        if (duringEnd)
            duringEnd(*this);
    }

    void forceCount(unsigned int count) { _referenceCount = count; }

    void (*duringEnd)(Counted&) = nullptr;
    static inline unsigned int countAtEnd = 0;

private:
    bool* _ended;
};

} // namespace

TEST(VCollectable, ANewObjectIsUnheld)
{
    const Counted object;
    EXPECT_EQ(object.getReferenceCount(), 0U);
    EXPECT_FALSE(object.isCollectable());
    EXPECT_FALSE(object.isCollecting());
}

TEST(VCollectable, OneReferenceMakesItCollectableAndASecondOneDoesNot)
{
    Counted object;
    object.retain();
    EXPECT_TRUE(object.isCollectable());
    object.retain();
    EXPECT_FALSE(object.isCollectable());
    EXPECT_EQ(object.getReferenceCount(), 2U);
    object.setReferenceCount(0);
}

TEST(VCollectable, TheLastReleaseDeletesTheObjectAndAnswersTrue)
{
    bool ended = false;
    auto* const object = new Counted(&ended);
    object->retain();
    EXPECT_TRUE(object->release());
    EXPECT_TRUE(ended);
}

TEST(VCollectable, AReleaseThatIsNotTheLastAnswersFalse)
{
    bool ended = false;
    auto* const object = new Counted(&ended);
    object->retain();
    object->retain();
    EXPECT_FALSE(object->release());
    EXPECT_FALSE(ended);
    EXPECT_EQ(object->getReferenceCount(), 1U);
    object->release();
}

TEST(VCollectable, WhileItIsDeletedTheCountIsTheMarkerValue)
{
    auto* const object = new Counted;
    object->retain();
    object->release();
    EXPECT_EQ(Counted::countAtEnd, kCollecting);
}

TEST(VCollectable, HandlesMadeAndDroppedWhileItIsDeletedDoNotDeleteItAgain)
{
    auto* const object = new Counted;
    object->retain();
    object->duringEnd = [](Counted& dying) { const mis::swizzler<Counted> handle(&dying); };
    EXPECT_TRUE(object->release());
}

TEST(VCollectable, RetainAndReleaseOfACollectingObjectChangeNothing)
{
    // Not a variable of its own: an optimising compiler warns of the deletion that release might do.
    const auto object = std::make_unique<Counted>();
    object->forceCount(kCollecting);
    object->retain();
    EXPECT_EQ(object->getReferenceCount(), kCollecting);
    EXPECT_TRUE(object->release());
    EXPECT_EQ(object->getReferenceCount(), kCollecting);
}

TEST(VCollectable, AssignmentLeavesBothCountsAsTheyWere)
{
    Counted source;
    Counted target;
    source.setReferenceCount(3);
    target.setReferenceCount(5);
    mis::VCollectable<unsigned int>& result = static_cast<mis::VCollectable<unsigned int>&>(target) = source;
    EXPECT_EQ(&result, &target);
    EXPECT_EQ(source.getReferenceCount(), 3U);
    EXPECT_EQ(target.getReferenceCount(), 5U);
    source.setReferenceCount(0);
    target.setReferenceCount(0);
}

TEST(VCollectable, ACopyStartsUnheld)
{
    Counted source;
    source.setReferenceCount(3);
    const Counted copy(source);
    EXPECT_EQ(copy.getReferenceCount(), 0U);
    source.setReferenceCount(0);
}

TEST(VCollectable, AnUnheldObjectMayBeDestroyedDirectly)
{
    bool ended = false;
    delete new Counted(&ended);
    EXPECT_TRUE(ended);
}

TEST(VCollectableDeathTest, AReleaseOfAnUnheldObjectEndsTheProcess)
{
    EXPECT_EXIT(
        {
            Counted object;
            object.release();
        },
        testing::KilledBySignal(SIGABRT), testing::Eq(assertionLine(177, "_referenceCount != 0")));
}

TEST(VCollectableDeathTest, DestroyingAHeldObjectEndsTheProcess)
{
    EXPECT_EXIT(
        {
            Counted object;
            object.setReferenceCount(2);
        },
        testing::KilledBySignal(SIGABRT),
        testing::Eq(assertionLine(104, "(_referenceCount == 0) or (*this).isCollecting ()")));
}

TEST(VCollectableDeathTest, TheMarkerValueCannotBeSetByHand)
{
    EXPECT_EXIT(Counted().setReferenceCount(4294967295U), testing::KilledBySignal(SIGABRT),
                testing::Eq(assertionLine(133, "count != std::numeric_limits<refcnt_t>::max ()")));
}

TEST(VCollectableDeathTest, TheCountOfACollectingObjectCannotBeSet)
{
    EXPECT_EXIT(
        {
            Counted object;
            object.forceCount(kCollecting);
            object.setReferenceCount(1);
        },
        testing::KilledBySignal(SIGABRT), testing::Eq(assertionLine(134, "not (*this).isCollecting ()")));
}

TEST(VCollectableDeathTest, ARetainThatReachesTheMarkerValueEndsTheProcess)
{
    EXPECT_EXIT(
        {
            Counted object;
            object.setReferenceCount(kCollecting - 1);
            object.retain();
        },
        testing::KilledBySignal(SIGABRT), testing::Eq(assertionLine(167, "not (*this).isCollecting ()")));
}
