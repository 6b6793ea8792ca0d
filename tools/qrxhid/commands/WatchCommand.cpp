#include "commands/WatchCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "commands/WatchPrinter.h"
#include "devices/DeviceSession.h"
#include "devices/InputFlow.h"
#include "devices/InputProgress.h"
#include "text/Json.h"
#include "text/Notice.h"

#include <optional>
#include <unistd.h>

namespace qrxhid {

namespace {

/// Prints what happens.
class Watch : private InputFlowListener {
public:
    Watch(const WatchOptions& options, const DeviceFilter& filter, DeviceSession& session, std::ostream& out)
        : _out(out), _session(session), _printer(options.style, out), _flow(session, filter, options.limits, *this)
    {
    }

    ExitStatus run() { return _flow.run(); }

private:
    void deviceCame(const PresentDevice& device, bool isNew) override
    {
        _hasDevice = true;
        _printer.writeDevice(isNew ? "arrived" : "present", device.facts.number, *device.handle);
    }

    void reportCame(const PresentDevice& device, const std::vector<std::uint8_t>& bytes, int interfaceNumber) override
    {
        _printer.writeReport(device.facts.number, *device.handle, bytes, interfaceNumber);
        if (_progress) {
            _progress->noteReport();
        }
    }

    void inputMayBeLost(const PresentDevice& device, const LossWatch::Loss& loss) override
    {
        _printer.writePossibleLoss(device.facts.number, loss);
    }

    void deviceLeft(const PresentDevice& device) override
    {
        _printer.writeDevice("left", device.facts.number, *device.handle);
    }

    void allIsReady() override
    {
        // What is written to a terminal needs no other sign of life.
        if (isatty(STDOUT_FILENO) == 0) {
            _progress.emplace(eventCount(_session.recordedDevices()));
        }
        // For whoever looks at it: in a file it would be one line too many.
        if (!_hasDevice && !_session.isRecorded() && isatty(STDERR_FILENO) != 0) {
            notice("waiting for a device; Ctrl-C ends");
        }
    }

    // A reader that has gone (head, for one) ends the watching.
    bool wantsNoMore() const override { return !_out; }

    std::ostream& _out;
    DeviceSession& _session;
    WatchPrinter _printer;
    InputFlow _flow;
    std::optional<InputProgress> _progress;
    bool _hasDevice = false;
};

} // namespace

void WatchCommand::declareOptions(OptionSet& options)
{
    _choice.declareOptions(options);
    _options.limits.declareOptions(options);
    options.addFlag("--json", _options.style.isJson, "One JSON object a line");
    options.addFlag("--changes", _options.style.onlyChanges, "Of the decoded values show only those that changed");
    options.addFlag("--raw", _options.style.isRaw, "Show the bytes of reports alone, without values");
    options.addFlag("--timestamps", _options.style.hasTimes, "Show the seconds since the beginning with each event");
    options.addFlag("--wait", _options.isPatient, "Wait for a chosen device that is not there yet");
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
    // Without --wait a device that is not there is a mistake of whoever typed it, told at once.
    session.mayBeAbsent(_options.isPatient);
    return Watch(_options, _choice.filter(), session, out).run();
}

} // namespace qrxhid
