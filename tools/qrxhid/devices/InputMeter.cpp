#include "devices/InputMeter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace qrxhid {

// Welford's way: the difference of two large sums would lose the jitter of a steady device in their last digits.
void InputMeter::Sums::addInterval(double milliseconds)
{
    ++intervals;
    const double distance = milliseconds - meanMs;
    meanMs += distance / static_cast<double>(intervals);
    squares += distance * (milliseconds - meanMs);
    longestMs = std::max(longestMs, milliseconds);
}

InputFigures InputMeter::Sums::figures(Time now) const
{
    InputFigures figures;
    figures.seconds = std::chrono::duration<double>(now - start).count();
    figures.reports = reports;
    figures.bytes = bytes;
    if (intervals > 0) {
        figures.intervals = {meanMs, std::sqrt(squares / static_cast<double>(intervals)), longestMs};
    }
    return figures;
}

void InputMeter::noteReport(Time time, std::size_t bytes)
{
    // The time between two reports counts in the period in which it ends, so none is lost between periods.
    for (Sums* sums : {&_total, &_period}) {
        ++sums->reports;
        sums->bytes += bytes;
        if (_last) {
            sums->addInterval(std::chrono::duration<double, std::milli>(time - *_last).count());
        }
    }
    _last = time;
}

InputFigures InputMeter::takePeriod(Time now)
{
    return std::exchange(_period, Sums(now)).figures(now);
}

} // namespace qrxhid
