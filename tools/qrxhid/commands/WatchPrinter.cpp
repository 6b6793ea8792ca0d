#include "commands/WatchPrinter.h"

#include "text/DeviceText.h"
#include "text/ReportText.h"
#include "text/TextFormat.h"

#include "QrxReportDecoder.h"

namespace qrxhid {

namespace {

constexpr unsigned int kInputReport = 0;
constexpr std::size_t kEventWidth = 8;

/// 0 where the interface does not number its reports.
std::uint32_t reportIDOf(const QrxHIDDevice& device, const std::vector<std::uint8_t>& bytes, int interfaceNumber)
{
    if (bytes.empty()) {
        return 0;
    }
    for (unsigned int i = 0; i < device.getReportCount(); ++i) {
        const mis::swizzler<QrxHIDReport> report = device.getReportAtIndex(i);
        if (report->getInterfaceNumber() == interfaceNumber && report->getReportID() != 0) {
            return bytes.front();
        }
    }
    return 0;
}

} // namespace

WatchPrinter::WatchPrinter(const WatchStyle& style, std::ostream& out)
    : _style(style), _out(out), _start(std::chrono::steady_clock::now())
{
}

nlohmann::ordered_json WatchPrinter::eventJson(const char* event, unsigned int number) const
{
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - _start;
    return {{"event", event}, {"time", time.count()}, {"device", number}};
}

void WatchPrinter::writeDevice(const char* event, unsigned int number, const QrxHIDDevice& device)
{
    if (_style.isJson) {
        nlohmann::ordered_json json = eventJson(event, number);
        json.update(deviceJson(device));
        _out << jsonText(json, false);
    } else {
        _out << padded(event, kEventWidth) << " #" << number << "  " << deviceTitle(device) << "\n";
    }
    _out.flush();
}

void WatchPrinter::writeReport(unsigned int number, const QrxHIDDevice& device, const std::vector<std::uint8_t>& bytes,
                               int interfaceNumber)
{
    const std::uint32_t reportID = reportIDOf(device, bytes, interfaceNumber);
    std::vector<QrxDecodedValue> values =
        QrxDecodeReport(device, kInputReport, bytes.data(), bytes.size(), interfaceNumber);
    if (_style.onlyChanges) {
        values = _filters[number].changes(interfaceNumber, reportID, values);
    }
    if (_style.isJson) {
        nlohmann::ordered_json json = eventJson("report", number);
        json["interface"] = interfaceNumber;
        json["type"] = "input";
        json["reportID"] = reportID;
        json["bytes"] = bytesText(bytes, "");
        json["values"] = valuesJson(values);
        _out << jsonText(json, false);
    } else {
        _out << padded("report", kEventWidth) << " #" << number << "  interface " << interfaceNumber << ": "
             << bytesText(bytes) << "\n";
        writeValues(_out, values, "    ");
    }
    _out.flush();
}

void WatchPrinter::writePossibleLoss(unsigned int number, const LossWatch::Loss& loss)
{
    if (_style.isJson) {
        nlohmann::ordered_json json = eventJson("possibleLoss", number);
        json["interface"] = loss.interfaceNumber;
        json["count"] = loss.count;
        _out << jsonText(json, false);
    } else {
        _out << padded("loss?", kEventWidth) << " #" << number << "  " << lossText(loss) << "\n";
    }
    _out.flush();
}

} // namespace qrxhid
