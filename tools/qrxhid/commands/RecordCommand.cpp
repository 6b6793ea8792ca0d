#include "commands/RecordCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "commands/RecordingOutput.h"
#include "devices/DeviceDescription.h"
#include "devices/DeviceSession.h"
#include "devices/InputFlow.h"
#include "devices/InputProgress.h"
#include "doctor/Refusal.h"
#include "text/Notice.h"
#include "text/ShownLines.h"
#include "text/TextFormat.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <optional>

#include <unistd.h>

namespace qrxhid {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kHiddenSerialNumber = "SERIAL";

/// Writes what the one device sends.
class Record : private InputFlowListener {
public:
    Record(const RecordOptions& options, const DeviceChoice& choice, DeviceSession& session,
           std::ostream& standardOutput)
        : _options(options), _choice(choice), _output(options.output, standardOutput), _session(session),
          _flow(session, choice.filter(), options.limits, *this)
    {
    }

    ExitStatus run();

private:
    void chooseDevice();
    void notePlace(const std::string& place);
    void hideSerialNumber();
    void checkOutput() const;

    bool isWanted(const PresentDevice& device) const override { return device.handle == _device; }
    void deviceCame(const PresentDevice&, bool) override { _isPresent = true; }
    void reportCame(const PresentDevice& device, const std::vector<std::uint8_t>& bytes, int interfaceNumber) override;
    void inputMayBeLost(const PresentDevice& device, const LossWatch::Loss& loss) override;
    void deviceLeft(const PresentDevice&) override { _isPresent = false; }
    void allIsReady() override;
    bool wantsNoMore() const override { return !_output.stream() || (!_isPresent && !_session.isRecorded()); }

    const RecordOptions& _options;
    const DeviceChoice& _choice;
    RecordingOutput _output;
    DeviceSession& _session;
    DeviceHandle _device;
    QrxRecording _recording;
    std::optional<InputProgress> _progress;
    std::size_t _lastInterface = 0;
    std::optional<Clock::time_point> _firstEvent;
    bool _isPresent = false;
    InputFlow _flow;
};

void Record::chooseDevice()
{
    const PresentDevice chosen = _session.onlyDevice("record", "a recording is of one");
    _device = chosen.handle;
    if (_device) {
        _recording = describeDevice(*_device);
        _recording.setComments({"qrxhid " QRXHID_VERSION});
        notePlace(chosen.facts.place);
        std::erase_if(_recording.getInterfaces(), [this](const QrxRecordedInterface& interface) {
            return !_choice.filter().hasInterface(interface.getNumber());
        });
        hideSerialNumber();
    }
}

// As recorders write it: the device's place, then which of its interfaces it is.
void Record::notePlace(const std::string& place)
{
    for (QrxRecordedInterface& interface : _recording.getInterfaces()) {
        interface.setPhysicalPath(place.empty() ? "" : place + "/input" + std::to_string(interface.getNumber()));
    }
}

// Recordings are shown to others, and a serial number tells whose device it was.
void Record::hideSerialNumber()
{
    if (_recording.getSerialNumber().empty() || _options.keepsSerialNumber) {
        return;
    }
    _recording.setSerialNumber(kHiddenSerialNumber);
    notice(std::string("the serial number is recorded as ") + kHiddenSerialNumber + "; --keep-serial keeps it");
}

ExitStatus Record::run()
{
    checkOutput();
    _session.begin();
    chooseDevice();
    if (_recording.getInterfaces().empty()) {
        if (!_session.isRecorded()) {
            notice("the device has left");
        }
        return std::max(_session.status(), kFailure);
    }
    // Not before there is something to write: an older recording of that name is lost by it.
    if (!_output.open()) {
        return kFailure;
    }
    _recording.write(_output.stream());
    _output.keep();
    _lastInterface = _recording.getInterfaces().size() - 1;
    const ExitStatus status = _flow.run();
    if (!_isPresent && !_session.isRecorded()) {
        notice("the device has left");
    }
    return _output.close() ? status : kFailure;
}

/// A recording that is played must not be lost by it, and often is longer than what is made of it.
void Record::checkOutput() const
{
    for (const std::string& played : _choice.recordings()) {
        if (_output.isSameFileAs(played)) {
            throw UsageError("--output " + _options.output + " is the recording that is played",
                             "qrxhid record --recording " + played + " --output OTHER");
        }
    }
}

void Record::allIsReady()
{
    // What is written to a terminal needs no other sign of life.
    if (!_output.isTerminal()) {
        _progress.emplace(eventCount(_session.recordedDevices()));
    }
}

// Times count from the first report: what passed before somebody touched the device is nothing to play.
void Record::reportCame(const PresentDevice&, const std::vector<std::uint8_t>& bytes, int interfaceNumber)
{
    const auto place = std::ranges::find(_recording.getInterfaces(), interfaceNumber, &QrxRecordedInterface::getNumber);
    if (place == _recording.getInterfaces().end()) {
        return;
    }
    const Clock::time_point now = Clock::now();
    _firstEvent = _firstEvent.value_or(now);
    const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(now - *_firstEvent);
    QrxRecordedEvent event;
    event.setTimeUs(static_cast<std::uint64_t>(passed.count()));
    event.setInterfaceIndex(static_cast<std::size_t>(place - _recording.getInterfaces().begin()));
    event.setBytes(bytes);
    _recording.writeEvent(_output.stream(), event, _lastInterface);
    _output.keep();
    if (_progress) {
        _progress->noteReport();
    }
}

/// Also where the recording has the hole: whoever plays it should know.
void Record::inputMayBeLost(const PresentDevice&, const LossWatch::Loss& loss)
{
    notice(lossText(loss));
    _output.stream() << "# " << lossText(loss) << std::endl;
    _output.keep();
}

} // namespace

void RecordCommand::declareOptions(OptionSet& options)
{
    _choice.declareOptions(options);
    _options.limits.declareOptions(options);
    options.addOption("--output", _options.output, "Write to this file instead of standard output", "FILE");
    options.addFlag("--keep-serial", _options.keepsSerialNumber,
                    "Record the serial number, which is replaced otherwise");
}

void RecordCommand::checkOptions()
{
    _choice.checkOptions();
    _options.limits.checkOptions("record", _choice.hasRecordings());
    if (_choice.filter().isEverything() && _choice.recordings().size() != 1) {
        throw UsageError("which device?", "qrxhid record --device VID:PID");
    }
}

/// Says why nothing could come of it, and true, if this user may open no interface of the device.
bool RecordCommand::isRefused() const
{
    if (_choice.hasRecordings()) {
        return false;
    }
    const std::string ids = refusedDevice(_choice.filter());
    if (ids.empty()) {
        return false;
    }
    notice("you may not open " + ids);
    std::cerr << "Try: qrxhid doctor " << ids << "\n";
    return true;
}

ExitStatus RecordCommand::run(std::ostream& out)
{
    if (isRefused()) {
        return kNoPermission;
    }
    DeviceSession session(_choice);
    if (isatty(STDOUT_FILENO) == 0) {
        return Record(_options, _choice, session, out).run();
    }
    // A recording has a device's names as they are; a terminal must not obey them.
    ShownLines lines(out);
    std::ostream shown(&lines);
    return Record(_options, _choice, session, shown).run();
}

} // namespace qrxhid
