#include "descriptor/ValueWords.h"

#include "NearestWord.h"
#include "QrxError.h"
#include "UsageError.h"
#include "text/TextFormat.h"
#include "text/UsageNames.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

namespace qrxhid {

namespace {

constexpr unsigned kPageShift = 16;
constexpr std::uint32_t kUsageIDMask = 0xFFFF;

std::string lowered(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char one) { return static_cast<char>(std::tolower(one)); });
    return text;
}

/// Whether a person may mean this usage by the name, in any case: "x", "generic desktop: x", "0x00010030".
bool isName(const std::string& name, std::uint32_t usage)
{
    constexpr int kUsageDigits = 8;
    const std::uint32_t page = usage >> kPageShift;
    const std::uint32_t id = usage & kUsageIDMask;
    return name == lowered(usageName(page, id)) || name == lowered(usageText(page, id)) ||
           name == hexText(usage, kUsageDigits);
}

bool isOf(const DeclaredReport& report, const QrxReportField& field)
{
    return field.getReportType() == report.type && field.getReportID() == report.reportID && !field.isConstant();
}

struct NamedUsage {
    std::uint32_t usage;
    QrxReportField field;
};

// The first field wins: a usage that stands in two fields of a report is addressed by its index, which the layout
// counts through both.
std::optional<NamedUsage> findUsage(const DeclaredReport& report, const std::string& name)
{
    const std::string wanted = lowered(name);
    for (std::size_t i = 0; i < report.layout.getFieldCount(); ++i) {
        const QrxReportField field = report.layout.getField(i);
        for (std::uint64_t position = 0; isOf(report, field) && position < field.getUsageCount(); ++position) {
            if (isName(wanted, field.getUsage(position))) {
                return NamedUsage{field.getUsage(position), field};
            }
        }
    }
    return std::nullopt;
}

/// The names that a mistyped one may mean; of a field with thousands of usages the first ones.
std::vector<std::string> namesOf(const std::vector<DeclaredReport>& reports)
{
    // Comparing a word with a name takes their lengths multiplied; a field may declare a whole page.
    constexpr std::uint64_t kMostOfField = 256;
    std::vector<std::string> names;
    for (const DeclaredReport& report : reports) {
        for (std::size_t i = 0; i < report.layout.getFieldCount(); ++i) {
            const QrxReportField field = report.layout.getField(i);
            const std::uint64_t count = isOf(report, field) ? std::min(field.getUsageCount(), kMostOfField) : 0;
            for (std::uint64_t position = 0; position < count; ++position) {
                const std::uint32_t usage = field.getUsage(position);
                names.push_back(usageName(usage >> kPageShift, usage & kUsageIDMask));
            }
        }
    }
    return names;
}

/// Why a value could not be written, in the words of the field.
std::string reasonFor(std::error_code error, const QrxReportField& field)
{
    if (error == QrxError::outOfRange) {
        return field.isArray() ? "of a usage of an array only 0 and 1 can be said"
                               : "outside of " + std::to_string(field.getLogicalMinimum()) + " .. " +
                                     std::to_string(field.getLogicalMaximum());
    }
    return error.message();
}

} // namespace

bool ValueWord::isOne(const std::string& word)
{
    return word.find('=') != std::string::npos;
}

ValueWord ValueWord::parse(const std::string& word)
{
    const UsageError malformed("\"" + word + "\" is no usage and number", "X=5, or \"Generic Desktop: X=5\"");
    // The last one: names of usages may contain the sign ("Keypad =").
    const std::size_t equals = word.rfind('=');
    if (equals == std::string::npos || equals == 0) {
        throw malformed;
    }
    ValueWord parsed;
    parsed.name = word.substr(0, equals);
    const auto isNumber = [](const std::string& text, auto& number) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        return error == std::errc() && end == text.data() + text.size();
    };
    if (!isNumber(word.substr(equals + 1), parsed.value)) {
        throw malformed;
    }
    // An index only where the bracket is closed at the end of the name; a key is called "[".
    const std::size_t bracket = parsed.name.rfind('[');
    if (bracket != std::string::npos && parsed.name.ends_with(']')) {
        if (!isNumber(parsed.name.substr(bracket + 1, parsed.name.size() - bracket - 2), parsed.index)) {
            throw malformed;
        }
        parsed.name.resize(bracket);
    }
    return parsed;
}

std::vector<DeclaredReport> reportsWith(const std::vector<DeclaredReport>& reports, const std::vector<ValueWord>& words)
{
    for (const ValueWord& word : words) {
        // A usage that no report has is told by itself: "no report has all of them" would not say which.
        const bool isKnown = std::ranges::any_of(
            reports, [&word](const DeclaredReport& report) { return findUsage(report, word.name).has_value(); });
        if (!isKnown) {
            const std::string nearest = nearestWord(word.name, namesOf(reports));
            throw UsageError("no such report has the usage \"" + word.name + "\"",
                             nearest.empty() ? "qrxhid tree, which shows the usages of each interface"
                                             : "\"" + nearest + "=" + std::to_string(word.value) + "\"");
        }
    }
    std::vector<DeclaredReport> found;
    std::ranges::copy_if(reports, std::back_inserter(found), [&words](const DeclaredReport& report) {
        return std::ranges::all_of(
            words, [&report](const ValueWord& word) { return findUsage(report, word.name).has_value(); });
    });
    return found;
}

std::vector<std::uint8_t> encoded(const DeclaredReport& report, const std::vector<ValueWord>& words)
{
    std::vector<QrxUsageValue> values;
    std::vector<QrxReportField> fields;
    for (const ValueWord& word : words) {
        // There is one: `reportsWith` has left out the reports that lack it.
        const std::optional<NamedUsage> found = findUsage(report, word.name);
        values.push_back({found->usage, word.value, word.index});
        fields.push_back(found->field);
    }
    // All 0, so fields that are not named are 0, and padding too.
    std::vector<std::uint8_t> bytes(report.bytes());
    std::size_t failed = values.size();
    const std::error_code error = report.layout.encode(report.type, report.reportID, values.data(), values.size(),
                                                       bytes.data(), bytes.size(), &failed);
    if (error) {
        const bool isOfOne = failed < values.size();
        throw UsageError(
            (isOfOne ? words[failed].name + "=" + std::to_string(words[failed].value) + ": " : report.text() + ": ") +
                (isOfOne ? reasonFor(error, fields[failed]) : error.message()),
            "qrxhid tree, which shows the range of each field");
    }
    return bytes;
}

} // namespace qrxhid
