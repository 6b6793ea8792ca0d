// Damaged descriptors by the thousand, the same ones in every run.

#include "DescriptorText.h"
#include "RecordedDevice.h"
#include "TreeInvariants.h"

#include <gtest/gtest.h>

#include <random>

namespace qrx::hid {
namespace {

std::vector<std::vector<std::uint8_t>> ownDescriptors()
{
    std::vector<std::vector<std::uint8_t>> descriptors;
    for (const auto& file : recordingsIn(QRX_TEST_DATA)) {
        for (const RecordedInterface& recorded : readRecording(file))
            descriptors.push_back(recorded.descriptor);
    }
    return descriptors;
}

class Damage {
public:
    /// One to four changes: a flipped bit, another byte, bytes gone, bytes doubled, or a maximal four-byte value.
    std::vector<std::uint8_t> apply(std::vector<std::uint8_t> bytes)
    {
        for (std::size_t changes = 1 + _below(4); changes > 0 && !bytes.empty(); --changes)
            _change(bytes);
        return bytes;
    }

private:
    /// The generator's numbers are the same everywhere, those of the standard distributions are not.
    std::size_t _below(std::size_t bound) { return _random() % bound; }

    void _change(std::vector<std::uint8_t>& bytes)
    {
        const std::size_t at = _below(bytes.size());
        const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        const auto length = static_cast<std::ptrdiff_t>(1 + _below(std::min<std::size_t>(8, bytes.size() - at)));
        switch (_below(5)) {
        case 0:
            *place = static_cast<std::uint8_t>(*place ^ 1U << _below(8));
            break;
        case 1:
            *place = static_cast<std::uint8_t>(_below(256));
            break;
        case 2:
            bytes.erase(place, place + length);
            break;
        case 3: {
            const std::vector<std::uint8_t> part(place, place + length);
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(_below(bytes.size())), part.begin(), part.end());
            break;
        }
        default:
            // Any short item becomes one with four bytes of data.
            *place = static_cast<std::uint8_t>(*place | 3U);
            bytes.insert(place + 1, 4, 0xFF);
        }
    }

    std::mt19937 _random{20240601};
};

TEST(DescriptorMutation, NoDamageBreaksTheRulesOfTheTree)
{
    const auto seeds = ownDescriptors();
    ASSERT_FALSE(seeds.empty());
    constexpr int kRounds = 6000;
    // Small, so that the limits are met often and a round stays short.
    Limits limits;
    limits.elements = 512;
    limits.collectionDepth = 4;
    limits.reportBits = 4096;
    limits.diagnoses = 8;
    Damage damage;
    int withErrors = 0;
    for (int round = 0; round < kRounds; ++round) {
        const auto bytes = damage.apply(seeds[static_cast<std::size_t>(round) % seeds.size()]);
        Descriptor descriptor = parseReportDescriptor(bytes, limits);
        const ElementTree tree = buildElementTree(descriptor, limits);
        withErrors += descriptor.hasErrors() ? 1 : 0;
        ASSERT_EQ(brokenInvariant(descriptor, tree, limits), "") << "round " << round << ": " << hexOf(bytes) << "\n"
                                                                 << fieldsText(descriptor) << diagnosesText(descriptor);
    }
    // Both kinds must occur, or the damage is none or too much.
    EXPECT_GT(withErrors, kRounds / 10);
    EXPECT_LT(withErrors, kRounds);
}

TEST(DescriptorMutation, RandomBytesAreReadToTheirEnd)
{
    std::mt19937 random{7};
    for (std::size_t size = 0; size < 600; ++size) {
        std::vector<std::uint8_t> bytes(size);
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        Descriptor descriptor = parseReportDescriptor(bytes);
        const ElementTree tree = buildElementTree(descriptor);
        ASSERT_EQ(brokenInvariant(descriptor, tree), "") << hexOf(bytes);
    }
}

} // namespace
} // namespace qrx::hid
