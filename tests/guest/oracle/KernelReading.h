#pragma once

/// The kernel's own reading of a report descriptor, as debugfs prints it (hid/.../rdesc).

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qrx::guest {

/// One field as printed. What the kernel leaves out because it is the usual value has that value here.
struct KernelField {
    /// The kernel's names, "GenericDesktop.X", or hex where it has none, "ff00.0001".
    std::string application;
    std::vector<std::string> usages;
    /// Printed only if minimum and maximum differ.
    bool hasLogical = false;
    bool hasPhysical = false;
    std::int64_t logicalMinimum = 0;
    std::int64_t logicalMaximum = 0;
    std::int64_t physicalMinimum = 0;
    std::int64_t physicalMaximum = 0;
    std::int64_t unitExponent = 0;
    /// "SI Linear : Centimeter*Seconds^-1"; empty for none.
    std::string unit;
    std::uint64_t sizeBits = 0;
    std::uint64_t count = 0;
    std::uint64_t bitOffset = 0;
    /// The words between the brackets: "Variable Absolute".
    std::string flags;
};

struct KernelReport {
    /// "INPUT", "OUTPUT", "FEATURE".
    std::string type;
    std::uint32_t id = 0;
    std::vector<KernelField> fields;
};

/// Reads the text. Throws std::runtime_error at a line that it does not know: a reading that passes over lines proves
/// nothing.
std::vector<KernelReport> readKernelText(const std::string& text);

} // namespace qrx::guest
