#include "commands/DecodeCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "descriptor/DecodedReport.h"
#include "devices/DeviceSession.h"
#include "text/Json.h"
#include "text/Notice.h"
#include "text/TextFormat.h"

#include <algorithm>
#include <iterator>

namespace qrxhid {

namespace {

// A device that has the interface which the report came from is asked about that one; of another device all are.
std::vector<DeclaredReport> reportsOfEvent(const std::vector<DeclaredReport>& reports, const QrxRecordedEvent& event,
                                           int interfaceNumber)
{
    std::vector<DeclaredReport> ofInterface;
    std::ranges::copy_if(reports, std::back_inserter(ofInterface), [interfaceNumber](const DeclaredReport& report) {
        return report.interfaceNumber == interfaceNumber;
    });
    return reportsOfBytes(ofInterface.empty() ? reports : ofInterface, event.getBytes());
}

} // namespace

void DecodeCommand::declareOptions(OptionSet& options)
{
    options.addOption("bytes", _words, "The report in hexadecimal", "BYTES");
    options.addOption("--events", _eventFile, "Instead of bytes all input of this recording", "FILE");
    _options.declareOptions(options);
    options.addFlag("--json", _isJson, "One JSON document, with --events one JSON object a line");
    _source.declareOptions(options);
}

void DecodeCommand::checkOptions()
{
    _source.checkOptions();
    // A recording describes its own device, so its input needs no other choice.
    if (_eventFile && _source.isEverything()) {
        _source.addRecording(*_eventFile);
    }
    _options.checkOptions();
    _bytes = parseBytes(_words, "decode");
    if (_eventFile && !_bytes.empty()) {
        throw UsageError("bytes and --events cannot be mixed", "qrxhid decode --events " + *_eventFile);
    }
    if (!_eventFile && _bytes.empty()) {
        throw UsageError("there are no bytes to decode", "qrxhid decode 00 05 fb 00 --recording FILE");
    }
}

ExitStatus DecodeCommand::run(std::ostream& out)
{
    const DescriptorSource::Found found = _source.read();
    if (found.descriptors.empty()) {
        // Nothing is decoded without a descriptor: the reason was told, and the status must say so too.
        return std::max(found.status, kFailure);
    }
    requireOneDevice(found.descriptors, _eventFile ? "decode --events FILE" : "decode BYTES");
    if (_eventFile) {
        return std::max(found.status, decodeEvents(out, _options.reportsOf(found.descriptors)));
    }
    const DeclaredReport report =
        onlyReport(reportsOfBytes(_options.reportsOf(found.descriptors), _bytes), "decode BYTES");
    // Told and decoded all the same: the values that are there are right.
    if (report.bytes() != _bytes.size()) {
        notice("the " + report.text() + " has " + countText(report.bytes(), "byte") + ", these are " +
               std::to_string(_bytes.size()));
    }
    writeDecoded(out, report, _bytes, _isJson);
    return found.status;
}

// What cannot be decoded is told and left out: the rest of a long recording is worth reading.
ExitStatus DecodeCommand::decodeEvents(std::ostream& out, std::vector<DeclaredReport> reports) const
{
    std::erase_if(reports, [](const DeclaredReport& report) { return report.type != QrxReportType::input; });
    ExitStatus status = kSuccess;
    // Read a second time where the recording is the source as well: reading is cheap beside what is printed.
    const std::vector<RecordedDevice> recorded = readRecordings({*_eventFile}, status);
    if (recorded.empty()) {
        return status;
    }
    const QrxRecording& recording = recorded.front().recording;
    std::size_t unknown = 0;
    for (const QrxRecordedEvent& event : recording.getEvents()) {
        const int interfaceNumber = recording.getInterfaces()[event.getInterfaceIndex()].getNumber();
        const std::vector<DeclaredReport> matching =
            event.getBytes().empty() ? std::vector<DeclaredReport>() : reportsOfEvent(reports, event, interfaceNumber);
        // A guess among several would show values that were never sent.
        if (matching.size() == 1) {
            writeDecodedEvent(out, matching.front(), event, _isJson);
        } else {
            ++unknown;
        }
    }
    if (unknown > 0) {
        notice(countText(unknown, "report") + " of " + std::to_string(recording.getEvents().size()) +
               " are none that the device declares, or could be several");
    }
    return unknown > 0 ? kFailure : kSuccess;
}

} // namespace qrxhid
