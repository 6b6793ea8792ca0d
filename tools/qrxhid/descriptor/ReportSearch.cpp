#include "descriptor/ReportSearch.h"

#include "OptionSet.h"
#include "OptionValues.h"
#include "UsageError.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <utility>

namespace qrxhid {

namespace {

constexpr std::pair<const char*, QrxReportType> kTypes[] = {
    {"input", QrxReportType::input}, {"output", QrxReportType::output}, {"feature", QrxReportType::feature}};

QrxReportType parseType(const std::string& text)
{
    const auto* found = std::ranges::find_if(kTypes, [&text](const auto& one) { return text == one.first; });
    if (found == std::end(kTypes)) {
        throw UsageError("--type " + text + ": not input, output or feature", "--type output");
    }
    return found->second;
}

} // namespace

const char* DeclaredReport::typeName() const
{
    return std::ranges::find(kTypes, type, &std::pair<const char*, QrxReportType>::second)->first;
}

std::string DeclaredReport::options() const
{
    return "--interface " + std::to_string(interfaceNumber) + " --type " + typeName() +
           (reportID == 0 ? "" : " --report " + std::to_string(reportID));
}

std::string DeclaredReport::text() const
{
    return std::string(typeName()) + " report" + (reportID == 0 ? "" : " " + std::to_string(reportID)) +
           " of interface " + std::to_string(interfaceNumber);
}

void ReportOptions::declareOptions(OptionSet& options)
{
    options.addOption("--type", _typeText, "Only reports of this type: input, output or feature", "TYPE");
    options.addOption("--report", _reportText, "Only the report with this number", "N");
}

void ReportOptions::checkOptions()
{
    if (_typeText) {
        _type = parseType(*_typeText);
    }
    if (_reportText) {
        _reportID = parseWhole("--report", *_reportText, UINT8_MAX);
    }
}

std::vector<DeclaredReport> ReportOptions::reportsOf(const std::vector<InterfaceDescriptor>& descriptors) const
{
    std::vector<DeclaredReport> reports;
    for (const InterfaceDescriptor& descriptor : descriptors) {
        // Made once for each interface. Its reports share it, since a copy of a layout is a reference.
        const QrxReportLayout layout(descriptor.bytes.data(), descriptor.bytes.size());
        for (std::size_t i = 0; i < layout.getReportCount(); ++i) {
            const DeclaredReport report{descriptor.interfaceNumber, layout, layout.getReportType(i),
                                        layout.getReportID(i)};
            if ((!_type || *_type == report.type) && (!_reportID || *_reportID == report.reportID)) {
                reports.push_back(report);
            }
        }
    }
    return reports;
}

// A length that fits nothing is kept as a candidate: some devices send short reports, and the caller says so.
std::vector<DeclaredReport> reportsOfBytes(std::vector<DeclaredReport> reports, const std::vector<std::uint8_t>& bytes)
{
    std::erase_if(reports, [&bytes](const DeclaredReport& report) {
        // Where reports are numbered, the first byte is the number.
        return report.layout.hasReportNumbers() && report.reportID != bytes.front();
    });
    // Several interfaces may have a report of that number; the length tells most of them apart.
    std::vector<DeclaredReport> ofLength;
    std::ranges::copy_if(reports, std::back_inserter(ofLength),
                         [&bytes](const DeclaredReport& report) { return report.bytes() == bytes.size(); });
    return ofLength.empty() ? reports : ofLength;
}

DeclaredReport onlyReport(const std::vector<DeclaredReport>& reports, const std::string& command)
{
    if (reports.empty()) {
        throw UsageError("the device has no such report", "qrxhid tree, which shows the reports of each interface");
    }
    // The choices are complete options, so that one of them can be copied.
    if (reports.size() > 1) {
        std::vector<std::string> choices;
        std::ranges::transform(reports, std::back_inserter(choices), &DeclaredReport::options);
        throw UsageError(
            std::to_string(reports.size()) + " reports match:", "qrxhid " + command + " " + choices.front(), choices);
    }
    return reports.front();
}

// Descriptors of one device come one after the other, by interface.
void requireOneDevice(const std::vector<InterfaceDescriptor>& descriptors, const std::string& command)
{
    std::vector<std::string> titles;
    for (const InterfaceDescriptor& descriptor : descriptors) {
        // Two devices of a kind have the same title, and the same interface twice.
        if (titles.empty() || titles.back() != descriptor.title ||
            descriptor.interfaceNumber == descriptors.front().interfaceNumber) {
            titles.push_back(descriptor.title);
        }
    }
    if (titles.size() > 1) {
        throw UsageError(std::to_string(titles.size()) + " devices match, and a report is of one:",
                         "qrxhid " + command + " --device VID:PID, or --device=#1 as list counts", titles);
    }
}

std::vector<std::uint8_t> parseBytes(const std::vector<std::string>& words, const std::string& command)
{
    const std::string hint = "qrxhid " + command + " 01 ff 00";
    std::string digits;
    for (const std::string& word : words) {
        std::string plain = word;
        // Commas, 0x and digits without blanks: bytes are copied from logs, C source and other tools.
        std::erase(plain, ',');
        if (plain.starts_with("0x") || plain.starts_with("0X")) {
            plain.erase(0, 2);
        }
        if (plain.size() % 2 != 0) {
            throw UsageError("\"" + word + "\": an odd number of digits is no whole bytes", hint);
        }
        digits += plain;
    }
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const std::string pair = digits.substr(at, 2);
        // Before stoul, which would take a sign or a blank.
        if (!std::ranges::all_of(pair, [](unsigned char one) { return std::isxdigit(one) != 0; })) {
            throw UsageError("\"" + pair + "\" is no byte of two hexadecimal digits", hint);
        }
        constexpr int kHexadecimal = 16;
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, kHexadecimal)));
    }
    return bytes;
}

} // namespace qrxhid
