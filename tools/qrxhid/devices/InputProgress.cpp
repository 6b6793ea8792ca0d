#include "devices/InputProgress.h"

#include "text/TextFormat.h"

#include <string>

namespace qrxhid {

InputProgress::InputProgress(std::uint64_t total) : _total(total)
{
    // Often enough to look alive, and not a load on a terminal over a slow line.
    constexpr std::chrono::milliseconds kBetweenDrawings(500);
    _timer = QrxRunLoop::getCurrent().callEvery(kBetweenDrawings, [this] { draw(); });
}

InputProgress::~InputProgress()
{
    QrxRunLoop::getCurrent().cancel(_timer);
}

void InputProgress::draw()
{
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - _start).count();
    const std::string time = ", " + std::to_string(seconds) + " s; Ctrl-C ends";
    _line.show(_total == 0 ? countText(_reports, "report") + time
                           : std::to_string(_reports) + " of " + countText(_total, "report") + time);
}

} // namespace qrxhid
