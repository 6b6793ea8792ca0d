#include "descriptor/DecodedReport.h"

#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/ReportText.h"
#include "text/TextFormat.h"

#include <array>
#include <cstdio>

namespace qrxhid {

namespace {

void writeText(std::ostream& out, const DeclaredReport& report, const std::vector<std::uint8_t>& bytes)
{
    // A report that is shorter than declared is decoded as far as it goes; the library decides what that is.
    QrxReportValues values;
    report.layout.decode(report.type, bytes.data(), bytes.size(), values);
    out << report.text() << ": " << bytesText(bytes) << "\n";
    writeValues(out, values, "    ");
}

nlohmann::ordered_json reportJson(const DeclaredReport& report, const std::vector<std::uint8_t>& bytes)
{
    QrxReportValues values;
    report.layout.decode(report.type, bytes.data(), bytes.size(), values);
    return {{"interface", report.interfaceNumber},
            {"type", report.typeName()},
            {"reportID", report.reportID},
            {"bytes", bytesText(bytes, "")},
            {"values", valuesJson(values)}};
}

} // namespace

void writeDecoded(std::ostream& out, const DeclaredReport& report, const std::vector<std::uint8_t>& bytes, bool isJson)
{
    if (isJson) {
        out << jsonText(reportJson(report, bytes), true);
    } else {
        writeText(out, report, bytes);
    }
}

void writeDecodedEvent(std::ostream& out, const DeclaredReport& report, const QrxRecordedEvent& event, bool isJson)
{
    constexpr double kMicrosecondsPerSecond = 1e6;
    const double seconds = static_cast<double>(event.getTimeUs()) / kMicrosecondsPerSecond;
    if (isJson) {
        nlohmann::ordered_json json = {{"time", seconds}};
        // The time first: whoever reads lines of JSON sees when before what.
        json.update(reportJson(report, event.getBytes()));
        out << jsonText(json, false);
        return;
    }
    std::array<char, 32> time{};
    // Wide enough for a thousand seconds, so that the reports of most recordings stand below each other.
    std::snprintf(time.data(), time.size(), "%10.6f  ", seconds);
    out << time.data();
    writeText(out, report, event.getBytes());
}

} // namespace qrxhid
