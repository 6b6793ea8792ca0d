#include "commands/RecordCommand.h"

#include "UsageError.h"
#include "commands/RecordingOutput.h"
#include "devices/DeviceDescription.h"
#include "devices/DeviceSession.h"
#include "devices/InputListener.h"
#include "devices/InputProgress.h"
#include "devices/LossWatch.h"
#include "devices/Playback.h"
#include "devices/SignalWatch.h"
#include "doctor/Checkup.h"
#include "text/Notice.h"
#include "text/ShownLines.h"
#include "text/TextFormat.h"

#include "QrxRunLoop.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <optional>

#include <unistd.h>

namespace qrxhid {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kHiddenSerialNumber = "SERIAL";

class Record {
public:
    Record(const RecordOptions& options, const DeviceChoice& choice, DeviceSession& session,
           std::ostream& standardOutput)
        : _options(options), _choice(choice), _output(options.output, standardOutput), _session(session)
    {
    }
    ~Record();
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    ExitStatus run();

private:
    void chooseDevice();
    void notePlace(const std::string& place);
    void hideSerialNumber();
    void checkOutput() const;
    void begin();
    void takeReport(const std::vector<std::uint8_t>& bytes, int interfaceNumber);
    void recordUntilSignal();
    void play();
    void step();
    void drain();
    void tellLosses();
    bool isPresent() const;
    bool isOver() const { return _isEnough || _signals.hasSignal() || !_output.stream() || Clock::now() >= _end; }
    int millisecondsLeft() const;

    const RecordOptions& _options;
    const DeviceChoice& _choice;
    RecordingOutput _output;
    DeviceSession& _session;
    SignalWatch _signals;
    DeviceHandle _device;
    QrxRecording _recording;
    LossWatch _losses;
    std::optional<InputProgress> _progress;
    std::size_t _lastInterface = 0;
    std::optional<Clock::time_point> _firstEvent;
    Clock::time_point _end = Clock::time_point::max();
    std::uint64_t _reports = 0;
    bool _isEnough = false;
};

// The device may outlive this object in somebody's handle; its delegate must not call it then.
Record::~Record()
{
    if (_device) {
        _device->close();
    }
}

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
    begin();
    if (_session.isRecorded()) {
        play();
    } else {
        recordUntilSignal();
    }
    return _output.close() ? _session.status() : kFailure;
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

/// Writes what the device is, opens it, and starts the time.
void Record::begin()
{
    _recording.write(_output.stream());
    _output.keep();
    _lastInterface = _recording.getInterfaces().size() - 1;
    _device->setDelegate(new InputListener([this](QrxHIDDevice&, const std::vector<std::uint8_t>& bytes,
                                                  int interfaceNumber) { takeReport(bytes, interfaceNumber); }));
    _device->open();
    // What is written to a terminal needs no other sign of life.
    if (!_output.isTerminal()) {
        _progress.emplace(eventCount(_session.recordedDevices()));
    }
    if (_options.limits.seconds()) {
        _end = Clock::now() +
               std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*_options.limits.seconds()));
    }
}

// Times count from the first report: what passed before somebody touched the device is nothing to play.
void Record::takeReport(const std::vector<std::uint8_t>& bytes, int interfaceNumber)
{
    const auto place = std::ranges::find(_recording.getInterfaces(), interfaceNumber, &QrxRecordedInterface::getNumber);
    if (_isEnough || place == _recording.getInterfaces().end()) {
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
    _losses.noteReport(interfaceNumber);
    if (_progress) {
        _progress->noteReport();
    }
    ++_reports;
    _isEnough = _options.limits.isEnough(_reports);
}

void Record::recordUntilSignal()
{
    _session.observe([](const PresentDevice&) {});
    while (!isOver() && _signals.waitFor(QrxRunLoop::getCurrent().getFileDescriptor(), millisecondsLeft())) {
        step();
        if (!isPresent()) {
            // What its interfaces had sent before may still wait.
            drain();
            notice("the device has left");
            return;
        }
    }
}

void Record::play()
{
    Playback playback(_session.recordedDevices());
    const bool isPaced = _options.limits.speed() > 0;
    if (isPaced) {
        playback.startAtPace(_options.limits.speed());
    }
    while (!isOver() && (isPaced ? !playback.isFinished() : playback.sendNext())) {
        if (!isPaced) {
            drain();
        } else if (_signals.waitFor(QrxRunLoop::getCurrent().getFileDescriptor(), millisecondsLeft())) {
            step();
        }
    }
    drain();
}

void Record::step()
{
    QrxRunLoop::getCurrent().runOnce(0);
    tellLosses();
}

void Record::drain()
{
    while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
        tellLosses();
    }
}

/// Also where the recording has the hole: whoever plays it should know.
void Record::tellLosses()
{
    for (const LossWatch::Loss& loss : _losses.look(*_device)) {
        notice(lossText(loss));
        _output.stream() << "# " << lossText(loss) << std::endl;
        _output.keep();
    }
}

// By the handle: a device that was pulled and plugged in again is another one, with other queues.
bool Record::isPresent() const
{
    return std::ranges::any_of(_session.devices(), [this](const PresentDevice& one) { return one.handle == _device; });
}

int Record::millisecondsLeft() const
{
    if (!_options.limits.seconds()) {
        return SignalWatch::kForever;
    }
    // Rounded up: a wait that ends a little early would be followed by one of no length, over and over.
    const double left = std::chrono::duration<double, std::milli>(_end - Clock::now()).count();
    constexpr double kLongestWait = 1e9;
    return static_cast<int>(std::ceil(std::clamp(left, 0.0, kLongestWait)));
}

} // namespace

void RecordCommand::declareOptions(CLI::App& app)
{
    _choice.declareOptions(app);
    _options.limits.declareOptions(app);
    app.add_option("--output", _options.output, "Write to this file instead of standard output")->type_name("FILE");
    app.add_flag("--keep-serial", _options.keepsSerialNumber, "Record the serial number, which is replaced otherwise")
        ->disable_flag_override();
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
    const std::vector<DeviceFinding> findings = checkUp({}, _choice.filter(), Surroundings::examine(""));
    const auto isDenied = [](const InterfaceFinding& one) { return one.state == InterfaceFinding::State::denied; };
    if (findings.size() != 1 || !std::ranges::all_of(findings.front().interfaces, isDenied)) {
        return false;
    }
    const std::string ids = findings.front().ids.text();
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
