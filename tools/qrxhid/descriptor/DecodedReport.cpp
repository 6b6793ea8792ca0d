#include "descriptor/DecodedReport.h"

#include "text/DeviceText.h"
#include "text/ReportText.h"
#include "text/TextFormat.h"

namespace qrxhid {

void writeDecoded(std::ostream& out, const DeclaredReport& report, const std::vector<std::uint8_t>& bytes, bool isJson)
{
    QrxReportValues values;
    report.layout.decode(report.type, bytes.data(), bytes.size(), values);
    if (!isJson) {
        out << report.text() << ": " << bytesText(bytes) << "\n";
        writeValues(out, values, "    ");
        return;
    }
    out << jsonText({{"interface", report.interfaceNumber},
                     {"type", report.typeName()},
                     {"reportID", report.reportID},
                     {"bytes", bytesText(bytes, "")},
                     {"values", valuesJson(values)}},
                    true);
}

} // namespace qrxhid
