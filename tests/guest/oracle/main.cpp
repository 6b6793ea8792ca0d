/// Compares our reading of report descriptors with that of the running kernel.
///
///   guest_descriptor_oracle [-v] PATH...     recordings, or folders with recordings
///
/// Every descriptor becomes a HID device; what the kernel made of it must be what our parser makes of it. Exit status 0
/// if each descriptor agrees or differs only as KnownDifferences lists; 1 else, also if there was nothing to compare.

#include "oracle/Comparison.h"
#include "oracle/KernelParser.h"
#include "oracle/KnownDifferences.h"
#include "oracle/RecordingFile.h"

#include <exception>
#include <iostream>
#include <map>

using namespace qrx::guest;

namespace {

struct Tally {
    std::size_t agreed = 0;
    std::size_t fields = 0;
    std::size_t bothReject = 0;
    std::size_t known = 0;
    std::size_t unexplained = 0;
    /// How often each reason was given for a difference that is listed.
    std::map<std::string, std::size_t> reasons;
};

/// What differs between the two readings, as lines.
std::vector<std::string> differences(const Bytes& descriptor, const qrx::hid::Descriptor& ours, KernelParser& kernel,
                                     UsageNames& names, Tally& tally)
{
    const KernelVerdict verdict = kernel.read(descriptor);
    if (!verdict.accepted) {
        if (!ours.hasErrors())
            return {"rejected by the kernel alone: " + verdict.reason};
        ++tally.bothReject;
        return {};
    }
    tally.fields += ours.fields.size();
    return compare(ours, readKernelText(verdict.text), names);
}

void examine(const RecordedDescriptor& descriptor, KernelParser& kernel, UsageNames& names, Tally& tally, bool verbose)
{
    const qrx::hid::Descriptor ours = qrx::hid::parseReportDescriptor(descriptor.bytes);
    const std::vector<std::string> found = differences(descriptor.bytes, ours, kernel, names, tally);
    bool isKnown = true;
    for (const std::string& line : found) {
        const std::string reason = knownReason(descriptor.bytes, ours, line);
        isKnown &= !reason.empty();
        if (reason.empty() || verbose)
            std::cout << descriptor.name << ": " << line << (reason.empty() ? "" : "  [known: " + reason + "]") << '\n';
        if (!reason.empty())
            ++tally.reasons[reason];
    }
    if (!isKnown)
        std::cout << "  bytes: " << hex(descriptor.bytes).substr(0, 1200) << '\n';
    ++(found.empty() ? tally.agreed : isKnown ? tally.known : tally.unexplained);
}

int report(const Tally& tally, std::size_t count)
{
    std::cout << count << " descriptors: " << tally.agreed << " agree (" << tally.bothReject
              << " of them rejected by both), " << tally.known << " differ for listed reasons, " << tally.unexplained
              << " differ; " << tally.fields << " fields compared\n";
    for (const auto& [reason, times] : tally.reasons)
        std::cout << "  " << times << " x " << reason << '\n';
    const bool something = tally.fields > 0;
    if (!something)
        std::cout << "nothing was compared\n";
    return tally.unexplained == 0 && something ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
try {
    std::vector<std::string> paths(argv + 1, argv + argc);
    const bool verbose = std::erase(paths, "-v") > 0;
    KernelParser kernel;
    UsageNames names(kernel);
    Tally tally;
    const std::vector<RecordedDescriptor> descriptors = readDescriptors(paths);
    for (const RecordedDescriptor& descriptor : descriptors)
        examine(descriptor, kernel, names, tally, verbose);
    return report(tally, descriptors.size());
} catch (const std::exception& error) {
    std::cout << "guest_descriptor_oracle: " << error.what() << '\n';
    return 1;
}
