#include "commands/TopCommand.h"

#include "OptionSet.h"
#include "OptionValues.h"
#include "UsageError.h"
#include "commands/TopTable.h"
#include "devices/DeviceSession.h"
#include "devices/InputFlow.h"
#include "text/DeviceText.h"
#include "text/LiveText.h"

#include "QrxInput.h"
#include "QrxRequests.h"
#include "text/Json.h"

#include <algorithm>
#include <chrono>

namespace qrxhid {

namespace {

using Clock = std::chrono::steady_clock;

/// What is known of one interface.
struct Metered {
    PresentDevice device;
    int interfaceNumber;
    InputMeter meter;
    std::uint64_t losses = 0;
    /// When the device left; its figures are shown once more.
    std::optional<Clock::time_point> left;
};

/// Measures what comes and shows it by a timer of the run loop.
class Top : private InputFlowListener {
public:
    Top(const TopOptions& options, const DeviceFilter& filter, DeviceSession& session, std::ostream& out)
        : _options(options), _filter(filter), _out(out),
          _isRedrawn(Terminal::ofStandardOutput().canRedraw && !options.isJson), _live(out),
          _flow(session, filter, options.limits, *this)
    {
    }
    // The loop outlives this object and would call `update`.
    ~Top() override { QrxRunLoop::getCurrent().cancel(_timer); }
    Top(const Top&) = delete;
    Top& operator=(const Top&) = delete;

    ExitStatus run();

private:
    void deviceCame(const PresentDevice& device, bool isNew) override;
    void reportCame(const PresentDevice& device, const std::vector<std::uint8_t>& bytes, int interfaceNumber) override;
    void inputMayBeLost(const PresentDevice& device, const LossWatch::Loss& loss) override;
    void deviceLeft(const PresentDevice& device) override;
    void allIsReady() override;
    bool wantsNoMore() const override { return !_out; }

    Metered& meteredOf(const PresentDevice& device, int interfaceNumber);
    TopRow rowOf(Metered& one, Clock::time_point now, bool isTotal) const;
    void update(bool isTotal);
    void show(const TopUpdate& update);

    const TopOptions& _options;
    const DeviceFilter& _filter;
    std::ostream& _out;
    const bool _isRedrawn;
    LiveText _live;
    InputFlow _flow;
    std::vector<Metered> _metered;
    Clock::time_point _start = Clock::now();
    QrxRunLoop::Timer _timer = 0;
};

ExitStatus Top::run()
{
    const ExitStatus status = _flow.run();
    // The figures of the whole time, whatever ended it.
    update(true);
    return status;
}

void Top::deviceCame(const PresentDevice& device, bool)
{
    if (_isRedrawn) {
        // Opening it may put lines on standard error.
        _live.erase();
    }
    // Also interfaces that could not be opened: a line that says so is better than none.
    for (const auto& [number, node] : device.facts.nodes) {
        if (_filter.hasInterface(number)) {
            _metered.push_back({device, number, InputMeter(Clock::now()), 0, {}});
        }
    }
}

Metered& Top::meteredOf(const PresentDevice& device, int interfaceNumber)
{
    return *std::ranges::find_if(_metered, [&device, interfaceNumber](const Metered& one) {
        return one.device.facts.number == device.facts.number && one.interfaceNumber == interfaceNumber;
    });
}

void Top::reportCame(const PresentDevice& device, const std::vector<std::uint8_t>& bytes, int interfaceNumber)
{
    // The moment when the library took the report, before this and other listeners did their work.
    std::error_code untold;
    const Clock::time_point time = QrxGetArrivalTime(*device.handle, interfaceNumber, untold);
    meteredOf(device, interfaceNumber).meter.noteReport(untold ? Clock::now() : time, bytes.size());
}

void Top::inputMayBeLost(const PresentDevice& device, const LossWatch::Loss& loss)
{
    // The library counts since the opening, so this is no sum.
    meteredOf(device, loss.interfaceNumber).losses = loss.count;
}

void Top::deviceLeft(const PresentDevice& device)
{
    for (Metered& one : _metered) {
        if (one.device.facts.number == device.facts.number) {
            // Shown in the update that comes next: who looks away for a moment still sees that it left.
            one.left = Clock::now();
        }
    }
}

void Top::allIsReady()
{
    // Not before all is open: opening takes time in which no report could be counted.
    _start = Clock::now();
    if (!_isRedrawn && !_options.isJson) {
        _out << topHeading() << std::flush;
    }
    const auto period = std::chrono::duration<double>(_options.seconds);
    _timer = QrxRunLoop::getCurrent().callEvery(std::chrono::duration_cast<std::chrono::nanoseconds>(period),
                                                [this] { update(false); });
}

TopRow Top::rowOf(Metered& one, Clock::time_point now, bool isTotal) const
{
    TopRow row;
    row.deviceNumber = one.device.facts.number;
    row.ids = one.device.facts.ids;
    row.deviceTitle = numberedTitle(row.deviceNumber, *one.device.handle);
    row.interfaceNumber = one.interfaceNumber;
    row.isOpen = QrxIsOpen(*one.device.handle, one.interfaceNumber);
    row.hasLeft = one.left.has_value();
    // Silence after the end would make its rate look lower than it was.
    const Clock::time_point end = one.left.value_or(now);
    row.figures = isTotal ? one.meter.total(end) : one.meter.takePeriod(end);
    row.possibleLosses = one.losses;
    return row;
}

/// The figures up to now. A device that has left is in the update that follows, and in no other.
void Top::update(bool isTotal)
{
    const Clock::time_point now = Clock::now();
    TopUpdate update;
    update.isTotal = isTotal;
    update.time = std::chrono::duration<double>(now - _start).count();
    for (Metered& one : _metered) {
        update.rows.push_back(rowOf(one, now, isTotal));
    }
    show(update);
    // After it was shown once. The next device at its place is another one, with figures of its own.
    std::erase_if(_metered, [](const Metered& one) { return one.left.has_value(); });
}

void Top::show(const TopUpdate& update)
{
    if (_options.isJson) {
        _out << topJson(update);
    } else if (_isRedrawn) {
        // Asked each time, since people change the size of their windows.
        const Terminal terminal = Terminal::ofStandardOutput();
        _live.draw(topTable(update, terminal), terminal);
    } else {
        writeTopLines(_out, update);
    }
    // A line of this period must not wait in a buffer for that of the next.
    _out.flush();
}

} // namespace

void TopCommand::declareOptions(OptionSet& options)
{
    _choice.declareOptions(options);
    _options.limits.declareOptions(options);
    options.addOption("--every", _secondsText, "Seconds between two updates (1)", "S");
    options.addFlag("--json", _options.isJson, "One JSON object a line");
}

void TopCommand::checkOptions()
{
    _choice.checkOptions();
    _options.limits.checkOptions("top", _choice.hasRecordings());
    if (_secondsText) {
        _options.seconds = parseSeconds("--every", *_secondsText);
        // Faster than that nobody reads, and drawing would disturb what is measured.
        constexpr double kShortest = 0.1;
        if (_options.seconds < kShortest) {
            throw UsageError("--every " + *_secondsText + ": not a number of seconds from 0.1 on", "--every 0.1");
        }
    }
}

ExitStatus TopCommand::run(std::ostream& out)
{
    DeviceSession session(_choice);
    return Top(_options, _choice.filter(), session, out).run();
}

} // namespace qrxhid
