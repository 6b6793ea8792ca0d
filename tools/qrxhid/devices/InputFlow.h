#pragma once

#include "devices/DeviceFilter.h"
#include "devices/DeviceSession.h"
#include "devices/InputLimits.h"
#include "devices/LossWatch.h"
#include "devices/SignalWatch.h"

#include "QrxRunLoop.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace qrxhid {

class Playback;

/// What an InputFlow tells, on the thread that runs it.
class InputFlowListener {
public:
    virtual ~InputFlowListener() = default;

    /// Whether a chosen device is to be opened and told of.
    virtual bool isWanted(const PresentDevice& /*device*/) const { return true; }
    /// Before the device is opened. `isNew`: it has arrived since the beginning.
    virtual void deviceCame(const PresentDevice& device, bool isNew) = 0;
    virtual void reportCame(const PresentDevice& device, const std::vector<std::uint8_t>& bytes,
                            int interfaceNumber) = 0;
    /// Reports after those that have come may be missing.
    virtual void inputMayBeLost(const PresentDevice& device, const LossWatch::Loss& loss) = 0;
    /// All of its reports have come.
    virtual void deviceLeft(const PresentDevice& device) = 0;
    /// All chosen devices that were there are open, and what happens from now on is told.
    virtual void allIsReady() {}
    /// Nothing more is wanted, as the output cannot be written.
    virtual bool wantsNoMore() const = 0;
};

/// Opens the chosen devices of a session as they come and tells what they send, until a signal comes, the recordings
/// are played, or the limits are reached. Belongs to one thread, whose run loop it uses.
class InputFlow {
public:
    /// All of them must outlive it. Recordings are read already: they may come from a terminal, and Ctrl-C must end
    /// that as usual.
    InputFlow(DeviceSession& session, const DeviceFilter& filter, const InputLimits& limits,
              InputFlowListener& listener);
    /// Closes the devices.
    ~InputFlow();
    InputFlow(const InputFlow&) = delete;
    InputFlow& operator=(const InputFlow&) = delete;

    /// Once; begins the session if that is still to be done. Throws UnknownDevice. Not success where a recording could
    /// not be read or an interface not be opened; that has been told on standard error.
    ExitStatus run();

private:
    struct Known {
        PresentDevice device;
        LossWatch losses;
    };

    void add(const PresentDevice& device, bool isNew);
    void open(const PresentDevice& device);
    void takeReport(unsigned int number, const std::vector<std::uint8_t>& bytes, int interfaceNumber);
    void runUntilSignal();
    void play();
    void unplugRecorded();
    bool step();
    void drain();
    void tellLosses();
    void noteRemovals();
    static void takeLastReports();
    bool isOver() const { return _isEnough || _signals.hasSignal() || _listener.wantsNoMore(); }

    DeviceSession& _session;
    const DeviceFilter& _filter;
    const InputLimits& _limits;
    InputFlowListener& _listener;
    SignalWatch _signals;
    /// By pointer: a report of one device is told while another one arrives.
    std::vector<std::unique_ptr<Known>> _known;
    QrxRunLoop::Timer _end = 0;
    std::uint64_t _reports = 0;
    bool _isEnough = false;
    ExitStatus _status = kSuccess;
};

} // namespace qrxhid
