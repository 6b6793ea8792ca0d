#include "commands/LintCommand.h"

#include "OptionSet.h"
#include "descriptor/Lint.h"
#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/Notice.h"
#include "text/Terminal.h"

#include <algorithm>

namespace qrxhid {

namespace {

using Severity = LintFinding::Severity;

Terminal::Look lookOf(Severity severity)
{
    switch (severity) {
    case Severity::error:
        return Terminal::Look::bad;
    case Severity::warning:
        return Terminal::Look::warning;
    case Severity::note:
        break;
    }
    return Terminal::Look::faint;
}

void writeFindings(std::ostream& out, const InterfaceDescriptor& descriptor, const std::vector<LintFinding>& findings,
                   const Terminal& terminal)
{
    out << terminal.painted(descriptor.title, Terminal::Look::title) << ", interface " << descriptor.interfaceNumber
        << "\n";
    for (const LintFinding& finding : findings) {
        out << "  byte " << finding.offset << ", " << finding.item << ": "
            << terminal.painted(finding.severityName(), lookOf(finding.severity)) << ": " << shownText(finding.reason)
            << "\n";
        // Some findings have nothing to write instead: the descriptor is right, and a system reads it in a way of its
        // own.
        if (!finding.advice.empty()) {
            out << "    better: " << finding.advice << "\n";
        }
    }
}

nlohmann::ordered_json findingsJson(const InterfaceDescriptor& descriptor, const std::vector<LintFinding>& findings)
{
    nlohmann::ordered_json json = {{"title", descriptor.title},
                                   {"vendorID", descriptor.ids.vendorID},
                                   {"productID", descriptor.ids.productID},
                                   {"interface", descriptor.interfaceNumber},
                                   {"findings", nlohmann::ordered_json::array()}};
    for (const LintFinding& finding : findings) {
        // "advice" is there in any case, empty where there is none, so that scripts need not ask for the key.
        json["findings"].push_back({{"severity", finding.severityName()},
                                    {"offset", finding.offset},
                                    {"item", finding.item},
                                    {"reason", finding.reason},
                                    {"advice", finding.advice}});
    }
    return json;
}

} // namespace

void LintCommand::declareOptions(OptionSet& options)
{
    _source.declareOptions(options);
    options.addFlag("--notes", _showsNotes, "Tell also what most programs never notice");
    options.addFlag("--json", _isJson, "One JSON document");
}

void LintCommand::checkOptions()
{
    _source.checkOptions();
}

ExitStatus LintCommand::run(std::ostream& out)
{
    const DescriptorSource::Found found = _source.read();
    const Terminal terminal = Terminal::ofStandardOutput();
    nlohmann::ordered_json document = {{"descriptors", nlohmann::ordered_json::array()}};
    ExitStatus status = found.status;
    for (const InterfaceDescriptor& descriptor : found.descriptors) {
        std::vector<LintFinding> findings = lint(descriptor.bytes);
        // Notes are left out of the status, so that a descriptor may be held to "no findings" without them.
        const bool isClean = std::ranges::all_of(
            findings, [](const LintFinding& finding) { return finding.severity == Severity::note; });
        if (!_showsNotes) {
            std::erase_if(findings, [](const LintFinding& finding) { return finding.severity == Severity::note; });
        }
        if (_isJson) {
            document["descriptors"].push_back(findingsJson(descriptor, findings));
        } else if (!findings.empty()) {
            writeFindings(out, descriptor, findings, terminal);
        }
        // The worst of several descriptors decides, and a file that could not be read is worse than a finding.
        status = std::max(status, isClean ? kSuccess : kFailure);
    }
    if (_isJson) {
        out << jsonText(document, true);
    }
    return status;
}

} // namespace qrxhid
