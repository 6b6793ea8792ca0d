// Two sources of findings: the parser, which knows what breaks the rules of HID, and the rules on systems, which know
// what is legal and yet read differently. A fault that both know is told by the latter.

#include "descriptor/Lint.h"

#include "descriptor/SystemRules.h"

#include "HID/ReportDescriptor.h"

#include <algorithm>
#include <string_view>

namespace qrxhid {

namespace {

using qrx::hid::Diagnosis;

/// What systems make of a finding of the parser, and how to write it; by the beginning of its reason.
struct Remark {
    std::string_view reason;
    const char* systems;
    const char* advice;
};

constexpr const char* kRefusedByMac = "macOS refuses the whole descriptor";

constexpr Remark kRemarks[] = {
    {"minimum above maximum", kRefusedByMac, "write the smaller usage as the minimum"},
    {"range over two usage pages", kRefusedByMac, "write a range for each page"},
    {"does not fit a byte", "Linux refuses the whole descriptor", "use report numbers from 1 to 255"},
    {"0 is reserved", "Linux refuses the whole descriptor", "use report numbers from 1 to 255"},
    {"no bits", "macOS makes elements of it; others make none", "leave the item out"},
    {"report size or count never given", "macOS makes elements of it; others make none",
     "write Report Size and Report Count before it"},
    {"usages before it belong to nothing", "macOS keeps them for the next item; Linux and Windows drop them",
     "leave them out"},
    {"brings back the report number", "on macOS the report number stays; Linux restores it with all else",
     "write Report ID after Pop"},
    {"the usage page changed inside the range", "", "write the usage page before the range"},
    {"missing before this field", kRefusedByMac, "write Report ID before the first field"},
    {"logical minimum above logical maximum", "", "a maximum of one byte above 7f is negative: write two"},
};

LintFinding findingOf(const Diagnosis& diagnosis)
{
    LintFinding finding;
    finding.severity = diagnosis.isError ? LintFinding::Severity::error : LintFinding::Severity::warning;
    finding.offset = diagnosis.offset;
    finding.item = diagnosis.item;
    finding.reason = diagnosis.reason;
    // By the beginning: the parser's reasons go on with the numbers of the descriptor at hand.
    for (const Remark& remark : kRemarks) {
        if (diagnosis.reason.starts_with(remark.reason)) {
            finding.reason += *remark.systems == '\0' ? "" : std::string("; ") + remark.systems;
            finding.advice = remark.advice;
        }
    }
    // macOS takes no descriptor with an error, whichever it is; some remarks say so already.
    if (diagnosis.isError && finding.reason.find("refuses") == std::string::npos) {
        finding.reason += std::string("; ") + kRefusedByMac;
    }
    return finding;
}

/// The rules on systems say the same with more words.
bool isToldBySystemRules(const Diagnosis& diagnosis)
{
    return diagnosis.reason.starts_with("the usage page changed between") ||
           diagnosis.reason.starts_with("skipped, tag");
}

} // namespace

const char* LintFinding::severityName() const
{
    switch (severity) {
    case Severity::error:
        return "error";
    case Severity::warning:
        return "warning";
    case Severity::note:
        break;
    }
    return "note";
}

std::vector<LintFinding> lint(std::span<const std::uint8_t> descriptor)
{
    // A hostile descriptor has a fault for every byte; nobody reads more than this.
    qrx::hid::Limits limits;
    limits.diagnoses = 1000;
    const qrx::hid::Descriptor parsed = qrx::hid::parseReportDescriptor(descriptor, limits);
    std::vector<LintFinding> findings = SystemRules().check(descriptor);
    for (const Diagnosis& diagnosis : parsed.diagnoses) {
        if (!isToldBySystemRules(diagnosis)) {
            findings.push_back(findingOf(diagnosis));
        }
    }
    // By place, as one reads a descriptor; at one place what systems do comes before what the parser says.
    std::ranges::stable_sort(findings, {}, &LintFinding::offset);
    return findings;
}

} // namespace qrxhid
