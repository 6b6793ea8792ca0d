#include "commands/TopTable.h"

#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/TextFormat.h"

#include <array>
#include <cstdio>

namespace qrxhid {

namespace {

constexpr const char* kFiguresHeading = " reports/s  interval  jitter  longest   bytes/s  reports loss?";
// So many columns are left of the figures, which fills a line of 80.
constexpr std::size_t kNameWidth = 17;
constexpr std::size_t kLineNameWidth = 32;

template <class... Values>
std::string formatted(const char* format, Values... values)
{
    // The widest line: seven numbers of 20 digits at most.
    std::array<char, 160> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

std::string intervalsText(const InputFigures& figures)
{
    // Without two reports there is no interval; 0 would be one.
    constexpr const char* kNone = "-";
    return figures.intervals ? formatted(" %9.3f %7.3f %8.3f", figures.intervals->meanMs, figures.intervals->jitterMs,
                                         figures.intervals->longestMs)
                             : formatted(" %9s %7s %8s", kNone, kNone, kNone);
}

std::string figuresText(const TopRow& row)
{
    // An interface that was not opened counts nothing: zeros would look like silence.
    if (!row.isOpen && !row.hasLeft) {
        return "  not open";
    }
    return formatted("%10.1f", row.figures.reportsPerSecond()) + intervalsText(row.figures) +
           formatted(" %9.0f %8llu %5llu", row.figures.bytesPerSecond(),
                     static_cast<unsigned long long>(row.figures.reports),
                     static_cast<unsigned long long>(row.possibleLosses)) +
           (row.hasLeft ? "  left" : "");
}

nlohmann::ordered_json rowJson(const TopRow& row)
{
    nlohmann::ordered_json json = {{"device", row.deviceNumber},
                                   {"vendorID", row.ids.vendorID},
                                   {"productID", row.ids.productID},
                                   {"interface", row.interfaceNumber},
                                   {"isOpen", row.isOpen},
                                   {"hasLeft", row.hasLeft},
                                   {"seconds", row.figures.seconds},
                                   {"reports", row.figures.reports},
                                   {"bytes", row.figures.bytes},
                                   {"reportsPerSecond", row.figures.reportsPerSecond()},
                                   {"bytesPerSecond", row.figures.bytesPerSecond()},
                                   {"intervalMs", nullptr},
                                   {"possibleLosses", row.possibleLosses}};
    // Null and not 0 until there are two reports: a graph would show a rate without end.
    if (row.figures.intervals) {
        json["intervalMs"] = {{"mean", row.figures.intervals->meanMs},
                              {"jitter", row.figures.intervals->jitterMs},
                              {"longest", row.figures.intervals->longestMs}};
    }
    return json;
}

} // namespace

std::vector<std::string> topTable(const TopUpdate& update, const Terminal& terminal)
{
    const std::string time = formatted("%.0f s", update.time);
    std::vector<std::string> lines = {update.isTotal ? "in all, " + time + "; intervals in ms"
                                                     : time + "; intervals in ms; Ctrl-C ends"};
    lines.push_back(terminal.painted(padded("", kNameWidth) + kFiguresHeading, Terminal::Look::faint));
    // Devices are numbered from 1, and the rows of one stand together.
    unsigned int lastDevice = 0;
    for (const TopRow& row : update.rows) {
        if (row.deviceNumber != lastDevice) {
            lines.push_back(terminal.painted(row.deviceTitle, Terminal::Look::title));
            lastDevice = row.deviceNumber;
        }
        const std::string name = padded("    interface " + std::to_string(row.interfaceNumber), kNameWidth);
        lines.push_back(row.possibleLosses > 0 ? name + terminal.painted(figuresText(row), Terminal::Look::warning)
                                               : name + figuresText(row));
    }
    return lines;
}

std::string topHeading()
{
    return padded("      time  device     interface", kLineNameWidth) + kFiguresHeading + "\n";
}

void writeTopLines(std::ostream& out, const TopUpdate& update)
{
    // Each line has the time and the device: other tools sort and search such lines.
    const std::string time = update.isTotal ? "       all" : formatted("%10.3f", update.time);
    for (const TopRow& row : update.rows) {
        const std::string name = time + "  #" + std::to_string(row.deviceNumber) + "  " + row.ids.text() + "  " +
                                 std::to_string(row.interfaceNumber);
        out << padded(name, kLineNameWidth) << figuresText(row) << "\n";
    }
}

std::string topJson(const TopUpdate& update)
{
    nlohmann::ordered_json json = {{"event", update.isTotal ? "total" : "period"},
                                   {"time", update.time},
                                   {"interfaces", nlohmann::ordered_json::array()}};
    for (const TopRow& row : update.rows) {
        json["interfaces"].push_back(rowJson(row));
    }
    return jsonText(json, false);
}

} // namespace qrxhid
