#include "NearestWord.h"

#include <algorithm>
#include <vector>

namespace qrxhid {

namespace {

// Rows of the table of Damerau and Levenshtein's distance, restricted to one edit of a place.
std::size_t distance(std::string_view left, std::string_view right)
{
    std::vector<std::vector<std::size_t>> edits(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
    for (std::size_t i = 0; i <= left.size(); ++i) {
        for (std::size_t j = 0; j <= right.size(); ++j) {
            if (i == 0 || j == 0) {
                edits[i][j] = i + j;
                continue;
            }
            const std::size_t change = left[i - 1] == right[j - 1] ? 0 : 1;
            edits[i][j] = std::min({edits[i - 1][j] + 1, edits[i][j - 1] + 1, edits[i - 1][j - 1] + change});
            // Two letters that have changed places are one mistake, the most common one.
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                edits[i][j] = std::min(edits[i][j], edits[i - 2][j - 2] + 1);
            }
        }
    }
    return edits[left.size()][right.size()];
}

} // namespace

std::string nearestWord(std::string_view word, std::span<const std::string> candidates)
{
    // Nobody mistypes a word of this length; it also bounds the table.
    constexpr std::size_t kLongest = 64;
    if (word.size() > kLongest) {
        return {};
    }
    // At most half of the letters may differ: a suggestion that is farther away helps nobody.
    std::size_t least = std::max<std::size_t>(word.size() / 2, 1) + 1;
    std::string nearest;
    for (const std::string& candidate : candidates) {
        const std::size_t edits = distance(word, candidate);
        if (edits < least) {
            least = edits;
            nearest = candidate;
        }
    }
    return nearest;
}

} // namespace qrxhid
