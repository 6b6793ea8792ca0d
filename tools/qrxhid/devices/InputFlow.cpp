#include "devices/InputFlow.h"

#include "devices/InputListener.h"
#include "devices/OutcomeStatus.h"
#include "devices/Playback.h"

#include "QrxRequests.h"

#include <algorithm>
#include <chrono>

namespace qrxhid {

InputFlow::InputFlow(DeviceSession& session, const DeviceFilter& filter, const InputLimits& limits,
                     InputFlowListener& listener)
    : _session(session), _filter(filter), _limits(limits), _listener(listener)
{
}

// The devices may outlive this object in somebody's handle; their delegates must not call it then.
InputFlow::~InputFlow()
{
    QrxRunLoop::getCurrent().cancel(_end);
    for (const auto& known : _known) {
        known->device.handle->close();
    }
}

ExitStatus InputFlow::run()
{
    _session.begin();
    if (_session.isRecorded() && _session.recordedDevices().empty()) {
        return _session.status();
    }
    if (_limits.seconds()) {
        const auto time = std::chrono::duration<double>(*_limits.seconds());
        // The time counts from here, whether or not a device is there.
        _end = QrxRunLoop::getCurrent().callAfter(std::chrono::duration_cast<std::chrono::nanoseconds>(time),
                                                  [this] { _isEnough = true; });
    }
    for (const PresentDevice& device : _session.devices()) {
        add(device, false);
    }
    // After the devices that are there already, which are no arrivals.
    _session.observe([this](const PresentDevice& device) { add(device, true); });
    _listener.allIsReady();
    if (_session.isRecorded()) {
        play();
    } else {
        runUntilSignal();
    }
    return std::max(_status, _session.status());
}

void InputFlow::add(const PresentDevice& device, bool isNew)
{
    if (!_listener.isWanted(device)) {
        return;
    }
    _known.push_back(std::make_unique<Known>(Known{device, {}}));
    _listener.deviceCame(device, isNew);
    const unsigned int number = device.facts.number;
    device.handle->setDelegate(
        new InputListener([this, number](QrxHIDDevice&, const std::vector<std::uint8_t>& bytes, int interfaceNumber) {
            takeReport(number, bytes, interfaceNumber);
        }));
    open(device);
}

// One interface by one: access to those that are not chosen is not needed. What cannot be opened does not keep the
// others from being heard; the status tells of it in the end.
void InputFlow::open(const PresentDevice& device)
{
    for (const auto& [number, node] : device.facts.nodes) {
        if (!_filter.hasInterface(number)) {
            continue;
        }
        const QrxOutcome outcome = QrxOpen(*device.handle, number);
        // A device that has just left is reported as a removal, not as a failed open.
        if (outcome.getError() != QrxError::gone) {
            _status = std::max(_status, toldStatus(outcome, *device.handle));
        }
    }
}

void InputFlow::takeReport(unsigned int number, const std::vector<std::uint8_t>& bytes, int interfaceNumber)
{
    if (_isEnough) {
        return;
    }
    // By number and not by pointer: the list grows and shrinks while listeners are called.
    const auto known = std::ranges::find(_known, number, [](const auto& one) { return one->device.facts.number; });
    Known& sender = **known;
    _listener.reportCame(sender.device, bytes, interfaceNumber);
    sender.losses.noteReport(interfaceNumber);
    ++_reports;
    _isEnough = _limits.isEnough(_reports);
}

void InputFlow::runUntilSignal()
{
    while (!isOver() && _signals.waitForLoop()) {
        step();
    }
}

void InputFlow::play()
{
    Playback playback(_session.recordedDevices());
    const bool isPaced = _limits.speed() > 0;
    // At a pace the players send by timers of the run loop; else each report is sent when the one before is through.
    if (isPaced) {
        playback.startAtPace(_limits.speed());
    }
    while (!isOver() && (isPaced ? !playback.isFinished() : playback.sendNext())) {
        if (!isPaced) {
            drain();
        } else if (_signals.waitForLoop()) {
            step();
        }
    }
    drain();
    if (!isOver()) {
        unplugRecorded();
    }
}

// So the end of a recording looks like the end of a device, which it is to whoever reads the output.
void InputFlow::unplugRecorded()
{
    for (RecordedDevice& recorded : _session.recordedDevices()) {
        recorded.handle = DeviceHandle();
        recorded.device->unplug();
        drain();
    }
}

/// One turn of the run loop; false if there was nothing to do.
bool InputFlow::step()
{
    const bool wasHandled = QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled;
    tellLosses();
    noteRemovals();
    return wasHandled;
}

void InputFlow::drain()
{
    while (step()) {
    }
}

/// After a turn, in which all that waited in a queue has been handed on: what is missing would follow here.
void InputFlow::tellLosses()
{
    for (const auto& known : _known) {
        for (const LossWatch::Loss& loss : known->losses.look(*known->device.handle)) {
            _listener.inputMayBeLost(known->device, loss);
        }
    }
}

// The library tells its delegate of arrivals only; a removal shows in the tree's list.
void InputFlow::noteRemovals()
{
    if (!_session.hasDepartures()) {
        return;
    }
    // Before the device is told to have left, so that its last reports come before that.
    takeLastReports();
    tellLosses();
    const std::vector<PresentDevice> present = _session.devices();
    for (auto known = _known.begin(); known != _known.end();) {
        const PresentDevice& device = (*known)->device;
        const bool isPresent =
            std::ranges::any_of(present, [&device](const PresentDevice& one) { return one.handle == device.handle; });
        if (isPresent) {
            ++known;
            continue;
        }
        // Before the device is closed: the listener may still ask it for its name.
        _listener.deviceLeft(device);
        device.handle->close();
        known = _known.erase(known);
    }
}

// What the interfaces of a device had sent before it left may still wait. Other devices may go on sending meanwhile:
// hence a limit, of more turns than the queues of all interfaces of a machine can ask for.
void InputFlow::takeLastReports()
{
    constexpr int kMostTurns = 4096;
    for (int turn = 0; turn < kMostTurns && QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled;
         ++turn) {
    }
}

} // namespace qrxhid
