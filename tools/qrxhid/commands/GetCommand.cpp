#include "commands/GetCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "descriptor/DecodedReport.h"
#include "descriptor/Exchange.h"
#include "devices/OutcomeStatus.h"

#include "QrxRequests.h"
#include "text/Json.h"

#include <algorithm>

namespace qrxhid {

void GetCommand::declareOptions(OptionSet& options)
{
    _choice.declareOptions(options);
    _options.declareOptions(options);
    options.addFlag("--json", _isJson, "One JSON document");
}

void GetCommand::checkOptions()
{
    _choice.checkOptions();
    _options.checkOptions();
}

ExitStatus GetCommand::run(std::ostream& out)
{
    DeviceSession session(_choice);
    const ExchangePartner partner = ExchangePartner::choose(session, _choice.filter(), "get");
    if (!partner.handle) {
        return std::max(session.status(), kFailure);
    }
    std::vector<DeclaredReport> reports = _options.reportsOf(partner.descriptors);
    if (!_options.type()) {
        // What a device is asked for are its settings; input comes by itself.
        std::erase_if(reports, [](const DeclaredReport& report) { return report.type != QrxReportType::feature; });
    }
    // Before the device is opened, so that a question that is not clear costs it nothing.
    const DeclaredReport report = onlyReport(reports, "get");
    std::vector<std::uint8_t> bytes;
    QrxOutcome outcome = QrxOpen(*partner.handle, report.interfaceNumber);
    if (!outcome.hasFailed()) {
        outcome = QrxGetReport(*partner.handle, report.type, report.reportID, bytes, report.interfaceNumber);
    }
    // Before anything is printed: a full pipe must not hold the device.
    partner.handle->close();
    if (!outcome.hasFailed()) {
        writeDecoded(out, report, bytes, _isJson);
    }
    return std::max(toldStatus(outcome, *partner.handle), session.status());
}

} // namespace qrxhid
