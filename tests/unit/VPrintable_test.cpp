#include "VCollectable"
#include "VPrintable"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <vector>

namespace {

class PlainPrintable : public mis::VPrintable {
public:
    ~PlainPrintable() override = default;
};

/// Answers every step of the protocol with its name and arguments.
class StepRecorder : public mis::VPrintable {
public:
    ~StepRecorder() override = default;
    void _printHeader(std::ostream& os, int indent) const override { os << "header(" << indent << ")"; }
    void _printBody(std::ostream& os, int depth, int indent) const override
    {
        os << "body(" << depth << "," << indent << ")";
    }
    void _printFooter(std::ostream& os, int indent) const override { os << "footer(" << indent << ")"; }
};

class PlainCollectable : public mis::VCollectable<unsigned int> {};

/// Memory at a chosen address, so that the object id is known.
class FixedMemory {
public:
    explicit FixedMemory(std::uintptr_t address)
        : _page(reinterpret_cast<void*>(address & ~std::uintptr_t(kPageSize - 1))),
          _mapped(
              mmap(_page, kPageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0))
    {
    }
    FixedMemory(const FixedMemory&) = delete;
    FixedMemory& operator=(const FixedMemory&) = delete;
    ~FixedMemory()
    {
        if (available())
            munmap(_mapped, kPageSize);
    }
    bool available() const { return _mapped == _page; }

private:
    static constexpr std::size_t kPageSize = 4096;
    void* const _page;
    void* const _mapped;
};

std::string printOf(const mis::VPrintable& object)
{
    std::ostringstream stream;
    object.print(stream, 0, 0);
    return stream.str();
}

std::string printOfCollectableAt(std::uintptr_t address)
{
    auto* const object = new (reinterpret_cast<void*>(address)) PlainCollectable;
    object->retain();
    const std::string text = printOf(*object);
    object->setReferenceCount(0);
    object->~PlainCollectable();
    return text;
}

std::string tabs(int count)
{
    std::ostringstream stream;
    PlainPrintable()._printTabs(stream, count);
    return stream.str();
}

} // namespace

TEST(VPrintable, PrintCallsHeaderBodyAndFooterThroughTheVirtualTableInThisOrder)
{
    std::ostringstream stream;
    StepRecorder().print(stream, 3, 5);
    EXPECT_EQ(stream.str(), "header(5)body(3,5)footer(5)");
}

TEST(VPrintable, TabsAreWrittenOnlyForAPositiveCount)
{
    EXPECT_EQ(tabs(-3), "");
    EXPECT_EQ(tabs(0), "");
    EXPECT_EQ(tabs(2), "\t\t");
}

TEST(VPrintable, TheObjectIDIsTheExclusiveOrOfTheAddressBytes)
{
    EXPECT_EQ(mis::_objectID(reinterpret_cast<void*>(0x12345678)), 8U);
    EXPECT_EQ(mis::_objectID(reinterpret_cast<void*>(0x5A5A5A5A)), 0U);
    EXPECT_EQ(mis::_objectID(reinterpret_cast<void*>(0xFF000000)), 255U);
}

TEST(VPrintable, TheObjectIDLooksAtTheLow32BitsOfTheAddressOnly)
{
    if (sizeof(void*) < 8)
        GTEST_SKIP() << "addresses have 32 bits here";
    EXPECT_EQ(mis::_objectID(reinterpret_cast<void*>(std::uintptr_t{0x7FFF12345678})), 8U);
}

TEST(VPrintable, APlainObjectPrintsItsIDBetweenBraces)
{
    const PlainPrintable object;
    EXPECT_EQ(printOf(object), "{ object id = " + std::to_string(mis::_objectID(&object)) + " }");
}

TEST(VPrintable, ACollectableAtAKnownAddressPrintsTheKnownText)
{
    constexpr std::uintptr_t kAddress = 0x12345678;
    const FixedMemory memory(kAddress);
    if (!memory.available())
        GTEST_SKIP() << "the address is taken in this process";
    EXPECT_EQ(printOfCollectableAt(kAddress), "{ object id = 8 VCollectable.referenceCount = 1 }");
}

TEST(VPrintable, ACollectableAtAnAddressOfEqualBytesPrintsObjectID0)
{
    constexpr std::uintptr_t kAddress = 0x18181818;
    const FixedMemory memory(kAddress);
    if (!memory.available())
        GTEST_SKIP() << "the address is taken in this process";
    EXPECT_EQ(printOfCollectableAt(kAddress), "{ object id = 0 VCollectable.referenceCount = 1 }");
}
