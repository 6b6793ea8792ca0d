#include "commands/DecodeCommand.h"

#include "UsageError.h"
#include "descriptor/DecodedReport.h"
#include "text/Notice.h"
#include "text/TextFormat.h"

#include <algorithm>

namespace qrxhid {

void DecodeCommand::declareOptions(CLI::App& app)
{
    app.add_option("bytes", _words, "The report in hexadecimal")->type_name("BYTES")->required();
    _options.declareOptions(app);
    app.add_flag("--json", _isJson, "One JSON document")->disable_flag_override();
    _source.declareOptions(app);
}

void DecodeCommand::checkOptions()
{
    _source.checkOptions();
    _options.checkOptions();
    _bytes = parseBytes(_words, "decode");
    if (_bytes.empty()) {
        throw UsageError("there are no bytes to decode", "qrxhid decode 00 05 fb 00 --recording FILE");
    }
}

ExitStatus DecodeCommand::run(std::ostream& out)
{
    const DescriptorSource::Found found = _source.read();
    if (found.descriptors.empty()) {
        return std::max(found.status, kFailure);
    }
    requireOneDevice(found.descriptors, "decode BYTES");
    const DeclaredReport report =
        onlyReport(reportsOfBytes(_options.reportsOf(found.descriptors), _bytes), "decode BYTES");
    if (report.bytes() != _bytes.size()) {
        notice("the " + report.text() + " has " + countText(report.bytes(), "byte") + ", these are " +
               std::to_string(_bytes.size()));
    }
    writeDecoded(out, report, _bytes, _isJson);
    return found.status;
}

} // namespace qrxhid
