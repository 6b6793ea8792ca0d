#include "commands/EncodeCommand.h"

#include "OptionSet.h"
#include "descriptor/ValueWords.h"
#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/TextFormat.h"

#include <algorithm>
#include <iterator>

namespace qrxhid {

void EncodeCommand::declareOptions(OptionSet& options)
{
    options.addRequiredWords("values", _words, "What the report says", "USAGE=VALUE");
    _options.declareOptions(options);
    options.addFlag("--json", _isJson, "One JSON document");
    _source.declareOptions(options);
}

void EncodeCommand::checkOptions()
{
    _source.checkOptions();
    _options.checkOptions();
    for (const std::string& word : _words) {
        // For its refusal only: names are looked up when the descriptor is known.
        ValueWord::parse(word);
    }
}

ExitStatus EncodeCommand::run(std::ostream& out)
{
    const DescriptorSource::Found found = _source.read();
    if (found.descriptors.empty()) {
        return std::max(found.status, kFailure);
    }
    // Before the values: a usage may stand for another thing in each of several devices.
    requireOneDevice(found.descriptors, "encode USAGE=VALUE");
    std::vector<ValueWord> values;
    std::ranges::transform(_words, std::back_inserter(values), &ValueWord::parse);
    const DeclaredReport report =
        onlyReport(reportsWith(_options.reportsOf(found.descriptors), values), "encode USAGE=VALUE");
    const std::vector<std::uint8_t> bytes = encoded(report, values);
    if (_isJson) {
        out << jsonText({{"interface", report.interfaceNumber},
                         {"type", report.typeName()},
                         {"reportID", report.reportID},
                         {"bytes", bytesText(bytes, "")}},
                        true);
    } else {
        // Nothing but the bytes, which `send` takes as its words.
        out << bytesText(bytes) << "\n";
    }
    return found.status;
}

} // namespace qrxhid
