#include "doctor/RuleText.h"

#include <algorithm>
#include <utility>

namespace qrxhid {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kKeyLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
/// Longer ones first.
constexpr std::string_view kOperations[] = {"==", "!=", "+=", "-=", ":=", "="};

/// Takes the parts of one rule off its front. It never goes back, and gives up for good where a bracket or quote has no
/// end: that keeps it linear.
class PartReader {
public:
    explicit PartReader(std::string_view rule) : _rest(rule) {}

    std::vector<RulePart> read()
    {
        std::vector<RulePart> parts;
        while (skipTo(kKeyLetters)) {
            RulePart part;
            part.key = take(_rest.find_first_not_of(kKeyLetters));
            if (takeAttribute(part) && takeOperation(part) && takeValue(part)) {
                parts.push_back(std::move(part));
            }
        }
        return parts;
    }

private:
    bool skipTo(std::string_view characters)
    {
        take(_rest.find_first_of(characters));
        return !_rest.empty();
    }

    void skipBlanks() { take(_rest.find_first_not_of(kBlanks)); }

    /// Everything if `count` is npos.
    std::string take(std::size_t count)
    {
        std::string taken(_rest.substr(0, count));
        _rest.remove_prefix(taken.size());
        return taken;
    }

    bool takeAttribute(RulePart& part)
    {
        if (!_rest.starts_with('{')) {
            return true;
        }
        _rest.remove_prefix(1);
        part.attribute = take(_rest.find('}'));
        const bool isClosed = !_rest.empty();
        take(1);
        return isClosed;
    }

    bool takeOperation(RulePart& part)
    {
        skipBlanks();
        const auto* operation = std::ranges::find_if(
            kOperations, [this](std::string_view candidate) { return _rest.starts_with(candidate); });
        if (operation == std::end(kOperations)) {
            return false;
        }
        part.operation = take(operation->size());
        return true;
    }

    bool takeValue(RulePart& part)
    {
        skipBlanks();
        if (!_rest.starts_with('"')) {
            return false;
        }
        _rest.remove_prefix(1);
        while (!_rest.empty() && _rest.front() != '"') {
            // udev knows no other escape in a plain value.
            const bool isQuote = _rest.starts_with("\\\"");
            part.value += isQuote ? '"' : _rest.front();
            _rest.remove_prefix(isQuote ? 2 : 1);
        }
        const bool isClosed = !_rest.empty();
        take(1);
        return isClosed;
    }

    std::string_view _rest;
};

} // namespace

// A rule goes on in the next line after a backslash. Comments between two such lines are passed over, as udev does.
std::vector<RuleLine> ruleLines(std::string_view file)
{
    std::vector<RuleLine> lines;
    std::string rule;
    std::size_t first = 0;
    for (std::size_t number = 1; !file.empty(); ++number) {
        const std::string_view line = file.substr(0, file.find('\n'));
        file.remove_prefix(std::min(line.size() + 1, file.size()));
        const std::size_t begin = line.find_first_not_of(kBlanks);
        if (begin == std::string_view::npos || line[begin] == '#') {
            continue;
        }
        first = rule.empty() ? number : first;
        rule += line;
        if (rule.back() == '\\') {
            rule.back() = ' ';
            continue;
        }
        lines.push_back({first, PartReader(rule).read()});
        rule.clear();
    }
    return lines;
}

} // namespace qrxhid
