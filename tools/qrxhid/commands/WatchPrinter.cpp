#include "commands/WatchPrinter.h"

#include "text/DeviceText.h"
#include "text/TextFormat.h"

#include "QrxReportDecoder.h"
#include "text/Json.h"

#include <array>
#include <cstdio>
#include <string_view>

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
    // By the device's reports and not by the first byte, which is data where reports are not numbered.
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

double WatchPrinter::secondsPassed() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
}

nlohmann::ordered_json WatchPrinter::eventJson(const char* event, unsigned int number) const
{
    return {{"event", event}, {"time", secondsPassed()}, {"device", number}};
}

std::string WatchPrinter::eventText(const char* event, unsigned int number, Terminal::Look look) const
{
    std::array<char, 32> time{};
    // Seconds since the beginning, on the monotonic clock: intervals are what people look for.
    if (_style.hasTimes) {
        std::snprintf(time.data(), time.size(), "%10.6f  ", secondsPassed());
    }
    return time.data() + _terminal.painted(padded(event, kEventWidth), look) + " #" + std::to_string(number) + "  ";
}

// Each happening is flushed: a pipe would keep it until thousands of bytes have come together.
void WatchPrinter::writeDevice(const char* event, unsigned int number, const QrxHIDDevice& device)
{
    if (_style.isJson) {
        nlohmann::ordered_json json = eventJson(event, number);
        json.update(deviceJson(device));
        _out << jsonText(json, false);
    } else {
        const bool hasLeft = std::string_view(event) == "left";
        _out << eventText(event, number, hasLeft ? Terminal::Look::bad : Terminal::Look::good) << deviceTitle(device)
             << "\n";
    }
    _out.flush();
}

void WatchPrinter::writeReport(unsigned int number, const QrxHIDDevice& device, const std::vector<std::uint8_t>& bytes,
                               int interfaceNumber)
{
    const std::uint32_t reportID = reportIDOf(device, bytes, interfaceNumber);
    std::vector<QrxDecodedValue> values;
    if (!_style.isRaw) {
        // Not with --raw, which is for devices that are faster than their values can be read.
        values = QrxDecodeReport(device, kInputReport, bytes.data(), bytes.size(), interfaceNumber);
    }
    // A filter for each device: two of a kind have the same reports and different values.
    if (_style.onlyChanges) {
        values = _filters[number].changes(interfaceNumber, reportID, values);
    }
    if (_style.isJson) {
        nlohmann::ordered_json json = eventJson("report", number);
        json["interface"] = interfaceNumber;
        json["type"] = "input";
        json["reportID"] = reportID;
        json["bytes"] = bytesText(bytes, "");
        _out << (_style.isRaw ? jsonText(json, false) : jsonLine(json, "values", _valuesJson.textOf(values)));
    } else {
        _out << eventText("report", number, Terminal::Look::faint) << "interface " << interfaceNumber << ": "
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
        _out << eventText("loss?", number, Terminal::Look::warning) << lossText(loss) << "\n";
    }
    _out.flush();
}

} // namespace qrxhid
