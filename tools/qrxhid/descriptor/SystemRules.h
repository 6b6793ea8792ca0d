#pragma once

#include "descriptor/Lint.h"

#include "HID/ItemReader.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qrxhid {

/// Finds what systems read differently in a descriptor whose items are otherwise well formed. It looks at the items as
/// they are written, where the parsed descriptor has one reading already.
class SystemRules {
public:
    /// Used once, for one descriptor.
    std::vector<LintFinding> check(std::span<const std::uint8_t> descriptor);

private:
    using Item = qrx::hid::Item;

    /// A usage that waits for its main item, or a range of them.
    struct Usage {
        std::size_t offset = 0;
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        /// The page in force where it was written.
        std::uint32_t page = 0;
        bool isExtended = false;
        bool isRange = false;

        std::uint64_t count() const { return last < first ? 1 : std::uint64_t{last} - first + 1; }
    };
    /// The global items that the rules need; Push keeps them.
    struct Globals {
        std::uint32_t page = 0;
        std::uint32_t size = 0;
        std::uint32_t count = 0;
        std::optional<std::int32_t> logicalMinimum;
        std::optional<std::int32_t> physicalMinimum;
    };

    void take(const Item& item);
    void takeGlobal(const Item& item);
    void takeLocal(const Item& item);
    void takeMain(const Item& item);
    void checkMaximum(const Item& item, std::optional<std::int32_t> minimum);
    void checkPages(const Item& item);
    void checkCollection(const Item& item);
    void checkArray(const Item& item);
    void checkVariable(const Item& item);
    void add(LintFinding::Severity severity, const Item& item, const char* reason, const char* advice);

    Globals _globals;
    std::vector<Globals> _pushed;
    std::vector<Usage> _usages;
    bool _hasStringRange = false;
    std::vector<LintFinding> _findings;
};

} // namespace qrxhid
