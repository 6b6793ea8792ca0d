#include "devices/LossWatch.h"

#include "text/TextFormat.h"

#include "QrxInputLoss.h"

#include <utility>

namespace qrxhid {

// Asking costs a walk over the connections, hence only for interfaces that have just sent something: one that is silent
// cannot have lost anything.
std::vector<LossWatch::Loss> LossWatch::look(const QrxHIDDevice& device)
{
    std::vector<Loss> losses;
    for (const int interfaceNumber : std::exchange(_toLookAt, {})) {
        std::error_code untold;
        const std::uint64_t count = QrxGetPossibleLosses(device, interfaceNumber, untold);
        // The counts begin with the opening, so the first one that is not 0 is a loss too.
        if (!untold && count > std::exchange(_known[interfaceNumber], count)) {
            losses.push_back({interfaceNumber, count});
        }
    }
    return losses;
}

std::string lossText(const LossWatch::Loss& loss)
{
    return "reports of interface " + std::to_string(loss.interfaceNumber) +
           " may be missing: the queue behind it was found full, " + countText(loss.count, "time") + " so far";
}

} // namespace qrxhid
