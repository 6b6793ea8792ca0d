#pragma once

/// Writes the diagnoses of a descriptor, no more of them than its limit: hostile input costs no memory here.

#include "ItemReader.h"
#include "ReportDescriptor.h"

#include <optional>

namespace qrx::hid {

class DiagnosisLog {
public:
    /// `descriptor` must outlive the log.
    DiagnosisLog(Descriptor& descriptor, const Limits& limits) : _descriptor(descriptor), _limit(limits.diagnoses) {}

    /// The descriptor cannot be read as written. A `value` is put behind the reason: "reason: value".
    void error(std::size_t offset, const char* item, const char* reason, std::optional<std::int64_t> value = {});
    void error(const Item& item, const char* reason, std::optional<std::int64_t> value = {});
    /// A rule is broken, or a host might stumble, but the meaning is clear.
    void warning(std::size_t offset, const char* item, const char* reason, std::optional<std::int64_t> value = {});
    void warning(const Item& item, const char* reason, std::optional<std::int64_t> value = {});

private:
    void _add(std::size_t offset, const char* item, const char* reason, std::optional<std::int64_t> value,
              bool isError);

    Descriptor& _descriptor;
    std::size_t _limit;
};

} // namespace qrx::hid
