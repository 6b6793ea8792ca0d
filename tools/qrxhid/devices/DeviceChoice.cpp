#include "devices/DeviceChoice.h"

namespace qrxhid {

void DeviceChoice::declareOptions(CLI::App& app)
{
    app.add_option("--recording", _recordings,
                   "Work on recorded devices (text of hid-recorder) instead of the real ones; - reads standard input")
        ->type_name("FILE");
    app.add_option("--device", _deviceTexts,
                   "Only devices with these IDs, hexadecimal; a half that is 0 or empty is any")
        ->type_name("VID:PID")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void DeviceChoice::checkOptions()
{
    for (const std::string& text : _deviceTexts) {
        _selectors.push_back(DeviceSelector::parse(text, "--device "));
    }
}

} // namespace qrxhid
