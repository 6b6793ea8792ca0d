#pragma once

#include "oracle/KernelParser.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace qrx::guest {

/// The kernel prints usages by its own names where it has any. What it calls a usage is asked of the kernel itself,
/// with descriptors that say each usage in full (32 bits): so a number of ours can be compared with a name of its.
class UsageNames {
public:
    explicit UsageNames(KernelParser& kernel) : _kernel(kernel) {}

    /// The kernel's name of a usage (page in the high half).
    std::string of(std::uint32_t usage);

private:
    bool isNamed(std::uint16_t page);
    std::vector<std::string> ask(std::uint32_t first, std::uint32_t count);

    KernelParser& _kernel;
    /// Whether the kernel has names for a page.
    std::map<std::uint16_t, bool> _pages;
    /// Names of pages that have some, a part of a page at a time.
    std::map<std::uint32_t, std::vector<std::string>> _blocks;
};

} // namespace qrx::guest
