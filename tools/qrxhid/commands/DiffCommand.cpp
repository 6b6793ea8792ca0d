// Both sides become recordings, and these become lines part by part, which are compared as texts. So what is shown of a
// field is also what two fields differ by, and a live device can be compared with a recording of it.

#include "commands/DiffCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "devices/DeviceDescription.h"
#include "devices/DeviceSession.h"
#include "text/DeviceText.h"
#include "text/FieldText.h"
#include "text/Json.h"
#include "text/LineDiff.h"
#include "text/Notice.h"
#include "text/Terminal.h"
#include "text/TextFormat.h"
#include "text/UsageNames.h"

#include <algorithm>
#include <iostream>
#include <optional>

namespace qrxhid {

namespace {

/// A part of a device's description, as lines that are compared with those of the same part of another one.
struct Part {
    std::string name;
    std::vector<std::string> lines;
};

/// A recording, or a device as a recording without input; nothing if it cannot be read, which has been told.
std::optional<QrxRecording> readSide(const std::string& word)
{
    // A file comes first, so a file that is called like a device can be named.
    if (DeviceChoice::isRecording(word)) {
        ExitStatus status = kSuccess;
        std::vector<RecordedDevice> recorded = readRecordings({word}, status);
        // The status says no more than the empty list does: one file was asked for.
        return recorded.empty() ? std::nullopt : std::optional(std::move(recorded.front().recording));
    }
    DeviceChoice choice;
    choice.chooseDevice(word);
    DeviceSession session(choice);
    session.begin();
    return describeDevice(*session.onlyDevice("diff", "each side is one").handle);
}

Part identityOf(const QrxRecording& device)
{
    return {"identity",
            {"IDs " + DeviceIdentity{device.getVendorID(), device.getProductID()}.text(),
             "release " + hexText(device.getReleaseNumber(), 4), "vendor name \"" + device.getVendorName() + "\"",
             "product name \"" + device.getProductName() + "\"", "serial number \"" + device.getSerialNumber() + "\"",
             "class " + std::to_string(device.getDeviceClass()) + ", " + std::to_string(device.getDeviceSubclass()) +
                 ", " + std::to_string(device.getDeviceProtocol())}};
}

void addElements(std::vector<std::string>& lines, const std::vector<ElementOutline>& elements)
{
    // Each line names its page: a line may stand alone among the differences.
    constexpr std::uint32_t kNoPage = 0;
    for (const ElementOutline& element : elements) {
        if (element.field) {
            const FieldWords words = fieldWords(*element.field, kNoPage);
            lines.push_back(words.report + ", " + words.place + ", " + words.size + ", " + words.usages + ", " +
                            words.range + (words.details.empty() ? "" : ", " + words.details));
        } else {
            lines.push_back("collection " + usageText(element.usagePage, element.usage));
            addElements(lines, element.elements);
        }
    }
}

Part interfaceOf(const QrxRecordedInterface& interface)
{
    // By the layout and not by the bytes: two descriptors that mean the same are no difference to an application.
    const QrxReportLayout layout(interface.getReportDescriptor().data(), interface.getReportDescriptor().size());
    const InterfaceOutline outline = outlineOf(layout, interface.getNumber());
    Part part{"interface " + std::to_string(interface.getNumber()), {"name \"" + interface.getName() + "\""}};
    for (const ReportOutline& report : outline.reports) {
        part.lines.push_back(reportText(report));
    }
    addElements(part.lines, outline.elements);
    return part;
}

Part inputOf(const QrxRecording& device)
{
    Part part{"input", {}};
    for (const QrxRecordedEvent& event : device.getEvents()) {
        // Without its time: two recordings of the same movements never have the same times.
        part.lines.push_back("interface " +
                             std::to_string(device.getInterfaces()[event.getInterfaceIndex()].getNumber()) + ": " +
                             bytesText(event.getBytes()));
    }
    return part;
}

std::vector<Part> partsOf(const QrxRecording& device)
{
    std::vector<Part> parts = {identityOf(device)};
    for (const QrxRecordedInterface& interface : device.getInterfaces()) {
        parts.push_back(interfaceOf(interface));
    }
    // A live device has no input to compare: then all of the other side's shows as removed or added.
    parts.push_back(inputOf(device));
    return parts;
}

std::vector<std::string> linesOf(const std::vector<Part>& parts, const std::string& name)
{
    // A part that one side lacks is compared with nothing, so all of its lines differ.
    const auto found = std::ranges::find(parts, name, &Part::name);
    return found == parts.end() ? std::vector<std::string>() : found->lines;
}

/// The names of the parts of both, those of the first one first; the input stays last.
std::vector<std::string> namesOf(const std::vector<Part>& before, const std::vector<Part>& after)
{
    std::vector<std::string> names;
    for (const std::vector<Part>* parts : {&before, &after}) {
        for (const Part& part : *parts) {
            // By name and not by place: interfaces that have changed places are compared with themselves.
            if (part.name != "input" && std::ranges::find(names, part.name) == names.end()) {
                names.push_back(part.name);
            }
        }
    }
    names.emplace_back("input");
    return names;
}

void writePart(std::ostream& out, const std::string& name, const std::vector<DiffLine>& lines, const Terminal& terminal)
{
    out << terminal.painted(name, Terminal::Look::title) << "\n";
    for (const DiffLine& line : lines) {
        const bool isAdded = line.kind == DiffLine::Kind::added;
        // Signs as well as colours, for files and for eyes that do not tell red from green.
        out << terminal.painted((isAdded ? "+ " : "- ") + shownText(line.text),
                                isAdded ? Terminal::Look::good : Terminal::Look::bad)
            << "\n";
    }
}

} // namespace

void DiffCommand::declareOptions(OptionSet& options)
{
    options.addRequiredWords("sides", _sides, "Two recordings or devices", "FILE|VID:PID|#N");
    options.addFlag("--json", _isJson, "One JSON document");
}

void DiffCommand::checkOptions()
{
    constexpr std::size_t kSides = 2;
    if (_sides.size() != kSides) {
        throw UsageError("two recordings or devices are compared, not " + std::to_string(_sides.size()),
                         "qrxhid diff old.hid new.hid");
    }
}

ExitStatus DiffCommand::run(std::ostream& out)
{
    const std::optional<QrxRecording> before = readSide(_sides.front());
    const std::optional<QrxRecording> after = readSide(_sides.back());
    // What could not be read was told; that the sides differ would be a guess.
    if (!before || !after) {
        return kBadRecording;
    }
    // The first side is the one before, as in diff(1).
    const std::vector<Part> left = partsOf(*before);
    const std::vector<Part> right = partsOf(*after);
    const Terminal terminal = Terminal::ofStandardOutput();
    nlohmann::ordered_json document = {{"differences", nlohmann::ordered_json::array()}};
    bool isSame = true;
    for (const std::string& name : namesOf(left, right)) {
        const std::vector<DiffLine> lines = diffLines(linesOf(left, name), linesOf(right, name));
        isSame = isSame && lines.empty();
        if (!_isJson && !lines.empty()) {
            writePart(out, name, lines, terminal);
        }
        for (const DiffLine& line : lines) {
            document["differences"].push_back({{"part", name},
                                               {"kind", line.kind == DiffLine::Kind::added ? "added" : "removed"},
                                               {"text", line.text}});
        }
    }
    if (_isJson) {
        out << jsonText(document, true);
    }
    // As the status of diff(1), whose users expect it in scripts.
    return isSame ? kSuccess : kFailure;
}

} // namespace qrxhid
