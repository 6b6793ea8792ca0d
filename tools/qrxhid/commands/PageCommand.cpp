#include "commands/PageCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "commands/OutputFile.h"
#include "devices/DeviceDescription.h"
#include "devices/DeviceSession.h"
#include "devices/PlayedDevice.h"
#include "page/DevicePage.h"
#include "page/PageData.h"
#include "text/Json.h"

#include <algorithm>
#include <filesystem>

#include <unistd.h>

namespace qrxhid {

namespace {

PageSubject subjectOf(DeviceSession& session, const PresentDevice& device)
{
    for (const RecordedDevice& recorded : session.recordedDevices()) {
        if (recorded.handle == device.handle) {
            const std::string name = std::filesystem::path(recorded.fileName).filename().string();
            return {recorded.recording, "recording " + (name == "-" ? "(standard input)" : name), false, false};
        }
    }
    const std::string& place = device.facts.place;
    return {describeDevice(*device.handle), "device" + (place.empty() ? "" : " at " + place), true, false};
}

} // namespace

void PageCommand::declareOptions(OptionSet& options)
{
    options.addOption("device", _word,
                      std::string("A recording") + kRecordingRemark + ", or a device by its IDs or its number of list",
                      "FILE|VID:PID|#N");
    _choice.declareOptions(options);
    options.addOption("-o,--output", _output, "Write to this file instead of standard output", "FILE");
    options.addFlag("--keep-serial", _keepsSerialNumber, "Show the serial number, which is left out otherwise");
}

void PageCommand::checkOptions()
{
    const bool isDevice = !_word.empty() && !DeviceChoice::isRecording(_word);
    if (isDevice) {
        _choice.chooseDevice(_word);
    } else {
        _choice.addRecordings(_word.empty() ? std::vector<std::string>() : std::vector<std::string>{_word});
        _choice.checkOptions();
    }
    for (const std::string& read : _choice.recordings()) {
        if (isSameFile(_output, read)) {
            throw UsageError("--output " + _output + " is the recording that is read",
                             "qrxhid page " + read + " --output OTHER");
        }
    }
}

ExitStatus PageCommand::run(std::ostream& out)
{
    if (isToStandardOutput() && isatty(STDOUT_FILENO) != 0) {
        throw UsageError("a page is not for a terminal", "qrxhid page ... --output FILE.html");
    }
    DeviceSession session(_choice);
    session.begin();
    const PresentDevice device = session.onlyDevice("page", "a page is of one");
    if (!device.handle) {
        return std::max(session.status(), kFailure);
    }
    PageSubject subject = subjectOf(session, device);
    subject.showsSerialNumber = _keepsSerialNumber;
    const nlohmann::ordered_json data = pageData(subject, _choice.filter());
    if (isToStandardOutput()) {
        writePage(out, data);
        return session.status();
    }
    OutputFile file(_output);
    writePage(file.stream(), data);
    return file.commit() ? session.status() : kFailure;
}

} // namespace qrxhid
