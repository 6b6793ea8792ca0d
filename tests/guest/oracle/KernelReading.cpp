#include "oracle/KernelReading.h"

#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace qrx::guest {

namespace {

std::string trimmed(const std::string& line)
{
    const std::size_t start = line.find_first_not_of(' ');
    const std::size_t end = line.find_last_not_of(' ');
    return start == std::string::npos ? std::string{} : line.substr(start, end - start + 1);
}

/// "Name(value)" taken apart; none for other lines.
std::optional<std::pair<std::string, std::string>> nameAndValue(const std::string& line)
{
    const std::size_t open = line.find('(');
    if (open == std::string::npos || !line.ends_with(')'))
        return std::nullopt;
    return std::pair{line.substr(0, open), trimmed(line.substr(open + 1, line.size() - open - 2))};
}

/// "INPUT(3)[INPUT]" or "OUTPUT[OUTPUT]".
std::optional<KernelReport> reportHead(const std::string& line)
{
    for (const std::string type : {"INPUT", "OUTPUT", "FEATURE"}) {
        if (!line.starts_with(type) || !line.ends_with("[" + type + "]"))
            continue;
        KernelReport report{type, 0, {}};
        if (line[type.size()] == '(')
            report.id = static_cast<std::uint32_t>(std::stoul(line.substr(type.size() + 1)));
        return report;
    }
    return std::nullopt;
}

bool setLimit(KernelField& field, const std::string& name, const std::string& value)
{
    const std::pair<const char*, std::int64_t*> limits[] = {{"Logical Minimum", &field.logicalMinimum},
                                                            {"Logical Maximum", &field.logicalMaximum},
                                                            {"Physical Minimum", &field.physicalMinimum},
                                                            {"Physical Maximum", &field.physicalMaximum},
                                                            {"Unit Exponent", &field.unitExponent}};
    for (const auto& [known, target] : limits) {
        if (name != known)
            continue;
        *target = std::stoll(value);
        field.hasLogical |= name.starts_with("Logical");
        field.hasPhysical |= name.starts_with("Physical");
        return true;
    }
    return false;
}

bool setText(KernelField& field, const std::string& name, const std::string& value)
{
    if (name == "Application")
        field.application = value;
    else if (name == "Unit")
        field.unit = value;
    else if (name == "Flags")
        field.flags = value;
    else
        return name == "Physical" || name == "Logical"; // the collections around, not compared
    return true;
}

bool setCount(KernelField& field, const std::string& name, const std::string& value)
{
    if (name == "Report Size")
        field.sizeBits = std::stoull(value);
    else if (name == "Report Count")
        field.count = std::stoull(value);
    else if (name == "Report Offset")
        field.bitOffset = std::stoull(value);
    else
        return false;
    return true;
}

void readFieldLine(KernelField& field, const std::string& line, std::size_t& usagesToCome)
{
    const auto parts = nameAndValue(line);
    if (parts && parts->first == "Usage")
        usagesToCome = std::stoul(parts->second);
    else if (!parts || !(setLimit(field, parts->first, parts->second) || setText(field, parts->first, parts->second) ||
                         setCount(field, parts->first, parts->second)))
        throw std::runtime_error("the kernel's text has an unknown line: " + line);
}

} // namespace

std::vector<KernelReport> readKernelText(const std::string& text)
{
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line); // the bytes
    std::vector<KernelReport> reports;
    std::size_t usagesToCome = 0;
    while (std::getline(lines, line)) {
        line = trimmed(line);
        if (usagesToCome > 0) {
            reports.back().fields.back().usages.push_back(line);
            --usagesToCome;
        } else if (line.empty()) {
            continue;
        } else if (line.find("--->") != std::string::npos) {
            break; // the mapping to input events
        } else if (std::optional<KernelReport> report = reportHead(line)) {
            reports.push_back(std::move(*report));
        } else if (reports.empty()) {
            throw std::runtime_error("the kernel's text begins with an unknown line: " + line);
        } else if (line.starts_with("Field(")) {
            reports.back().fields.emplace_back();
        } else {
            readFieldLine(reports.back().fields.back(), line, usagesToCome);
        }
    }
    return reports;
}

} // namespace qrx::guest
