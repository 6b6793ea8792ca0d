#include "commands/SendCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "descriptor/DecodedReport.h"
#include "descriptor/Exchange.h"
#include "descriptor/ValueWords.h"
#include "devices/OutcomeStatus.h"
#include "text/TextFormat.h"

#include "QrxRequests.h"
#include "text/Json.h"

#include <algorithm>
#include <iterator>

namespace qrxhid {

void SendCommand::declareOptions(OptionSet& options)
{
    options.addRequiredWords("report", _words, "The report: bytes in hexadecimal, or values by usage",
                             "BYTES|USAGE=VALUE");
    _options.declareOptions(options);
    _choice.declareOptions(options);
    options.addFlag("--json", _isJson, "One JSON document");
}

void SendCommand::checkOptions()
{
    _choice.checkOptions();
    _options.checkOptions();
    // The kernel would take such a report (HIDIOCSINPUT), and no device does anything with it.
    if (_options.type() == QrxReportType::input) {
        throw UsageError("input reports come from the device", "--type output, or --type feature");
    }
    // Mixed words would need a rule about which of them counts.
    const auto values = std::ranges::count_if(_words, &ValueWord::isOne);
    if (values != 0 && values != std::ssize(_words)) {
        throw UsageError("bytes and values cannot be mixed", "qrxhid send X=5 Y=5, or qrxhid send 01 05 05");
    }
    // Parsed here and again later: what is wrong is told before a device is looked for.
    if (values == 0 && parseBytes(_words, "send").empty()) {
        throw UsageError("there are no bytes to send", "qrxhid send 01 ff 00");
    }
}

DeclaredReport SendCommand::readWords(const std::vector<InterfaceDescriptor>& descriptors,
                                      std::vector<std::uint8_t>& bytes) const
{
    constexpr const char* kCommand = "send REPORT";
    std::vector<DeclaredReport> reports = _options.reportsOf(descriptors);
    std::erase_if(reports, [](const DeclaredReport& report) { return report.type == QrxReportType::input; });
    if (ValueWord::isOne(_words.front())) {
        std::vector<ValueWord> values;
        std::ranges::transform(_words, std::back_inserter(values), &ValueWord::parse);
        const DeclaredReport report = onlyReport(reportsWith(reports, values), kCommand);
        bytes = encoded(report, values);
        return report;
    }
    bytes = parseBytes(_words, "send");
    const DeclaredReport report = onlyReport(reportsOfBytes(reports, bytes), kCommand);
    // Refused, where decode only tells of it: what a device makes of a report of another length is not defined.
    if (report.bytes() != bytes.size()) {
        throw UsageError("the " + report.text() + " has " + countText(report.bytes(), "byte") + ", these are " +
                             std::to_string(bytes.size()),
                         "qrxhid tree, which shows the reports of each interface");
    }
    return report;
}

// Only the interface that the report belongs to is opened: the user may have access to no other.
ExitStatus SendCommand::run(std::ostream& out)
{
    DeviceSession session(_choice);
    const ExchangePartner partner = ExchangePartner::choose(session, _choice.filter(), "send REPORT");
    if (!partner.handle) {
        return std::max(session.status(), kFailure);
    }
    std::vector<std::uint8_t> bytes;
    const DeclaredReport report = readWords(partner.descriptors, bytes);
    QrxOutcome outcome = QrxOpen(*partner.handle, report.interfaceNumber);
    if (!outcome.hasFailed()) {
        outcome = QrxSetReport(*partner.handle, report.type, report.reportID, bytes.data(), bytes.size(),
                               report.interfaceNumber);
    }
    // Before anything is printed: a full pipe must not hold the device.
    partner.handle->close();
    if (!outcome.hasFailed() && _isJson) {
        writeDecoded(out, report, bytes, _isJson);
    } else if (!outcome.hasFailed()) {
        out << "sent " << report.text() << ": " << bytesText(bytes) << "\n";
    }
    return std::max(toldStatus(outcome, *partner.handle), session.status());
}

} // namespace qrxhid
