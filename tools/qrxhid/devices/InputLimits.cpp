#include "devices/InputLimits.h"

#include "OptionValues.h"
#include "UsageError.h"

#include <CLI/CLI.hpp>

namespace qrxhid {

void InputLimits::declareOptions(CLI::App& app)
{
    app.add_option("--speed", _speedText, "Play recordings at this multiple of their speed; 0: as fast as possible (1)")
        ->type_name("FACTOR");
    app.add_option("--count", _countText, "End after this many input reports")->type_name("N");
    app.add_option("--time", _secondsText, "End after this many seconds")->type_name("S");
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
