#include "devices/InputLimits.h"

#include "OptionSet.h"
#include "OptionValues.h"
#include "UsageError.h"

namespace qrxhid {

void InputLimits::declareOptions(OptionSet& options)
{
    options.addOption("--speed", _speedText,
                      "Play recordings at this multiple of their speed; 0: as fast as possible (1)", "FACTOR");
    options.addOption("--count", _countText, "End after this many input reports", "N");
    options.addOption("--time", _secondsText, "End after this many seconds", "S");
}

void InputLimits::checkOptions(const std::string& command, bool hasRecordings)
{
    if (_speedText) {
        _speed = parseSpeed(*_speedText);
    }
    if (_countText) {
        _count = parseCount(*_countText);
    }
    if (_secondsText) {
        _seconds = parseSeconds("--time", *_secondsText);
    }
    // After the parsing: a speed that is no number is the greater mistake.
    if (_speedText && !hasRecordings) {
        throw UsageError("--speed is for recordings", "qrxhid " + command + " --recording FILE... --speed FACTOR");
    }
}

} // namespace qrxhid
