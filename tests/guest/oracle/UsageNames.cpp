#include "oracle/UsageNames.h"

#include "oracle/KernelReading.h"

#include <stdexcept>

namespace qrx::guest {

namespace {

/// As many usages are asked for at once; each takes 5 bytes of a descriptor.
constexpr std::uint32_t kBlock = 256;

/// A collection that the kernel's input layer leaves alone, and one array field with every usage of the block.
Bytes descriptorNaming(std::uint32_t first)
{
    Bytes bytes{0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08, 0x95, 0x01};
    for (std::uint32_t usage = first; usage < first + kBlock; ++usage) {
        bytes.push_back(0x0B);
        for (unsigned shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<std::uint8_t>(usage >> shift));
    }
    bytes.insert(bytes.end(), {0x81, 0x00, 0xC0});
    return bytes;
}

} // namespace

const std::string& UsageNames::of(std::uint32_t usage)
{
    const std::uint32_t first = usage - usage % kBlock;
    if (!_blocks.contains(first))
        askFor(first);
    return _blocks.at(first)[usage % kBlock];
}

void UsageNames::askFor(std::uint32_t first)
{
    const KernelVerdict verdict = _kernel.read(descriptorNaming(first));
    if (!verdict.accepted)
        throw std::runtime_error("the kernel does not name usages: " + verdict.reason);
    const std::vector<KernelReport> reports = readKernelText(verdict.text);
    if (reports.size() != 1 || reports[0].fields.size() != 1 || reports[0].fields[0].usages.size() != kBlock)
        throw std::runtime_error("the kernel named other usages than it was asked for");
    _blocks[first] = reports[0].fields[0].usages;
}

} // namespace qrx::guest
