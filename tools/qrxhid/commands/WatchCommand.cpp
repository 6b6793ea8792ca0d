#include "commands/WatchCommand.h"

#include "commands/WatchPrinter.h"
#include "devices/DeviceSession.h"
#include "devices/InputListener.h"
#include "devices/Playback.h"
#include "devices/SignalWatch.h"

#include "QrxRunLoop.h"

#include <algorithm>

namespace qrxhid {

namespace {

class Watch {
public:
    Watch(const Options& options, std::ostream& out);
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

    void add(const char* event, const DeviceHandle& device);
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

    const Options& _options;
    std::ostream& _out;
    DeviceSession _session;
    // After the recordings are read: they may come from a terminal, and Ctrl-C must end that as usual.
    SignalWatch _signals;
    WatchPrinter _printer;
    std::vector<Known> _known;
    unsigned int _lastNumber = 0;
    std::uint64_t _reports = 0;
    bool _isEnough = false;
};

Watch::Watch(const Options& options, std::ostream& out)
    : _options(options), _out(out), _session(options), _printer(options, out)
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
    const bool allUsable = _session.reportUnusableRecordings();
    for (const DeviceHandle& device : _session.devices()) {
        add("present", device);
    }
    _session.observe([this](const DeviceHandle& device) { add("arrived", device); });
    if (_session.recordedDevices().empty()) {
        watchUntilSignal();
    } else {
        play();
    }
    return allUsable ? kSuccess : kFailure;
}

void Watch::add(const char* event, const DeviceHandle& device)
{
    const unsigned int number = ++_lastNumber;
    _known.push_back({number, device, {}});
    _printer.writeDevice(event, number, *device);
    device->setDelegate(
        new InputListener([this, number](QrxHIDDevice& sender, const std::vector<std::uint8_t>& bytes,
                                         int interfaceNumber) { takeReport(number, sender, bytes, interfaceNumber); }));
    device->open();
}

void Watch::takeReport(unsigned int number, QrxHIDDevice& device, const std::vector<std::uint8_t>& bytes,
                       int interfaceNumber)
{
    if (_isEnough) {
        return;
    }
    _printer.writeReport(number, device, bytes, interfaceNumber);
    std::ranges::find(_known, number, &Known::number)->losses.noteReport(interfaceNumber);
    ++_reports;
    _isEnough = _options.count && _reports >= *_options.count;
}

void Watch::watchUntilSignal()
{
    while (!isOver() && _signals.waitFor(QrxRunLoop::current().fileDescriptor())) {
        step();
    }
}

void Watch::play()
{
    Playback playback(_session.recordedDevices());
    if (_options.speed > 0) {
        playback.startAtPace(_options.speed);
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

// The library tells its delegate of arrivals only; a removal shows in the tree's list. An arrival of the same turn is
// known by now, so the lengths differ exactly if something left.
void Watch::noteRemovals()
{
    if (_session.deviceCount() == _known.size()) {
        return;
    }
    takeLastReports();
    tellLosses();
    const std::vector<DeviceHandle> present = _session.devices();
    for (auto known = _known.begin(); known != _known.end();) {
        const bool isPresent =
            std::ranges::any_of(present, [&known](const DeviceHandle& device) { return device == known->device; });
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

ExitStatus runWatch(const Options& options, std::ostream& out)
{
    return Watch(options, out).run();
}

} // namespace qrxhid
