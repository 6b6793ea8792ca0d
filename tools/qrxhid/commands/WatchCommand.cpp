#include "commands/WatchCommand.h"

#include "UsageError.h"
#include "commands/WatchPrinter.h"
#include "devices/DeviceSession.h"
#include "devices/InputListener.h"
#include "devices/Playback.h"
#include "devices/SignalWatch.h"
#include "text/Notice.h"

#include "QrxRunLoop.h"

#include <algorithm>
#include <unistd.h>

namespace qrxhid {

namespace {

class Watch {
public:
    Watch(const WatchOptions& options, const DeviceFilter& filter, DeviceSession& session, std::ostream& out);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    ExitStatus run();

private:
    struct Known {
        unsigned int number;
        DeviceHandle device;
        LossWatch losses;
    };

    void add(const char* event, const PresentDevice& device);
    void takeReport(unsigned int number, QrxHIDDevice& device, const std::vector<std::uint8_t>& bytes,
                    int interfaceNumber);
    void watchUntilSignal();
    void play();
    void playEventByEvent(Playback& playback);
    void playAtPace(Playback& playback);
    void unplugRecorded();
    bool step();
    void drain();
    void tellLosses();
    void noteRemovals();
    static void takeLastReports();
    bool isOver() const { return _isEnough || _signals.hasSignal() || !_out; }

    const WatchOptions& _options;
    const DeviceFilter& _filter;
    std::ostream& _out;
    DeviceSession& _session;
    // After the recordings are read: they may come from a terminal, and Ctrl-C must end that as usual.
    SignalWatch _signals;
    WatchPrinter _printer;
    std::vector<Known> _known;
    std::uint64_t _reports = 0;
    bool _isEnough = false;
};

Watch::Watch(const WatchOptions& options, const DeviceFilter& filter, DeviceSession& session, std::ostream& out)
    : _options(options), _filter(filter), _out(out), _session(session), _printer(options.style, out)
{
}

// The devices may outlive this object in somebody's handle; their delegates must not call it then.
Watch::~Watch()
{
    for (const Known& known : _known) {
        known.device->close();
    }
}

ExitStatus Watch::run()
{
    _session.begin();
    for (const PresentDevice& device : _session.devices()) {
        add("present", device);
    }
    _session.observe([this](const PresentDevice& device) { add("arrived", device); });
    if (_session.isRecorded()) {
        play();
    } else {
        // For whoever looks at it: in a file it would be one line too many.
        if (_known.empty() && isatty(STDERR_FILENO) != 0) {
            notice("waiting for a device; Ctrl-C ends");
        }
        watchUntilSignal();
    }
    return _session.status();
}

void Watch::add(const char* event, const PresentDevice& present)
{
    const unsigned int number = present.facts.number;
    _known.push_back({number, present.handle, {}});
    _printer.writeDevice(event, number, *present.handle);
    present.handle->setDelegate(
        new InputListener([this, number](QrxHIDDevice& sender, const std::vector<std::uint8_t>& bytes,
                                         int interfaceNumber) { takeReport(number, sender, bytes, interfaceNumber); }));
    present.handle->open();
}

void Watch::takeReport(unsigned int number, QrxHIDDevice& device, const std::vector<std::uint8_t>& bytes,
                       int interfaceNumber)
{
    if (_isEnough || !_filter.hasInterface(interfaceNumber)) {
        return;
    }
    _printer.writeReport(number, device, bytes, interfaceNumber);
    std::ranges::find(_known, number, &Known::number)->losses.noteReport(interfaceNumber);
    ++_reports;
    _isEnough = _options.limits.isEnough(_reports);
}

// One wait for both the library and the signals: a signal that came between two waits is not missed.
void Watch::watchUntilSignal()
{
    while (!isOver() && _signals.waitFor(QrxRunLoop::current().fileDescriptor())) {
        step();
    }
}

void Watch::play()
{
    Playback playback(_session.recordedDevices());
    if (_options.limits.speed() > 0) {
        playback.startAtPace(_options.limits.speed());
        playAtPace(playback);
    } else {
        playEventByEvent(playback);
    }
    if (!isOver()) {
        unplugRecorded();
    }
}

void Watch::playEventByEvent(Playback& playback)
{
    while (!isOver() && playback.sendNext()) {
        drain();
    }
}

void Watch::playAtPace(Playback& playback)
{
    while (!isOver() && !playback.isFinished()) {
        if (_signals.waitFor(QrxRunLoop::current().fileDescriptor())) {
            step();
        }
    }
    drain();
}

// So the end of a recording looks like the end of a device, which it is to whoever reads the output.
void Watch::unplugRecorded()
{
    for (RecordedDevice& recorded : _session.recordedDevices()) {
        recorded.handle = DeviceHandle();
        recorded.device->unplug();
        drain();
    }
}

/// One turn of the run loop; false if there was nothing to do.
bool Watch::step()
{
    const bool wasHandled = QrxRunLoop::current().runOnce(0) == QrxRunLoop::Outcome::handled;
    tellLosses();
    noteRemovals();
    return wasHandled;
}

void Watch::drain()
{
    while (step()) {
    }
}

/// After a turn, in which all that waited in a queue has been handed on: what is missing would follow here.
void Watch::tellLosses()
{
    for (Known& known : _known) {
        for (const LossWatch::Loss& loss : known.losses.look(*known.device)) {
            _printer.writePossibleLoss(known.number, loss);
        }
    }
}

// The library tells its delegate of arrivals only; a removal shows in the tree's list.
void Watch::noteRemovals()
{
    if (!_session.hasDepartures()) {
        return;
    }
    takeLastReports();
    tellLosses();
    const std::vector<PresentDevice> present = _session.devices();
    for (auto known = _known.begin(); known != _known.end();) {
        const bool isPresent =
            std::ranges::any_of(present, [&known](const PresentDevice& one) { return one.handle == known->device; });
        if (isPresent) {
            ++known;
            continue;
        }
        _printer.writeDevice("left", known->number, *known->device);
        known->device->close();
        known = _known.erase(known);
    }
}

// What the interfaces of a device had sent before it left may still wait. Other devices may go on sending meanwhile:
// hence a limit, of more turns than the queues of all interfaces of a machine can ask for.
void Watch::takeLastReports()
{
    constexpr int kMostTurns = 4096;
    for (int turn = 0; turn < kMostTurns && QrxRunLoop::current().runOnce(0) == QrxRunLoop::Outcome::handled; ++turn) {
    }
}

} // namespace

void WatchCommand::declareOptions(CLI::App& app)
{
    _choice.declareOptions(app);
    _options.limits.declareOptions(app);
    app.add_flag("--json", _options.style.isJson, "One JSON object a line")->disable_flag_override();
    app.add_flag("--changes", _options.style.onlyChanges, "Of the decoded values show only those that changed")
        ->disable_flag_override();
    app.add_flag("--raw", _options.style.isRaw, "Show the bytes of reports alone, without values")
        ->disable_flag_override();
    app.add_flag("--timestamps", _options.style.hasTimes, "Show the seconds since the beginning with each event")
        ->disable_flag_override();
    app.add_flag("--wait", _options.isPatient, "Wait for a chosen device that is not there yet")
        ->disable_flag_override();
}

void WatchCommand::checkOptions()
{
    _choice.checkOptions();
    _options.limits.checkOptions("watch", _choice.hasRecordings());
    if (_options.isPatient && (_choice.filter().isEverything() || _choice.hasRecordings())) {
        throw UsageError("--wait is for a chosen real device", "qrxhid watch --device VID:PID --wait");
    }
}

ExitStatus WatchCommand::run(std::ostream& out)
{
    DeviceSession session(_choice);
    session.mayBeAbsent(_options.isPatient);
    return Watch(_options, _choice.filter(), session, out).run();
}

} // namespace qrxhid
