#include "text/LineDiff.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace qrxhid {

namespace {

using Lines = std::span<const std::string>;

// The table of common subsequences has a number for each pair of lines: 64 MB, and less than a second.
constexpr std::size_t kMostPairs = std::size_t{1} << 24U;

void add(std::vector<DiffLine>& lines, DiffLine::Kind kind, const std::string& text)
{
    lines.push_back({kind, text});
}

// For what is too long for the table: recordings of millions of reports, which are alike at most places if at all.
std::vector<DiffLine> byPosition(Lines before, Lines after)
{
    std::vector<DiffLine> lines;
    for (std::size_t i = 0; i < std::max(before.size(), after.size()); ++i) {
        if (i < before.size() && i < after.size() && before[i] == after[i]) {
            continue;
        }
        if (i < before.size()) {
            add(lines, DiffLine::Kind::removed, before[i]);
        }
        if (i < after.size()) {
            add(lines, DiffLine::Kind::added, after[i]);
        }
    }
    return lines;
}

/// Along a longest common subsequence.
std::vector<DiffLine> byCommonLines(Lines before, Lines after)
{
    // The length of the longest one of what follows each pair of places; a row and a column more for the ends.
    const std::size_t width = after.size() + 1;
    std::vector<std::uint32_t> common((before.size() + 1) * width);
    for (std::size_t i = before.size(); i-- > 0;) {
        for (std::size_t j = after.size(); j-- > 0;) {
            common[i * width + j] = before[i] == after[j]
                                        ? common[(i + 1) * width + j + 1] + 1
                                        : std::max(common[(i + 1) * width + j], common[i * width + j + 1]);
        }
    }
    std::vector<DiffLine> lines;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < before.size() || j < after.size()) {
        if (i < before.size() && j < after.size() && before[i] == after[j]) {
            ++i;
            ++j;
        } else if (j == after.size() ||
                   (i < before.size() && common[(i + 1) * width + j] >= common[i * width + j + 1])) {
            add(lines, DiffLine::Kind::removed, before[i++]);
        } else {
            add(lines, DiffLine::Kind::added, after[j++]);
        }
    }
    return lines;
}

} // namespace

std::vector<DiffLine> diffLines(const std::vector<std::string>& before, const std::vector<std::string>& after)
{
    // What is equal at both ends costs nothing, and that is most of it.
    const std::size_t shorter = std::min(before.size(), after.size());
    std::size_t front = 0;
    while (front < shorter && before[front] == after[front]) {
        ++front;
    }
    std::size_t back = 0;
    while (back < shorter - front && before[before.size() - 1 - back] == after[after.size() - 1 - back]) {
        ++back;
    }
    const Lines left = Lines(before).subspan(front, before.size() - front - back);
    const Lines right = Lines(after).subspan(front, after.size() - front - back);
    return left.size() * right.size() > kMostPairs ? byPosition(left, right) : byCommonLines(left, right);
}

} // namespace qrxhid
