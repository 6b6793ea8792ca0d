#include "oracle/KnownDifferences.h"

#include <algorithm>
#include <array>

namespace qrx::guest {

namespace {

constexpr std::uint8_t kLongItem = 0xFE;
/// Tag and type of a Delimiter.
constexpr std::uint8_t kDelimiter = 0xA8;

/// The first set of alternatives in the descriptor.
bool hasDelimiter(const Bytes& descriptor)
{
    for (std::size_t offset = 0; offset < descriptor.size();) {
        const std::uint8_t prefix = descriptor[offset];
        if ((prefix & 0xFC) == kDelimiter)
            return true;
        const bool isLong = prefix == kLongItem && offset + 1 < descriptor.size();
        const std::size_t data = isLong ? descriptor[offset + 1] + std::size_t{2} : (prefix & 3) == 3 ? 4 : prefix & 3U;
        offset += 1 + data;
    }
    return false;
}

/// Whether our parser said that it left out a range of usages.
bool hasBrokenRange(const hid::Descriptor& ours)
{
    return std::any_of(ours.diagnoses.begin(), ours.diagnoses.end(), [](const hid::Diagnosis& diagnosis) {
        return diagnosis.reason.find("range is dropped") != std::string::npos ||
               diagnosis.reason.find("has no minimum") != std::string::npos;
    });
}

struct KernelRule {
    /// Part of what the kernel's parser says when it rejects.
    const char* words;
    const char* reason;
};

/// Descriptors that the kernel refuses and we read.
constexpr std::array<KernelRule, 5> kRefusals{{
    {"unexpected long global item",
     "the kernel refuses long items, and takes each item with tag 15 for one; we pass over both (HID 1.11, 6.2.2.3)"},
    {"unknown global tag", "the kernel refuses reserved items; we pass over them and say so"},
    {"global environment stack overflow", "the kernel keeps 4 pushed states; HID 1.11 sets no limit, ours is 64"},
    {"report is too long", "the kernel's reports have at most 16,384 bytes; a control transfer carries 65,535"},
    {"invalid report_count", "the kernel's reports have at most 12,288 values; HID 1.11 sets no limit"},
}};

} // namespace

std::string knownReason(const Bytes& descriptor, const hid::Descriptor& ours, const std::string& difference)
{
    for (const KernelRule& rule : kRefusals) {
        if (difference.starts_with("rejected by the kernel alone") && difference.find(rule.words) != std::string::npos)
            return rule.reason;
    }
    if (hasDelimiter(descriptor) && difference.find("usage") != std::string::npos)
        return "the kernel takes all usages of the first set of alternatives and none of the later sets; HID 1.11 "
               "(6.2.2.8) "
               "prefers the first usage of each set";
    if (hasBrokenRange(ours) && difference.find("fields, the kernel's") != std::string::npos)
        return "a range of usages without minimum or with its ends exchanged: the kernel counts from 0, or past the "
               "end of "
               "the page; we leave it out and say so";
    return {};
}

} // namespace qrx::guest
