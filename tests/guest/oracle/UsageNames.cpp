#include "oracle/UsageNames.h"

#include "oracle/KernelReading.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace qrx::guest {

namespace {

/// As many usages are asked for at once; each takes 5 bytes of a descriptor.
constexpr std::uint32_t kBlock = 256;

/// A collection that the kernel's input layer leaves alone, and one array field with the usages.
Bytes descriptorNaming(std::uint32_t first, std::uint32_t count)
{
    Bytes bytes{0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08, 0x95, 0x01};
    for (std::uint32_t usage = first; usage < first + count; ++usage) {
        bytes.push_back(0x0B);
        for (unsigned shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<std::uint8_t>(usage >> shift));
    }
    bytes.insert(bytes.end(), {0x81, 0x00, 0xC0});
    return bytes;
}

/// How the kernel prints a usage of a page that it does not know.
std::string digits(std::uint32_t usage)
{
    std::array<char, 12> text{};
    std::snprintf(text.data(), text.size(), "%04x.%04x", static_cast<unsigned>(usage >> 16), usage & 0xFFFFU);
    return text.data();
}

} // namespace

std::string UsageNames::of(std::uint32_t usage)
{
    if (!isNamed(static_cast<std::uint16_t>(usage >> 16)))
        return digits(usage);
    const std::uint32_t first = usage - usage % kBlock;
    if (!_blocks.contains(first))
        _blocks[first] = ask(first, kBlock);
    return _blocks[first][usage % kBlock];
}

bool UsageNames::isNamed(std::uint16_t page)
{
    const auto [entry, isNew] = _pages.try_emplace(page, false);
    if (isNew) {
        const std::uint32_t usage = std::uint32_t{page} << 16 | 1;
        entry->second = ask(usage, 1).front() != digits(usage);
    }
    return entry->second;
}

std::vector<std::string> UsageNames::ask(std::uint32_t first, std::uint32_t count)
{
    const KernelVerdict verdict = _kernel.read(descriptorNaming(first, count));
    if (!verdict.accepted)
        throw std::runtime_error("the kernel does not name usages: " + verdict.reason);
    const std::vector<KernelReport> reports = readKernelText(verdict.text);
    if (reports.size() != 1 || reports[0].fields.size() != 1 || reports[0].fields[0].usages.size() != count)
        throw std::runtime_error("the kernel named other usages than it was asked for");
    return reports[0].fields[0].usages;
}

} // namespace qrx::guest
