#pragma once

#include <string>
#include <vector>

namespace qrxhid {

struct DiffLine {
    enum class Kind { removed, added };
    Kind kind;
    std::string text;
};

/// The lines by which `after` differs from `before`, in order; empty if they are equal. It keeps as many lines as
/// possible for equal, unless there are so many differing ones that the search would take seconds: then lines are
/// compared by their position.
std::vector<DiffLine> diffLines(const std::vector<std::string>& before, const std::vector<std::string>& after);

} // namespace qrxhid
