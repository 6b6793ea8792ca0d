#include "devices/DeviceChoice.h"

namespace qrxhid {

void DeviceChoice::declareOptions(CLI::App& app)
{
    app.add_option("--recording", _recordings,
                   "Work on recorded devices (text of hid-recorder) instead of the real ones; - reads standard input")
        ->type_name("FILE");
    _filter.declareOptions(app);
}

} // namespace qrxhid
