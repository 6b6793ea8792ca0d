#include "commands/ReplayCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "devices/KernelDevice.h"
#include "devices/RecordingChoice.h"
#include "devices/SignalWatch.h"
#include "text/DeviceText.h"
#include "text/Json.h"
#include "text/Notice.h"
#include "text/TextFormat.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iostream>
#include <memory>
#include <sys/epoll.h>
#include <system_error>
#include <unistd.h>

namespace qrxhid {

namespace {

using Clock = std::chrono::steady_clock;

/// Says why there is no device, and what would help.
ExitStatus toldStatus(const std::system_error& error, const std::string& subject)
{
    const int number = error.code().value();
    // The node's mode refuses with the first, a sandbox with the second.
    const bool isRefused = number == EACCES || number == EPERM;
    if (isRefused) {
        notice(std::string("you may not open ") + KernelDevice::kNode);
        std::cerr << "Try: sudo qrxhid replay --uhid FILE\n";
    } else if (number == ENOENT || number == ENODEV || number == ENXIO) {
        notice(std::string(KernelDevice::kNode) + " is not there: this kernel makes no devices for programs, or its "
                                                  "module is not loaded");
        std::cerr << "Try: sudo modprobe uhid\n";
    } else {
        notice(subject + ": " + error.what());
    }
    return isRefused ? kNoPermission : kFailure;
}

/// The descriptors of several devices as one, which can be waited for.
class DescriptorGroup {
public:
    DescriptorGroup() : _fd(epoll_create1(EPOLL_CLOEXEC))
    {
        if (_fd < 0) {
            throw std::system_error(errno, std::generic_category(), "epoll");
        }
    }
    ~DescriptorGroup() { close(_fd); }
    DescriptorGroup(const DescriptorGroup&) = delete;
    DescriptorGroup& operator=(const DescriptorGroup&) = delete;

    void add(int fd)
    {
        epoll_event event = {};
        event.events = EPOLLIN;
        if (epoll_ctl(_fd, EPOLL_CTL_ADD, fd, &event) != 0) {
            throw std::system_error(errno, std::generic_category(), "epoll");
        }
    }
    int fileDescriptor() const { return _fd; }

private:
    int _fd;
};

constexpr auto kForever = Clock::time_point::max();

class Replay {
public:
    Replay(const ReplayOptions& options, const DeviceFilter& filter, std::vector<ChosenRecording> recordings,
           std::ostream& out);

    ExitStatus run();

private:
    /// One interface of a recording.
    struct Player {
        const ChosenRecording* recorded;
        const QrxRecordedInterface* interface;
        std::unique_ptr<KernelDevice> device;
    };
    struct Step {
        std::uint64_t timeUs;
        std::size_t player;
        const std::vector<std::uint8_t>* bytes;
    };

    bool plug();
    void waitForDrivers();
    void play();
    /// Serves the kernel until then, or until `isMet`. False if something else has ended the work.
    template <class Condition>
    bool serveUntil(Clock::time_point time, Condition isMet);
    /// All of them are.
    bool areAll(bool (KernelDevice::*are)() const) const;
    void tellEvent(const char* event, const Player& player, const KernelDevice::SentReport* report);
    void tellEnd();
    double secondsPassed() const { return std::chrono::duration<double>(Clock::now() - _start).count(); }
    bool isOver() const
    {
        return _signals.hasSignal() || _options.limits.isEnough(_played) || Clock::now() >= _end || !_out;
    }

    const ReplayOptions& _options;
    const std::vector<ChosenRecording> _recordings;
    std::ostream& _out;
    SignalWatch _signals;
    DescriptorGroup _descriptors;
    std::vector<Player> _players;
    std::vector<Step> _steps;
    Clock::time_point _start = Clock::now();
    Clock::time_point _end = kForever;
    std::uint64_t _played = 0;
    ExitStatus _status = kSuccess;
};

Replay::Replay(const ReplayOptions& options, const DeviceFilter& filter, std::vector<ChosenRecording> recordings,
               std::ostream& out)
    : _options(options), _recordings(std::move(recordings)), _out(out)
{
    for (const ChosenRecording& one : _recordings) {
        for (const QrxRecordedInterface& interface : one.recording.getInterfaces()) {
            // uhid knows no composite devices: each interface becomes a device of its own.
            if (filter.hasInterface(interface.getNumber())) {
                _players.push_back({&one, &interface, nullptr});
            }
        }
    }
    for (std::size_t i = 0; i < _players.size(); ++i) {
        const QrxRecording& recording = _players[i].recorded->recording;
        for (const QrxRecordedEvent& event : recording.getEvents()) {
            // By identity: two recordings may have interfaces of the same number.
            if (&recording.getInterfaces()[event.getInterfaceIndex()] == _players[i].interface) {
                _steps.push_back({event.getTimeUs(), i, &event.getBytes()});
            }
        }
    }
    // All recordings run on one clock, each from its own beginning.
    std::ranges::stable_sort(_steps, {}, &Step::timeUs);
}

ExitStatus Replay::run()
{
    if (const auto seconds = _options.limits.seconds()) {
        // From the start of the program, waiting for drivers and readers included: --time bounds all of it.
        _end = _start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*seconds));
    }
    if (!plug()) {
        return _status;
    }
    waitForDrivers();
    // Input that comes before a program has opened the device is lost, as with a real one.
    if (_options.waitsForReader) {
        // For who looks at a terminal that does nothing; a script knows what it has asked for.
        if (isatty(STDERR_FILENO) != 0) {
            notice("waiting for a program that opens it; Ctrl-C ends");
        }
        serveUntil(kForever, [this] { return areAll(&KernelDevice::isOpen); });
    }
    // The kernel drops input while a driver is still taking the device on, when nodes of it can be open already, and
    // does not say when that is over. Its USB driver gives a device that was opened as much time.
    constexpr std::chrono::milliseconds kTakingOn(50);
    serveUntil(Clock::now() + kTakingOn, [] { return false; });
    play();
    if (_options.stays) {
        // The kernel goes on asking: a device that does not answer holds up whoever uses it.
        serveUntil(kForever, [] { return false; });
    }
    // Also after a signal: how much was played is what one wants to know then.
    tellEnd();
    return _status;
}

/// False if there is nothing to play on.
bool Replay::plug()
{
    for (Player& player : _players) {
        try {
            player.device = std::make_unique<KernelDevice>(
                player.recorded->recording, *player.interface,
                [this, &player](const KernelDevice::SentReport& report) { tellEvent("took", player, &report); });
            // One descriptor for all, since waitFor takes one beside that of signals.
            _descriptors.add(player.device->fileDescriptor());
        } catch (const std::system_error& error) {
            _status = std::max(_status, toldStatus(error, player.recorded->fileName));
            return false;
        }
    }
    return !_players.empty();
}

// The kernel gives a device to a driver by and by, and does not say when no driver takes it.
void Replay::waitForDrivers()
{
    // A driver asks the device questions first, and each may take the kernel's limit for a request.
    constexpr std::chrono::seconds kPatience(5);
    serveUntil(Clock::now() + kPatience, [this] { return areAll(&KernelDevice::isStarted); });
    for (const Player& player : _players) {
        if (player.device->isStarted()) {
            tellEvent("plugged", player, nullptr);
        } else if (!_signals.hasSignal()) {
            notice(player.recorded->fileName + ": no driver of the kernel takes interface " +
                   std::to_string(player.interface->getNumber()) + "; its kernel log (sudo dmesg) tells more");
            _status = std::max(_status, kFailure);
        }
    }
}

bool Replay::areAll(bool (KernelDevice::*are)() const) const
{
    return std::ranges::all_of(_players, [are](const Player& one) { return ((*one.device).*are)(); });
}

template <class Condition>
bool Replay::serveUntil(Clock::time_point time, Condition isMet)
{
    while (!isOver()) {
        for (const Player& player : _players) {
            player.device->serve();
        }
        const Clock::time_point next = std::min(time, _end);
        const auto now = Clock::now();
        // After serving: what the kernel has just said may be what is waited for.
        if (isMet() || now >= time) {
            return true;
        }
        // Rounded up: an event a little late is better than many looks at the clock.
        int milliseconds = SignalWatch::kForever;
        if (next != kForever) {
            // poll takes an int of milliseconds; the loop goes round again after eleven days.
            constexpr std::int64_t kLongestWait = 1'000'000'000;
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
            milliseconds = static_cast<int>(std::clamp<std::int64_t>(left, 0, kLongestWait));
        }
        _signals.waitFor(_descriptors.fileDescriptor(), milliseconds);
    }
    return false;
}

// By the time since the beginning and not since the last event, so that delays do not add up.
void Replay::play()
{
    const Clock::time_point begin = Clock::now();
    const double speed = _options.limits.speed();
    for (const Step& step : _steps) {
        Clock::time_point due = begin;
        if (speed > 0) {
            constexpr double kLongestUs = 1e15;
            const double us = std::min(static_cast<double>(step.timeUs) / speed, kLongestUs);
            due += std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::micro>(us));
        }
        if (!serveUntil(due, [] { return false; })) {
            return;
        }
        // What the kernel refuses is not counted, so that the number at the end is what programs could see.
        if (_players[step.player].device->sendInput(*step.bytes)) {
            ++_played;
        }
    }
}

void Replay::tellEvent(const char* event, const Player& player, const KernelDevice::SentReport* report)
{
    constexpr unsigned int kFeature = 2;
    const char* const type = report != nullptr && report->type == kFeature ? "feature" : "output";
    if (_options.isJson) {
        nlohmann::ordered_json json = {{"event", event},
                                       {"time", secondsPassed()},
                                       {"vendorID", player.recorded->recording.getVendorID()},
                                       {"productID", player.recorded->recording.getProductID()},
                                       {"interface", player.interface->getNumber()}};
        if (report != nullptr) {
            json["type"] = type;
            json["bytes"] = bytesText(report->bytes, "");
        }
        _out << jsonText(json, false) << std::flush;
        return;
    }
    constexpr std::size_t kEventWidth = 8;
    _out << padded(event, kEventWidth) << " " << player.recorded->title << ", interface "
         << player.interface->getNumber();
    if (report != nullptr) {
        _out << ", " << type << " report: " << bytesText(report->bytes);
    }
    // Flushed, since whoever waits for "plugged" reads a pipe.
    _out << std::endl;
}

void Replay::tellEnd()
{
    if (_options.isJson) {
        _out << jsonText({{"event", "played"}, {"time", secondsPassed()}, {"reports", _played}}, false);
    } else {
        _out << "played   " << countText(_played, "report") << "\n";
    }
}

} // namespace

void ReplayCommand::declareOptions(OptionSet& options)
{
    options.addOption("recordings", _files, "Recordings", "FILE");
    options.addFlag("--uhid", _isForKernel, "Make devices of the kernel");
    _choice.declareOptionsOfReader(options);
    _options.limits.declareOptions(options);
    options.addFlag("--when-open", _options.waitsForReader, "Play when programs have opened the devices");
    options.addFlag("--stay", _options.stays, "Keep the devices when all is played, until Ctrl-C");
    options.addFlag("--json", _options.isJson, "One JSON object a line");
}

void ReplayCommand::checkOptions()
{
    _choice.addRecordings(_files);
    _choice.checkOptions();
    if (!_choice.hasRecordings()) {
        throw UsageError("which recording?", "qrxhid replay --uhid FILE");
    }
    // There are recordings in any case, so --speed has a meaning.
    _options.limits.checkOptions("replay --uhid", true);
    if (!_isForKernel) {
        throw UsageError("replay without --uhid would reach nobody: other commands play with --recording",
                         "qrxhid replay --uhid FILE, or qrxhid watch --recording FILE");
    }
}

ExitStatus ReplayCommand::run(std::ostream& out)
{
    ExitStatus status = kSuccess;
    std::vector<ChosenRecording> recordings = chooseRecordings(_choice, status);
    if (recordings.empty()) {
        return std::max(status, kFailure);
    }
    return std::max(status, Replay(_options, _choice.filter(), std::move(recordings), out).run());
}

} // namespace qrxhid
