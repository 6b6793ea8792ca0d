#include "commands/WatchCommand.h"

#include "UsageError.h"
#include "commands/WatchPrinter.h"
#include "devices/DeviceSession.h"
#include "devices/InputFlow.h"
#include "devices/InputProgress.h"
#include "text/Notice.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

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

void WatchCommand::declareOptions(CLI::App& app)
{
    _choice.declareOptions(app);
    _options.limits.declareOptions(app);
    // Without the override no flag takes a value: "--json=false" would be a second way to say nothing.
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
    // Without --wait a device that is not there is a mistake of whoever typed it, told at once.
    session.mayBeAbsent(_options.isPatient);
    return Watch(_options, _choice.filter(), session, out).run();
}

} // namespace qrxhid
